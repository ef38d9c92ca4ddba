#pragma once
// The platform file dialogs behind one seam, so tests can supply the answer.
#include <QString>
#include <QStringList>

class QWidget;

namespace FileDialogs {
QString getSaveFileName(QWidget *parent, const QString &caption, const QString &dir, const QString &filter);
QString getOpenFileName(QWidget *parent, const QString &caption, const QString &dir, const QString &filter);

// Tests only: the next dialogs answer these paths in order (an empty string
// is a cancelled dialog) instead of opening.
void queueAnswersForTests(const QStringList &paths);
bool hasQueuedAnswers();
}
