#include "DevFakeDriver.h"

#include "AppPaths.h"
#include "DeviceLayer.h"
#include "SettingsStore.h"
#include "SimulatedAdapter.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QMap>
#include <QTranslator>
#include <QPushButton>
#include <QTest>
#include <cstring>

namespace {
QStringList g_calls;
QMap<QString, uint32_t> g_results;
QMap<QString, uint32_t> g_propertyResults;
DeviceInfoRecord g_info;

uint32_t result(const char *op, uint32_t normal)
{
    return g_results.value(QLatin1String(op), normal);
}

void log(const QString &call)
{
    g_calls.append(call);
}

QString args(std::initializer_list<uint32_t> values)
{
    QStringList parts;
    for (uint32_t v : values)
        parts << QString::number(v);
    return parts.join(QLatin1Char(','));
}

uint32_t KX_CALL setValue(const char *path, const char *value)
{
    const QString p = QString::fromUtf8(path);
    log(QStringLiteral("SetValue(%1,%2)").arg(p, QString::fromUtf8(value)));
    return g_propertyResults.value(p, 1);
}
const char *KX_CALL getValue(const char *) { return ""; }
PropertyInterface g_props{setValue, getValue};

uint32_t KX_CALL openDevice(uint32_t type, uint32_t index, uint32_t reserved)
{
    log(QStringLiteral("OpenDevice(%1)").arg(args({type, index, reserved})));
    return result("OpenDevice", DevFake::kDevice + index);
}
uint32_t KX_CALL closeDevice(uint32_t dev)
{
    log(QStringLiteral("CloseDevice(%1)").arg(dev));
    return 1;
}
uint32_t KX_CALL getDeviceInfo(uint32_t dev, DeviceInfoRecord *info)
{
    log(QStringLiteral("GetDeviceInfo(%1)").arg(dev));
    *info = g_info;
    return result("GetDeviceInfo", 1);
}
uint32_t KX_CALL getDeviceStatus(uint32_t dev)
{
    log(QStringLiteral("GetDeviceStatus(%1)").arg(dev));
    return result("GetDeviceStatus", 2);
}
uint32_t KX_CALL initChannel(uint32_t dev, uint32_t ch, ChannelInitRecord *rec)
{
    const auto *raw = reinterpret_cast<const uint8_t *>(rec);
    log(QStringLiteral("InitChannel(%1,mode=%2/%3)").arg(args({dev, ch})).arg(raw[19]).arg(raw[25]));
    return result("InitChannel", DevFake::kChannel0 + ch);
}
uint32_t KX_CALL startChannel(uint32_t h)
{
    log(QStringLiteral("StartChannel(%1)").arg(h));
    return result("StartChannel", 1);
}
uint32_t KX_CALL resetChannel(uint32_t h)
{
    log(QStringLiteral("ResetChannel(%1)").arg(h));
    return result("ResetChannel", 1);
}
uint32_t KX_CALL transmitCan(uint32_t, CanTransmitRecord *, uint32_t n) { return n; }
uint32_t KX_CALL receiveCan(uint32_t, CanReceiveRecord *, uint32_t, int32_t) { return 0; }
uint32_t KX_CALL transmitCanFd(uint32_t, CanFdTransmitRecord *, uint32_t n) { return n; }
uint32_t KX_CALL receiveCanFd(uint32_t, CanFdReceiveRecord *, uint32_t, int32_t) { return 0; }
PropertyInterface *KX_CALL getPropertyInterface(uint32_t dev)
{
    log(QStringLiteral("GetPropertyInterface(%1)").arg(dev));
    return result("GetPropertyInterface", 1) ? &g_props : nullptr;
}
uint32_t KX_CALL updateDevice(uint32_t dev)
{
    log(QStringLiteral("UpdateDevice(%1)").arg(dev));
    return result("UpdateDevice", 1);
}
uint32_t KX_CALL setArbitrationBaud(uint32_t dev, uint32_t ch, uint32_t v)
{
    log(QStringLiteral("SetArbitrationBaud(%1)").arg(args({dev, ch, v})));
    return result("SetArbitrationBaud", 1);
}
uint32_t KX_CALL setDataBaud(uint32_t dev, uint32_t ch, uint32_t v)
{
    log(QStringLiteral("SetDataBaud(%1)").arg(args({dev, ch, v})));
    return result("SetDataBaud", 1);
}
uint32_t KX_CALL setCanFdStandard(uint32_t dev, uint32_t ch, uint32_t v)
{
    log(QStringLiteral("SetCanFdStandard(%1)").arg(args({dev, ch, v})));
    return result("SetCanFdStandard", 1);
}
uint32_t KX_CALL resetDriver()
{
    log(QStringLiteral("ResetDriver()"));
    return 1;
}

const KestrixDriver g_table = {openDevice, closeDevice, getDeviceInfo, getDeviceStatus, initChannel, startChannel,
    resetChannel, transmitCan, receiveCan, transmitCanFd, receiveCanFd, getPropertyInterface, updateDevice,
    setArbitrationBaud, setDataBaud, setCanFdStandard, resetDriver};
} // namespace

namespace DevFake {
void install()
{
    g_calls.clear();
    g_results.clear();
    g_propertyResults.clear();
    std::memset(&g_info, 0, sizeof g_info);
    g_info.fwVersion = 0x0211;
    g_info.drVersion = 0x0117;
    std::memcpy(g_info.serialNumber, "HD2FAKE", 7);
    installDriver(&g_table);
    resetDeviceState();
}

void uninstall()
{
    resetDeviceState();
    installDriver(simulatedDriver());
}

QStringList calls()
{
    return g_calls;
}

void clearCalls()
{
    g_calls.clear();
}

void setResult(const QString &operation, uint32_t result)
{
    g_results.insert(operation, result);
}

void setPropertyResult(const QString &path, uint32_t result)
{
    g_propertyResults.insert(path, result);
}

void setDeviceInfo(const DeviceInfoRecord &record)
{
    g_info = record;
}
}

ModalAnswer::ModalAnswer(std::function<bool(QWidget *)> handler)
    : m_handler(std::move(handler))
{
    m_timer.setInterval(10);
    QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
        QWidget *w = QApplication::activeModalWidget();
        if (w && w->isVisible() && m_handler(w))
            ++m_count;
    });
    m_timer.start();
}

void devFakeClick(QWidget *dialog, const char *button)
{
    auto *b = dialog->findChild<QPushButton *>(QLatin1String(button));
    if (!b) {
        qWarning("no button %s in %s", button, dialog->metaObject()->className());
        return;
    }
    QTest::mouseClick(b, Qt::LeftButton);
}

DevAppDir::DevAppDir()
{
    QDir(m_dir.path()).mkpath(QStringLiteral("config"));
    QDir(m_dir.path()).mkpath(QStringLiteral("firmware"));
    AppPaths::setAppDirForTests(m_dir.path());
    SettingsStore::load(settingsFile());
}

DevAppDir::~DevAppDir()
{
    AppPaths::setAppDirForTests(QString());
}

QString DevAppDir::settingsFile() const
{
    return m_dir.path() + QStringLiteral("/config/setdb.txt");
}

QString DevAppDir::readSettingsFile() const
{
    QFile f(settingsFile());
    if (!f.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(f.readAll());
}

void devSetLanguage(int code)
{
    static QTranslator translator;
    QCoreApplication::removeTranslator(&translator);
    const char *names[] = {"CN.qm", "CNF.qm", "EN.qm"};
    const QString qm = QCoreApplication::applicationDirPath() + QStringLiteral("/language/")
        + QLatin1String(names[(code == 1 || code == 2) ? code : 0]);
    if (translator.load(qm))
        QCoreApplication::installTranslator(&translator);
    else
        qWarning("cannot load %s", qPrintable(qm));
    setLanguageCode(code);
    // The widgets get their LanguageChange posted; deliver it now.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LanguageChange);
}
