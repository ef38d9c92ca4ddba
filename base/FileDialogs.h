#pragma once
// The platform file dialogs, and the desktop's default viewer for a file or
// folder, behind one seam, so tests can supply the answer or see what was opened.
#include <QString>
#include <QStringList>

class QWidget;

namespace FileDialogs {
QString getSaveFileName(QWidget *parent, const QString &caption, const QString &dir, const QString &filter);
QString getOpenFileName(QWidget *parent, const QString &caption, const QString &dir, const QString &filter);
// Several files at once; a scripted answer holds them separated by '\n'.
QStringList getOpenFileNames(QWidget *parent, const QString &caption, const QString &dir, const QString &filter);

// Tests only: the next dialogs answer these paths in order (an empty string
// is a cancelled dialog) instead of opening.
void queueAnswersForTests(const QStringList &paths);
bool hasQueuedAnswers();

// Opens a local file or folder with the desktop's default application.
void openWithDesktop(const QString &path);
// Tests only: record the paths instead of opening them.
void recordOpensForTests(bool on);
QStringList openedForTests();
}
