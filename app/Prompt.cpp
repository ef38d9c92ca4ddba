#include "Prompt.h"

#include <QMessageBox>

namespace {
bool g_record = false;
QList<QPair<QString, QString>> g_shown;
QList<Prompt::Kind> g_kinds;

void show(Prompt::Kind kind, QWidget *parent, const QString &title, const QString &text)
{
    if (g_record) {
        g_shown.append(qMakePair(title, text));
        g_kinds.append(kind);
        return;
    }
    switch (kind) {
    case Prompt::Kind::Warning:
        QMessageBox::warning(parent, title, text, QMessageBox::Ok);
        break;
    case Prompt::Kind::Information:
        QMessageBox::information(parent, title, text, QMessageBox::Ok);
        break;
    case Prompt::Kind::Critical:
        QMessageBox::critical(parent, title, text, QMessageBox::Ok);
        break;
    }
}
} // namespace

namespace Prompt {
void warning(QWidget *parent, const QString &title, const QString &text) { show(Kind::Warning, parent, title, text); }

void information(QWidget *parent, const QString &title, const QString &text)
{
    show(Kind::Information, parent, title, text);
}

void critical(QWidget *parent, const QString &title, const QString &text) { show(Kind::Critical, parent, title, text); }

void recordForTests(bool on) { g_record = on; }

QList<QPair<QString, QString>> shown() { return g_shown; }

QList<Kind> shownKinds() { return g_kinds; }

void clearShown()
{
    g_shown.clear();
    g_kinds.clear();
}
}
