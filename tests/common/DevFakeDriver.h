#pragma once
// A recording fake of the adapter's driver table for the device dialogs'
// tests: every configuration call is logged as text ("SetDataBaud(16640,0,3)",
// "SetValue(0/filter_start,0x100)") and any operation can be scripted to fail.
#include "DriverApi.h"

#include <QApplication>
#include <QStringList>
#include <QTemporaryDir>
#include <QTimer>
#include <functional>

namespace DevFake {
constexpr uint32_t kDevice = 0x4100;   // device handle for index 0 (index i gives 0x4100 + i)
constexpr uint32_t kChannel0 = 0x200;  // channel handles 0x200, 0x201

// Installs the fake with fresh scripts, an empty call log and a reset device state.
void install();
// Resets the device state and goes back to the built-in simulated adapter.
void uninstall();

QStringList calls();
void clearCalls();

// From now on the operation (e.g. "StartChannel") answers `result`.
void setResult(const QString &operation, uint32_t result);
// From now on SetValue on this path (e.g. "0/filter_ack") answers `result`.
void setPropertyResult(const QString &path, uint32_t result);
// What GetDeviceInfo fills in (default: firmware 0x0211, serial "HD2FAKE").
void setDeviceInfo(const DeviceInfoRecord &record);
}

// Answers modal dialogs that the code under test runs with exec(): every
// 10 ms the active modal widget is offered to the handler, which returns true
// when it dealt with it. Stops when destroyed.
class ModalAnswer : public QObject {
public:
    explicit ModalAnswer(std::function<bool(QWidget *)> handler);
    int count() const { return m_count; }

private:
    std::function<bool(QWidget *)> m_handler;
    QTimer m_timer;
    int m_count = 0;
};

// Clicks a dialog's push button by object name.
void devFakeClick(QWidget *dialog, const char *button);

// A handler that clicks the named button of a modal dialog of type T, after
// running `before` on it (e.g. to set a field or check its texts).
template <class T>
std::function<bool(QWidget *)> clickIn(const char *button, std::function<void(T *)> before = {})
{
    return [button, before](QWidget *w) {
        auto *dlg = qobject_cast<T *>(w);
        if (!dlg)
            return false;
        if (before)
            before(dlg);
        devFakeClick(dlg, button);
        return true;
    };
}

// A temporary application folder (config/, firmware/) with the settings store
// loaded from it; restores the real folder when destroyed.
class DevAppDir {
public:
    DevAppDir();
    ~DevAppDir();
    QString path() const { return m_dir.path(); }
    QString settingsFile() const;
    QString readSettingsFile() const;   // empty when the file is absent

private:
    QTemporaryDir m_dir;
};

// Switches the program language: the catalogue beside the test executable and
// the language code (0 Simplified Chinese, 1 Traditional Chinese, 2 English).
void devSetLanguage(int code);
