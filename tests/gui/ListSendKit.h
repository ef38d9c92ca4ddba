#pragma once
// The list send window as the GUI tests open it: a fresh main window on the
// simulated adapter with its nodes switched off, shown, and the list send
// window opened from its menu entry.
#include "FreshProcess.h"
#include "MainWindow.h"
#include "TestKit.h"
#include "listSendDlg.h"

#include <QAction>
#include <memory>

inline listSendDlg *openListSendWindow(std::unique_ptr<MainWindow> &window)
{
    window.reset();
    freshProcess();
    SimControl::setNodesEnabled(false);
    window = std::make_unique<MainWindow>();
    window->show();
    child<QAction>(window.get(), "actionListSend")->trigger();
    return window->listSendDialog();
}
