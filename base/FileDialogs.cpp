#include "FileDialogs.h"

#include <QDesktopServices>
#include <QFileDialog>
#include <QUrl>

namespace {
QStringList g_answers;
bool g_scripted = false;
bool g_recordOpens = false;
QStringList g_opened;
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

QStringList getOpenFileNames(QWidget *parent, const QString &caption, const QString &dir, const QString &filter)
{
    if (g_scripted)
        return g_answers.isEmpty() ? QStringList() : g_answers.takeFirst().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    return QFileDialog::getOpenFileNames(parent, caption, dir, filter);
}

void queueAnswersForTests(const QStringList &paths)
{
    g_scripted = true;
    g_answers += paths;
}

bool hasQueuedAnswers() { return !g_answers.isEmpty(); }

void openWithDesktop(const QString &path)
{
    if (g_recordOpens) {
        g_opened.append(path);
        return;
    }
    QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}

void recordOpensForTests(bool on)
{
    g_recordOpens = on;
    g_opened.clear();
}

QStringList openedForTests() { return g_opened; }
}
