#pragma once
// What a new user does with the main window, step by step, for the
// acceptance tests: a fresh install folder, the real MainWindow on the
// simulated adapter, and modal dialogs answered the way a person would.
#include "MainWindow.h"
#include "OpenDlg.h"
#include "ParaDialog.h"
#include "RuntimeFolder.h"
#include "TestKit.h"

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>
#include <QTextEdit>

namespace Acceptance {

// A first-time install: catalogues, company name and the simulated bus nodes, no settings yet.
class Install : public RuntimeFolder {
public:
    Install()
    {
        QFile::copy(QCoreApplication::applicationDirPath() + "/config/simulator.ini", path("config/simulator.ini"));
    }
};

inline void setTicked(const QObject *parent, const QString &name, bool on)
{
    ::setTicked(child<QCheckBox>(parent, name), on);
    QVERIFY2(child<QCheckBox>(parent, name)->isChecked() == on, qPrintable(name));
}

// Runs `answer` on the next modal dialog of type T as soon as it is up. Arm
// it before the click that opens the dialog; exec() returns once `answer` closed it.
template <typename T> void whenModal(std::function<void(T *)> answer)
{
    auto *poll = new QTimer;
    auto *clock = new QElapsedTimer;
    clock->start();
    QObject::connect(poll, &QTimer::timeout, [poll, clock, answer] {
        T *dlg = qobject_cast<T *>(QApplication::activeModalWidget());
        if (!dlg && clock->elapsed() < 5000)
            return;
        poll->stop();
        poll->deleteLater();
        delete clock;
        if (dlg)
            answer(dlg);
        else
            qWarning("no modal %s came up", T::staticMetaObject.className());
    });
    poll->start(10);
}

inline QString logText(const MainWindow *w) { return child<QTextEdit>(w, "logEdit")->toPlainText(); }
inline QString labelText(const MainWindow *w, const char *name) { return child<QLabel>(w, name)->text(); }
inline quint64 count(const MainWindow *w, const char *name) { return labelText(w, name).toULongLong(); }
// Every frame the window has counted, over the four count labels.
inline quint64 totalCount(const MainWindow *w)
{
    return count(w, "labelCh1RxCount") + count(w, "labelCh1TxCount") + count(w, "labelCh2RxCount")
        + count(w, "labelCh2TxCount");
}
// A rate label reads "N/s;"; anything else gives -1.
inline int rate(const MainWindow *w, const char *name)
{
    const auto m = QRegularExpression("^(\\d+)/s;$").match(labelText(w, name));
    return m.hasMatch() ? m.captured(1).toInt() : -1;
}

// The texts of every row as the table shows them; row -1 is the header.
inline QStringList rowTexts(const MainWindow *w, int row)
{
    const QAbstractItemModel *m = child<QTableView>(w, "tableView")->model();
    QStringList texts;
    for (int c = 0; c < m->columnCount(); ++c)
        texts << (row < 0 ? m->headerData(c, Qt::Horizontal) : m->index(row, c).data()).toString();
    return texts;
}
inline QStringList headers(const MainWindow *w) { return rowTexts(w, -1); }
inline QList<QStringList> rows(const MainWindow *w)
{
    QList<QStringList> out;
    for (int r = 0; r < child<QTableView>(w, "tableView")->model()->rowCount(); ++r)
        out << rowTexts(w, r);
    return out;
}

// Rows of one channel ("1", "2") and direction ("Rx", "Tx").
inline QList<QStringList> rowsOf(const QList<QStringList> &all, const QString &channel, const QString &dir)
{
    QList<QStringList> out;
    for (const QStringList &r : all)
        if (r.value(3) == channel && r.value(4) == dir)
            out << r;
    return out;
}

inline void trigger(const MainWindow *w, const char *action) { child<QAction>(w, action)->trigger(); }

// Device management → device operations: open the adapter, open all channels
// with the parameters as offered (or as `choose` sets them), back to the window.
inline void openDeviceFromMenu(MainWindow *w, std::function<void(ParaDialog *)> choose = nullptr)
{
    whenModal<OpenDlg>([choose](OpenDlg *open) {
        click(open, "pushButton");
        whenModal<ParaDialog>([choose](ParaDialog *para) {
            if (choose)
                choose(para);
            click(para, "btnConfirm");
        });
        click(open, "pushButton_2");
        click(open, "pushButton_7");
    });
    trigger(w, "actionOpenDevice");
}

// The data-list-buffer entry asks for the new limit in a small value dialog.
inline void setListBuffer(MainWindow *w, int frames)
{
    trigger(w, "actionListBuffer");
    auto *dlg = child<QDialog>(w, "valueDialog");
    QTRY_VERIFY(dlg->isVisible());
    child<QLineEdit>(dlg, "valueEdit")->clear();
    QTest::keyClicks(child<QLineEdit>(dlg, "valueEdit"), QString::number(frames));
    click(dlg, "btnValueOK");
}

inline void setText(const MainWindow *w, const char *edit, const QString &text)
{
    auto *e = child<QLineEdit>(w, edit);
    e->selectAll();
    QTest::keyClick(e, Qt::Key_Delete);
    QTest::keyClicks(e, text);
}

inline void setIndex(const QObject *parent, const char *combo, int index)
{
    child<QComboBox>(parent, combo)->setCurrentIndex(index);
}

// Fills fields the way a user does: "name=value" sets a combo box's index, types
// into a line edit, or ticks ("1") or unticks a check box.
inline void setFields(const MainWindow *w, const QStringList &fields)
{
    for (const QString &field : fields) {
        const QString name = field.section('=', 0, 0), value = field.section('=', 1);
        if (auto *combo = w->findChild<QComboBox *>(name))
            combo->setCurrentIndex(value.toInt());
        else if (w->findChild<QLineEdit *>(name))
            setText(w, qPrintable(name), value);
        else
            setTicked(w, name, value == "1");
    }
}

// Starts the program's window, as the user does, and waits for it to show.
inline MainWindow *startWindow(std::unique_ptr<MainWindow> &window)
{
    window = std::make_unique<MainWindow>();
    window->show();
    [&] { QVERIFY(QTest::qWaitForWindowExposed(window.get())); }();
    return window.get();
}

} // namespace Acceptance
