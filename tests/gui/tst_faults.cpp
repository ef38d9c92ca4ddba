// Faults while the window works: the adapter unplugged during receive, a
// count send and a file send, each with a live capture running; and a
// capture whose disk fills up. The capture must hold every frame the window
// counted, the window must notice the device is gone, and nothing may hang.
#include "AcceptanceUser.h"

#include "FileDialogs.h"
#include "fileDlg.h"
#include "savefileDlg.h"
#include "sendThread.h"

#include <QSpinBox>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

using namespace Acceptance;

namespace {
// The rows of a capture file after its header; a last line cut short by a
// full disk is returned apart.
QStringList captureRows(const QString &path, QString *cut = nullptr)
{
    QStringList lines = QString::fromUtf8(readFile(path)).split('\n');
    const QString last = lines.takeLast(); // empty when the file ends with a line feed
    if (cut)
        *cut = last;
    return lines.mid(1);
}
} // namespace

class FaultsTest : public QObject {
    Q_OBJECT
    std::unique_ptr<Install> m_install;
    std::unique_ptr<MainWindow> m_window;
    MainWindow *w = nullptr;

    void startCapture(const QString &path)
    {
        whenModal<savefileDlg>([path](savefileDlg *dlg) {
            FileDialogs::queueAnswersForTests({ path });
            click(dlg, "pbBrowse");
            click(dlg, "pbOk");
        });
        setTicked(w, "checkBox", true);
    }

private slots:
    void init()
    {
        freshProcess();
        m_install = std::make_unique<Install>();
        w = startWindow(m_window);
        QTRY_COMPARE(child<QLineEdit>(w, "ch1SendDataEdit")->text(), QString("00 11 22 33 44 55 66 77"));
        openDeviceFromMenu(w);
        // The device watch has seen the adapter (it looks only while nothing is sent).
        QTRY_VERIFY_WITH_TIMEOUT(w->windowTitle().startsWith("Ostrel-V1.17 - SN:"), 3000);
        QTRY_VERIFY_WITH_TIMEOUT(count(w, "labelCh1RxCount") > 0, 3000);
    }
    void cleanup()
    {
        m_window.reset();
        m_install.reset();
        SimControl::resetForTests();
    }

    // during: what runs when the cable is pulled, besides the nodes' traffic
    // and the live capture; log: the line that run leaves.
    void unplug_data()
    {
        columns<QString, QString>({ "during", "log" });
        QTest::newRow("receive") << "receive"
                                 << "";
        QTest::newRow("count send") << "count"
                                    << "通道1CAN数据发送失败！";
        // Failed rows are ignored by the file mode: it goes on until stopped.
        QTest::newRow("file send") << "file"
                                   << "文件中止发送！";
    }
    void unplug()
    {
        QFETCH(QString, during);
        QFETCH(QString, log);
        const QString path = m_install->path("capture.csv");
        startCapture(path);
        const quint64 before = totalCount(w);
        fileDlg *dlg = w->fileSendDialog();
        if (during == "count") {
            setFields(w, { "ch1SendCountEdit=-1", "ch1SendInvEdit=1" });
            click(w, "ch1SendBtn");
        } else if (during == "file") {
            QStringList rows { "序号,系统时间,时间标识,通道,收/发,ID,Frame,类型,DLC,CAN-FD,数据" };
            for (int i = 0; i < 20; ++i)
                rows << QString("%1,=\"10:00:00.000\",无,1,Tx,0x%2,标准帧,数据帧,1,CAN,x| 01 ")
                            .arg(i)
                            .arg(0x400 + i, 0, 16);
            m_install->write("replay.csv", rows.join('\n').toUtf8() + '\n');
            dlg->show();
            child<QLineEdit>(dlg, "lineEdit")->setText(m_install->path("replay.csv"));
            setIndex(dlg, "comboBox", 0);
            setIndex(dlg, "comboBox_2", 0);
            child<QSpinBox>(dlg, "spinBox_2")->setValue(1);
            child<QSpinBox>(dlg, "spinBox")->setValue(-1);
            click(dlg, "pbSend");
        }
        QTRY_VERIFY_WITH_TIMEOUT(totalCount(w) > before + 300, 5000);
        if (during != "receive")
            QVERIFY(count(w, "labelCh1TxCount") > 0);

        SimControl::unplug();
        const quint64 atUnplug = totalCount(w);
        if (during == "file") {
            QTest::qWait(200);
            QVERIFY(w->sender(0)->isRunning());
            click(dlg, "pbStop");
        }
        if (!log.isEmpty())
            QTRY_VERIFY_WITH_TIMEOUT(logText(w).contains(log), 5000);
        // The device watch looks once no send runs any more.
        QTRY_VERIFY_WITH_TIMEOUT(logText(w).contains("设备已关闭！"), 5000);
        QCOMPARE(w->windowTitle(), QString("Ostrel-V1.17"));
        QVERIFY(!child<QWidget>(w, "ch1SendBtn")->isEnabled() && !child<QWidget>(w, "ch2SendBtn")->isEnabled());
        QVERIFY(!w->sender(0)->isRunning() && !w->sender(1)->isRunning());
        const quint64 after = totalCount(w);
        setTicked(w, "checkBox", false);

        const QStringList rows = captureRows(path);
        qInfo("unplug during %s: %llu frames counted while capturing, %llu of them before the unplug, %d rows "
              "in the file",
            qPrintable(during), after - before, atUnplug - before, int(rows.size()));
        QVERIFY(after >= atUnplug);
        QCOMPARE(quint64(rows.size()), after - before);
        QCOMPARE(rows.value(0).section(',', 0, 0).toULongLong(), before + 1);
        for (int i = 1; i < rows.size(); ++i)
            QCOMPARE(rows.at(i).section(',', 0, 0).toULongLong(), rows.at(i - 1).section(',', 0, 0).toULongLong() + 1);
        // Pulled out, the adapter stays gone: nothing is counted any more.
        QTest::qWait(300);
        QCOMPARE(totalCount(w), after);
        QCOMPARE(Prompt::shown().size(), 0);
    }

    // how: a file-size limit on the process (EFBIG, as a full disk answers
    // ENOSPC: the write stops part-way), or a 32 KB tmpfs when the test may
    // mount one.
    void diskFullCapture_data()
    {
        columns<QString>({ "how" });
        QTest::newRow("file size limit") << "rlimit";
        QTest::newRow("tiny tmpfs") << "tmpfs";
    }
    void diskFullCapture()
    {
#ifdef Q_OS_LINUX
        QFETCH(QString, how);
        const qint64 limit = 32 * 1024;
        QString path = m_install->path("capture.csv");
        const QString mountPoint = m_install->path("tiny");
        rlimit old {};
        if (how == "tmpfs") {
            QDir().mkpath(mountPoint);
            if (::mount("tmpfs", QFile::encodeName(mountPoint).constData(), "tmpfs", 0, "size=32k") != 0)
                QSKIP("mounting a tmpfs is not allowed here");
            path = mountPoint + "/capture.csv";
        } else {
            ::signal(SIGXFSZ, SIG_IGN); // a write past the limit fails instead of ending the process
            ::getrlimit(RLIMIT_FSIZE, &old);
            rlimit small = old;
            small.rlim_cur = rlim_t(limit);
            ::setrlimit(RLIMIT_FSIZE, &small);
        }
        struct Undo {
            std::function<void()> f;
            ~Undo() { f(); }
        } undo { [&] {
            if (how == "tmpfs")
                ::umount2(QFile::encodeName(mountPoint).constData(), MNT_DETACH);
            else
                ::setrlimit(RLIMIT_FSIZE, &old);
        } };

        startCapture(path);
        const quint64 before = totalCount(w);
        // Enough traffic to fill the space several times over.
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(path).size() >= limit - 4096, 10000);
        const quint64 full = totalCount(w);
        QTRY_VERIFY_WITH_TIMEOUT(totalCount(w) > full + 500, 5000); // the window keeps counting
        const quint64 later = totalCount(w);
        QTRY_VERIFY_WITH_TIMEOUT(totalCount(w) > later, 3000); // and is not stuck in a write
        setTicked(w, "checkBox", false);

        QString cut;
        const QStringList rows = captureRows(path, &cut);
        QVERIFY(rows.size() > 100);
        QVERIFY(quint64(rows.size()) < totalCount(w) - before);
        // Every row that reached the disk is whole and in order from the first frame counted.
        const quint64 first = rows.first().section(',', 0, 0).toULongLong();
        QCOMPARE(first, before + 1);
        for (int i = 0; i < rows.size(); ++i) {
            QCOMPARE(rows.at(i).split(',').size(), 11);
            QCOMPARE(rows.at(i).section(',', 0, 0).toULongLong(), first + quint64(i));
        }
        QVERIFY(cut.size() < 200);
        qInfo("disk full (%s): %llu frames counted while capturing, %d whole rows in the %lld-byte file, %d bytes "
              "of a cut row",
            qPrintable(how), totalCount(w) - before, int(rows.size()), QFileInfo(path).size(),
            int(cut.toUtf8().size()));
        QCOMPARE(Prompt::shown().size(), 0);
#else
        QSKIP("Linux only");
#endif
    }
};

QTEST_MAIN(FaultsTest)
#include "tst_faults.moc"
