#include "DeviceLayer.h"
#include "KestrixLibrary.h"
#include "MainWindow.h"
#include "SimulatedAdapter.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    // On Windows QApplication takes the wide command line from the process
    // itself (qWinMain converts it), so argc/argv are already Unicode-safe.
    QApplication app(argc, argv);
    // The adapter's own library where it loads, otherwise the simulated adapter.
    const KestrixDriver *table = kestrixLibrary();
    if (table)
        installDriver(table);
    else
        installDriver(simulatedDriver(), simulatedExtension());
    auto *window = new MainWindow;
    window->show();
    const int result = app.exec();
    delete window;
    return result;
}
