#include "MainWindow.h"
#include "ui_MainWindow.h"

#include "AppPaths.h"
#include "DeviceLayer.h"
#include "SettingsStore.h"

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
    , ui(new Ui::MainWindow)
{
    ui->setupUi(this);
    SettingsStore::load(AppPaths::appDir() + QStringLiteral("/config/setdb.txt"));
    setWindowTitle(QStringLiteral("Ostrel-V1.17"));
}

MainWindow::~MainWindow()
{
    closeDevice();
}
