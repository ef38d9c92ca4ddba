#include "Interfaces.h"

#include "DeviceLayer.h"
#include "SettingsStore.h"

#include <QMutex>
#include <QMutexLocker>
#include <QtGlobal>

namespace Interfaces {
namespace {
    QList<Backend> g_backends;
    Mapping g_current;

    QMutex g_noticeLock;
    std::function<void(const QString &)> g_sink;

    QString key(int channelNumber, const char *name)
    {
        return QStringLiteral("ch") + QString::number(channelNumber) + QStringLiteral("interface")
            + QLatin1String(name);
    }
} // namespace

void add(const Backend &backend)
{
    for (Backend &b : g_backends) {
        if (b.key == backend.key) {
            b = backend;
            return;
        }
    }
    g_backends.append(backend);
}

QList<Backend> backends() { return g_backends; }

const Backend *find(const QString &key)
{
    for (const Backend &b : g_backends)
        if (b.key == key)
            return &b;
    return nullptr;
}

void clearForTests()
{
    g_backends.clear();
    g_current = Mapping();
}

bool use(const Mapping &mapping)
{
    const Backend *b = find(mapping.backend);
    if (!b || !b->driverFor)
        return false;
    Mapping m = mapping;
    if (b->haldenD2)
        m.channel[0] = m.channel[1] = Interface();
    const KestrixDriver *table = b->driverFor(m);
    if (!table)
        return false;
    installDriver(table, b->extension);
    g_current = m;
    return true;
}

bool useFirst()
{
    if (g_backends.isEmpty())
        return false;
    Mapping m;
    m.backend = g_backends.first().key;
    return use(m);
}

Mapping current() { return g_current; }

bool isHaldenD2()
{
    const Backend *b = g_current.isValid() ? find(g_current.backend) : nullptr;
    return !b || b->haldenD2;
}

Mapping stored()
{
    Mapping m;
    // Read without inserting defaults: a store that never saw a choice stays as it was.
    const QMap<QString, QString> all = SettingsStore::snapshot();
    m.backend = all.value(QStringLiteral("interfaceBackend"));
    for (int c = 0; c < 2; ++c) {
        m.channel[c].plugin = all.value(key(c + 1, "Plugin"));
        m.channel[c].name = all.value(key(c + 1, "Name"));
    }
    return m;
}

void store(const Mapping &mapping)
{
    SettingsStore::setValue(QStringLiteral("interfaceBackend"), mapping.backend);
    for (int c = 0; c < 2; ++c) {
        SettingsStore::setValue(key(c + 1, "Plugin"), mapping.channel[c].plugin);
        SettingsStore::setValue(key(c + 1, "Name"), mapping.channel[c].name, c == 1);
    }
}

bool restore()
{
    const Mapping m = stored();
    return m.isValid() && use(m);
}

QString channelText(const Interface &itf)
{
    if (itf.plugin.isEmpty())
        return QStringLiteral("-");
    return itf.plugin + QLatin1Char(' ') + itf.name;
}

QString mappingText(const Mapping &mapping)
{
    return QStringLiteral("CH1 ") + channelText(mapping.channel[0]) + QStringLiteral(", CH2 ")
        + channelText(mapping.channel[1]);
}

void setNoticeSink(std::function<void(const QString &)> sink)
{
    QMutexLocker lock(&g_noticeLock);
    g_sink = std::move(sink);
}

void postNotice(const QString &line)
{
    QMutexLocker lock(&g_noticeLock);
    if (g_sink)
        g_sink(line);
    else
        qWarning("%s", qPrintable(line));
}

}
