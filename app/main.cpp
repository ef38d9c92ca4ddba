#include "CanBusAdapter.h"
#include "DeviceLayer.h"
#include "Interfaces.h"
#include "KestrixLibrary.h"
#include "MainWindow.h"
#include "SimulatedAdapter.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    // On Windows QApplication takes the wide command line from the process
    // itself (qWinMain converts it), so argc/argv are already Unicode-safe.
    QApplication app(argc, argv);
    // The back-ends this program links, in the order the interface dialog
    // lists them: the adapter's own library where it loads, the simulated
    // adapter, the QtSerialBus interfaces.
    const KestrixDriver *library = kestrixLibrary();
    if (library) {
        Interfaces::Backend dll;
        dll.key = QStringLiteral("kestrix");
        dll.haldenD2 = true;
        dll.driverFor = [library](Interfaces::Mapping &) { return library; };
        Interfaces::add(dll);
    }
    Interfaces::Backend sim;
    sim.key = QStringLiteral("sim");
    sim.haldenD2 = true;
    sim.driverFor = [](Interfaces::Mapping &) { return simulatedDriver(); };
    sim.extension = simulatedExtension();
    Interfaces::add(sim);
    Interfaces::add(canBusBackend());
    // Until the window restores a stored choice: the adapter's own library
    // where it loads, otherwise the simulated adapter.
    Interfaces::Mapping start;
    start.backend = library ? QStringLiteral("kestrix") : QStringLiteral("sim");
    Interfaces::use(start);
    auto *window = new MainWindow;
    window->show();
    const int result = app.exec();
    delete window;
    return result;
}
