#include "SettingsStore.h"

#include "AppPaths.h"

#include <QFile>
#include <QMutex>
#include <QSaveFile>
#include <QSettings>
#include <QStringList>
#include <QTextStream>

#include <atomic>

namespace {
QMutex g_lock;
std::atomic<quint64> g_generation { 1 };
QMap<QString, QString> g_map;
QString g_path;

const QString kLanguageKey = QStringLiteral("Language");

// The language choice lives in language/config.ini as an index into the
// three catalogue names; an index past the end falls back to the default.
QString languageFromIni(const QString &defaultValue)
{
    const QStringList names = { QStringLiteral("CN.qm"), QStringLiteral("CNF.qm"), QStringLiteral("EN.qm") };
    QSettings ini(AppPaths::appDir() + QStringLiteral("/language/config.ini"), QSettings::IniFormat);
    const int defaultIndex = names.indexOf(defaultValue);
    int index = ini.value(QStringLiteral("LAST/Sel"), defaultIndex).toInt();
    if (index >= names.size())
        index = defaultIndex;
    if (index < 0)
        return defaultValue;
    return names.at(index);
}

void saveLocked()
{
    // Written beside the file and renamed over it once complete: a process
    // killed mid-write leaves the previous file whole, never half a line that
    // would make load() throw every setting away.
    QSaveFile file(g_path);
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.write(SettingsStore::formatLine(g_map).toUtf8());
    file.commit();
}
} // namespace

namespace SettingsStore {

void load(const QString &path)
{
    QMutexLocker lock(&g_lock);
    // Whatever the file holds, the store has changed once this returns.
    struct Changed {
        ~Changed() { g_generation.fetch_add(1, std::memory_order_release); }
    } changed;
    g_path = path;
    g_map.clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return;
    QTextStream in(&file);
    in.setCodec("UTF-8");
    const QString line = in.readLine();
    file.close();
    parseLine(line, g_map);
}

bool parseLine(const QString &line, QMap<QString, QString> &map)
{
    map.clear();
    if (line.isEmpty())
        return true;
    const QStringList parts = line.split(QLatin1Char(';'));
    for (const QString &part : parts) {
        const QStringList kv = part.split(QLatin1Char(','));
        if (kv.size() != 2) {
            // The file is either wholly valid or ignored.
            map.clear();
            return false;
        }
        map.insert(kv.at(0), kv.at(1));
    }
    return true;
}

QString formatLine(const QMap<QString, QString> &map)
{
    QString text;
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        text += it.key();
        text += QLatin1Char(',');
        text += it.value();
        text += QLatin1Char(';');
    }
    if (text.size() > 1)
        text.chop(1);
    return text;
}

QString value(const QString &key, const QString &defaultValue)
{
    QMutexLocker lock(&g_lock);
    auto it = g_map.constFind(key);
    if (it != g_map.cend())
        return it.value();
    const QString v = (key == kLanguageKey) ? languageFromIni(defaultValue) : defaultValue;
    g_map.insert(key, v);
    g_generation.fetch_add(1, std::memory_order_release);
    return v;
}

void setValue(const QString &key, const QString &value, bool writeNow)
{
    QMutexLocker lock(&g_lock);
    auto it = g_map.find(key);
    if (it == g_map.end()) {
        g_map.insert(key, value);
        g_generation.fetch_add(1, std::memory_order_release);
    } else if (it.value() != value) {
        it.value() = value;
        g_generation.fetch_add(1, std::memory_order_release);
    }
    if (writeNow)
        saveLocked();
}

void save()
{
    QMutexLocker lock(&g_lock);
    saveLocked();
}

QString path()
{
    QMutexLocker lock(&g_lock);
    return g_path;
}

QMap<QString, QString> snapshot()
{
    QMutexLocker lock(&g_lock);
    return g_map;
}

quint64 generation() { return g_generation.load(std::memory_order_acquire); }

NumberReader::NumberReader(const QString &key, const QString &defaultValue)
    : m_key(key)
    , m_default(defaultValue)
{
}

uint NumberReader::read()
{
    // The generation is taken before the lookup: a change made meanwhile
    // moves it on, so the next read looks again.
    const quint64 now = generation();
    if (now != m_seen) {
        m_value = value(m_key, m_default).toUInt();
        m_seen = now;
    }
    return m_value;
}

} // namespace SettingsStore
