#pragma once
// Every message box of the program goes through here, so that a test can
// record the boxes instead of blocking on exec().
#include <QList>
#include <QPair>
#include <QString>

class QWidget;

namespace Prompt {
enum class Kind { Warning, Information, Critical };

void warning(QWidget *parent, const QString &title, const QString &text);
void information(QWidget *parent, const QString &title, const QString &text);
void critical(QWidget *parent, const QString &title, const QString &text);

// Tests only: record boxes instead of showing them.
void recordForTests(bool on);
QList<QPair<QString, QString>> shown(); // (title, text) in order
QList<Kind> shownKinds();
void clearShown();
}
