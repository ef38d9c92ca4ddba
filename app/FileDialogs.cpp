#include "FileDialogs.h"

#include <QFileDialog>

namespace {
QStringList g_answers;
bool g_scripted = false;
}

namespace FileDialogs {
QString getSaveFileName(QWidget *parent, const QString &caption, const QString &dir, const QString &filter)
{
    if (g_scripted)
        return g_answers.isEmpty() ? QString() : g_answers.takeFirst();
    return QFileDialog::getSaveFileName(parent, caption, dir, filter);
}

QString getOpenFileName(QWidget *parent, const QString &caption, const QString &dir, const QString &filter)
{
    if (g_scripted)
        return g_answers.isEmpty() ? QString() : g_answers.takeFirst();
    return QFileDialog::getOpenFileName(parent, caption, dir, filter);
}

void queueAnswersForTests(const QStringList &paths)
{
    g_scripted = true;
    g_answers += paths;
}

bool hasQueuedAnswers()
{
    return !g_answers.isEmpty();
}
}
