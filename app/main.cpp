#include "MainWindow.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    // On Windows QApplication takes the wide command line from the process
    // itself (qWinMain converts it), so argc/argv are already Unicode-safe.
    QApplication app(argc, argv);
    auto *window = new MainWindow;
    window->show();
    const int result = app.exec();
    delete window;
    return result;
}
