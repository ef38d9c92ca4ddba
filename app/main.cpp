#include "CanBusAdapter.h"
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
    // lists them; the first serves until the window restores a stored choice.
    if (kestrixLibrary())
        Interfaces::add(kestrixBackend());
    Interfaces::add(simulatedBackend());
    Interfaces::add(canBusBackend());
    Interfaces::useFirst();
    auto *window = new MainWindow;
    window->show();
    const int result = app.exec();
    delete window;
    return result;
}
