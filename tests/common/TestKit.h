#pragma once
// Small helpers shared by the tests: data columns, files, finding and clicking
// children, answering modal dialogs, switching the language, recorded boxes.
#include "DeviceLayer.h"
#include "FreshProcess.h"
#include "ModelItem.h"
#include "Prompt.h"
#include "SimControl.h"
#include "SimulatedAdapter.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QPushButton>
#include <QStyle>
#include <QStyleOptionButton>
#include <QTimer>
#include <QTranslator>
#include <QtTest>
#include <array>
#include <functional>

template <typename T = QWidget> T *child(const QObject *parent, const QString &name)
{
    T *x = parent->findChild<T *>(name);
    if (!x)
        qFatal("no %s named %s", T::staticMetaObject.className(), qPrintable(name));
    return x;
}

inline void click(const QObject *parent, const QString &button)
{
    QTest::mouseClick(child<QAbstractButton>(parent, button), Qt::LeftButton);
}

// Declares a data function's columns in one line: columns<int, QString>({ "code", "text" }).
template <typename... T> void columns(const std::array<const char *, sizeof...(T)> &names)
{
    size_t i = 0;
    (QTest::addColumn<T>(names[i++]), ...);
}

// Ticks or unticks a check box on its indicator, as a user would (the middle
// of a stretched box may lie beyond its text).
inline void setTicked(QCheckBox *box, bool on)
{
    if (box->isChecked() == on)
        return;
    QStyleOptionButton option;
    option.initFrom(box);
    const QRect indicator = box->style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, box);
    QTest::mouseClick(box, Qt::LeftButton, Qt::NoModifier, indicator.center());
}

// "1" or "0" per named widget: whether it is enabled.
inline QString enabledOf(const QObject *parent, const QStringList &names)
{
    QString out;
    for (const QString &name : names)
        out += child<QWidget>(parent, name)->isEnabled() ? '1' : '0';
    return out;
}

// A whole file's bytes ("<missing>" when it cannot be read), and writing one.
inline QByteArray readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}
inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

// The recorded message box `i` as "title|text"; empty when there is none.
inline QString shownBox(int i = 0)
{
    const auto shown = Prompt::shown();
    return i < shown.size() ? shown.at(i).first + QLatin1Char('|') + shown.at(i).second : QString();
}

// Offers the active modal widget to `handler` every 10 ms until destroyed;
// the handler returns true when it dealt with it.
class ModalAnswer : public QObject {
public:
    explicit ModalAnswer(std::function<bool(QWidget *)> handler)
    {
        m_timer.setInterval(10);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this, handler] {
            QWidget *w = QApplication::activeModalWidget();
            if (w && w->isVisible() && handler(w))
                ++m_count;
        });
        m_timer.start();
    }
    int count() const { return m_count; }

private:
    QTimer m_timer;
    int m_count = 0;
};

// A handler clicking the named button of a modal T after running `before` on it.
template <class T> std::function<bool(QWidget *)> clickIn(const char *button, std::function<void(T *)> before = {})
{
    return [button, before](QWidget *w) {
        auto *dlg = qobject_cast<T *>(w);
        if (!dlg)
            return false;
        if (before)
            before(dlg);
        click(dlg, QLatin1String(button));
        return true;
    };
}

// Switches the program language (0 Simplified, 1 Traditional Chinese, 2
// English) with the catalogue beside the test executable, and delivers the
// posted language-change events.
inline void switchLanguage(int code)
{
    static QTranslator translator;
    QCoreApplication::removeTranslator(&translator);
    const char *names[] = { "CN.qm", "CNF.qm", "EN.qm" };
    if (translator.load(
            QCoreApplication::applicationDirPath() + QStringLiteral("/language/") + QLatin1String(names[code])))
        QCoreApplication::installTranslator(&translator);
    setLanguageCode(code);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LanguageChange);
}

// Runs several test classes in one executable (each links the big library).
#define OSTREL_TEST_MAIN(AppType, ...)                                                                                 \
    int main(int argc, char **argv)                                                                                    \
    {                                                                                                                  \
        AppType app(argc, argv);                                                                                       \
        app.setAttribute(Qt::AA_Use96Dpi, true);                                                                       \
        int failed = 0;                                                                                                \
        for (QObject * t : std::initializer_list<QObject *> { __VA_ARGS__ }) {                                         \
            failed += QTest::qExec(t, argc, argv);                                                                     \
            delete t;                                                                                                  \
        }                                                                                                              \
        return failed;                                                                                                 \
    }
