#pragma once
// The main window's device actions, kept here so the window only wires them
// to its menu entries.
#include <QString>
#include <functional>

class QWidget;

namespace DeviceActions {
// Parameter setting for running channels: edits both channels' sets in
// ParaDialog(true, true, 3) and re-applies them to the open channels, first
// channel first. Stops at the first closed channel (so a running second
// channel is left alone when the first is closed) and at the first failing
// step, after its warning. Each re-applied channel logs "设备参数设置成功！"
// through `log`. True when at least one channel was re-applied and no step failed.
bool applyChannelParameters(QWidget *parent, const std::function<void(const QString &)> &log);

// Shows both channels' sets read-only (only the filter can still change).
void viewChannelParameters(QWidget *parent);

// Reads the adapter's information record and shows it in INfDialog.
void showDeviceInfo(QWidget *parent);

// The firmware upgrade entry: offers UpdateDlg, as opening the device does,
// only when an image in the firmware folder is newer than the adapter's
// firmware; otherwise tells the user the firmware is up to date.
void upgradeFirmware(QWidget *parent, int deviceIndex);
}
