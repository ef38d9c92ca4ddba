// Acceptance: live capture in each standard log format through the real
// window on the simulated adapter, read back by Ostrel and by python-can, then
// replayed onto the other channel; and a long capture split into numbered
// files by the capture dialog's size limit, every flooded frame in exactly one
// of them.
#include "AcceptanceUser.h"

#include "CaptureFile.h"
#include "FileDialogs.h"
#include "FrameText.h"
#include "LogReader.h"
#include "SettingsStore.h"
#include "savefileDlg.h"

#include <QProcess>
#include <QSpinBox>

using namespace Acceptance;

namespace {
// ID, Frame, type, DLC, CAN-FD and data as the Simplified Chinese frame list shows a frame.
QString frameText(const LogFrame &f)
{
    const quint32 word = f.id | (f.extended ? FrameText::kExtendedBit : 0) | (f.remote ? FrameText::kRemoteBit : 0);
    return QStringList { FrameText::idText(word), FrameText::formatText(0, f.extended),
        FrameText::typeText(0, f.remote), FrameText::lengthText(f.length),
        FrameText::protocolText(0, f.canFd, f.bitRateSwitch ? 1 : 0), FrameText::dataText(f.data.data(), f.length) }
        .join(',');
}
QStringList frameTexts(const QList<QStringList> &rows, int fd = -1)
{
    QStringList out;
    for (const QStringList &r : rows)
        if (fd < 0 || r.value(9).startsWith("CANFD") == bool(fd))
            out << r.mid(5).join(',');
    return out;
}
QList<LogFrame> readLog(const QString &path)
{
    QList<LogFrame> frames;
    LogError error;
    auto reader = LogReader::open(path, &error);
    if (!reader) {
        qWarning("%s", qPrintable(error.message().en));
        return frames;
    }
    LogFrame f;
    while (reader->next(f))
        frames << f;
    if (reader->failed())
        qWarning("%s", qPrintable(reader->error().message().en));
    return frames;
}
// The frames of one (0-based) channel and direction as frame texts; fd as in frameTexts.
QStringList textsOf(const QList<LogFrame> &frames, int channel, bool received, int fd = -1)
{
    QStringList out;
    for (const LogFrame &f : frames)
        if (int(f.channel) == channel && f.received == received && (fd < 0 || f.canFd == bool(fd)))
            out << frameText(f);
    return out;
}
} // namespace

class AcceptanceLogs : public QObject {
    Q_OBJECT
    std::unique_ptr<Install> m_install;
    std::unique_ptr<MainWindow> m_window;
    MainWindow *w = nullptr;
    QString m_python;

    bool enabled(const char *name) { return child<QWidget>(w, name)->isEnabled(); }
    void clearAll()
    {
        QTest::qWait(300); // frames still on their way
        click(w, "cleanListBtn");
        click(w, "pushButton");
        QCOMPARE(rows(w).size(), 0);
    }
    void startCapture(const QString &path, bool split = false, int megabytes = 0)
    {
        whenModal<savefileDlg>([path, split, megabytes](savefileDlg *dlg) {
            FileDialogs::queueAnswersForTests({ path });
            click(dlg, "pbBrowse");
            ::setTicked(child<QCheckBox>(dlg, "splitCheck"), split);
            if (split) {
                child<QSpinBox>(dlg, "splitSizeSpin")->setValue(megabytes);
                child<QSpinBox>(dlg, "splitTimeSpin")->setValue(0);
            }
            click(dlg, "pbOk");
        });
        setTicked(w, "checkBox", true);
    }
    void sendBurst(const QStringList &fields, quint64 frames)
    {
        const quint64 tx = count(w, "labelCh1TxCount"), rx = count(w, "labelCh2RxCount");
        setFields(w, fields);
        click(w, "ch1SendBtn");
        QTRY_VERIFY_WITH_TIMEOUT(enabled("ch1SendBtn"), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(count(w, "labelCh1TxCount"), tx + frames, 3000);
        QTRY_COMPARE_WITH_TIMEOUT(count(w, "labelCh2RxCount"), rx + frames, 3000);
    }

private slots:
    void initTestCase()
    {
        freshProcess();
        m_install = std::make_unique<Install>();
        w = startWindow(m_window);
        openDeviceFromMenu(w);
        QVERIFY2(logText(w).contains("通道2打开成功！"), qPrintable(logText(w)));
        SimControl::setNodesEnabled(false);
        setListBuffer(w, 5000);
        for (const QString &candidate : { QStringLiteral("/usr/bin/python3"), QStringLiteral("python3") })
            if (QProcess::execute(candidate, { "-c", "import can" }) == 0) {
                m_python = candidate;
                break;
            }
    }
    void cleanupTestCase()
    {
        m_window.reset();
        m_install.reset();
    }

    void captureAndReplay_data()
    {
        QTest::addColumn<QString>("format");
        for (const char *format : { "asc", "blf", "trc", "log" })
            QTest::newRow(format) << QString(format);
    }
    void captureAndReplay()
    {
        QFETCH(QString, format);
        clearAll();
        const QString path = m_install->path("capture." + format);
        startCapture(path);
        // Classic standard frames counting up, then extended CAN FD frames with bit-rate switch.
        sendBurst({ "ch1FrameTypeCombo=0", "ch1ProtocolCombo=0", "ch1sendLenCombo=8", "ch1SendIDEdit=7F0",
                      "ch1SendCountEdit=20", "ch1SendInvEdit=1", "ch1SendDataEdit=01 02 03 04 05 06 07 08",
                      "ch1IDAddChk=1", "ch1DataAddChk=1" },
            20);
        sendBurst({ "ch1FrameTypeCombo=1", "ch1ProtocolCombo=2", "ch1sendLenCombo=9", "ch1SendIDEdit=1ABCDEF",
                      "ch1SendCountEdit=10", "ch1SendDataEdit=A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB" },
            10);
        QTest::qWait(300); // the last round reaches the file
        setTicked(w, "checkBox", false);

        // The file holds what the table shows: 30 frames sent on channel 1, received on channel 2.
        const QList<LogFrame> frames = readLog(path);
        QCOMPARE(frames.size(), 60);
        const QList<QStringList> shown = rows(w);
        QCOMPARE(textsOf(frames, 0, false), frameTexts(rowsOf(shown, "1", "Tx")));
        QCOMPARE(textsOf(frames, 1, true), frameTexts(rowsOf(shown, "2", "Rx")));
        QCOMPARE(textsOf(frames, 0, false).last(),
            QString("0x01ABCDF8,扩展帧,数据帧,12,CANFD-加速,x| A9 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB "));

        // python-can reads the same frames (its time stamps are its own business here;
        // its trace reader, 4.1, reads classic frames only).
        if (!m_python.isEmpty()) {
            const QString listed = m_install->path("pycan.txt");
            QCOMPARE(QProcess::execute(m_python,
                         { qEnvironmentVariable("OSTREL_SOURCE_DIR") + "/tests/log/pycan_helper.py", "read", format,
                             path, listed }),
                0);
            QStringList theirs = QString::fromUtf8(readFile(listed)).split('\n', Qt::SkipEmptyParts);
            QStringList ours;
            for (const LogFrame &f : frames)
                if (format != "trc" || !f.canFd)
                    ours << QString("%1 %2 %3 %4 %5 %6 %7 0 %8 %9 %10")
                                .arg(f.channel)
                                .arg(f.id)
                                .arg(int(f.extended))
                                .arg(int(f.remote))
                                .arg(int(f.canFd))
                                .arg(int(f.bitRateSwitch))
                                .arg(int(f.errorStateIndicator))
                                .arg(int(f.received))
                                .arg(f.length)
                                .arg(QString(
                                    QByteArray(reinterpret_cast<const char *>(f.data.data()), f.length).toHex()));
            for (QString &line : theirs)
                line = line.section(' ', 1);
            QCOMPARE(theirs, ours);
        }

        // Replayed on channel 2 with the recorded timing, every frame comes in on channel 1.
        clearAll();
        trigger(w, "actionFileSend");
        auto *dlg = child<QDialog>(w, "fileDlg");
        QTRY_VERIFY(dlg->isVisible());
        FileDialogs::queueAnswersForTests({ path });
        click(dlg, "pbfile");
        setIndex(dlg, "comboBox", 1);
        setIndex(dlg, "comboBox_2", 1);
        child<QSpinBox>(dlg, "spinBox")->setValue(1);
        const int done = logText(w).count("文件发送完成！");
        click(dlg, "pbSend");
        QTRY_COMPARE_WITH_TIMEOUT(logText(w).count("文件发送完成！"), done + 1, 15000);
        QTRY_COMPARE_WITH_TIMEOUT(rowsOf(rows(w), "1", "Rx").size(), 60, 3000);
        const QList<QStringList> replayed = rows(w);
        QCOMPARE(replayed.size(), 120);
        QStringList all;
        for (const LogFrame &f : frames)
            all << frameText(f);
        QCOMPARE(frameTexts(rowsOf(replayed, "2", "Tx")), all);
        for (const int fd : { 0, 1 }) {
            QStringList kind;
            for (const LogFrame &f : frames)
                if (f.canFd == bool(fd))
                    kind << frameText(f);
            QCOMPARE(frameTexts(rowsOf(replayed, "1", "Rx"), fd), kind);
        }
        dlg->close();
        QCOMPARE(Prompt::shown().size(), 0);
    }

    // The simulator's flood carries a sequence number in each frame; a capture
    // split every megabyte holds each of them once, in order, over its files.
    void splitCaptureHoldsEveryFrameOnce()
    {
        clearAll();
        const QString path = m_install->path("long.asc");
        startCapture(path, true, 1);
        QCOMPARE(SettingsStore::value("splitCheck") + SettingsStore::value("splitSizeSpin")
                + SettingsStore::value("splitTimeSpin"),
            QString("110"));
        SimControl::startFlood(SimControl::FloodMode::AsFastAsPossible, SimControl::FloodFrame::Can8);
        QTRY_VERIFY_WITH_TIMEOUT(SimControl::floodInjected() >= 40000, 10000);
        SimControl::stopFlood();
        const quint64 injected = SimControl::floodInjected();
        QTRY_COMPARE_WITH_TIMEOUT(count(w, "labelCh1RxCount") + count(w, "labelCh2RxCount"), 2 * injected, 10000);
        QTest::qWait(300);
        setTicked(w, "checkBox", false);

        quint64 next[2] = { 0, 0 };
        int part = 1;
        for (; QFileInfo::exists(CaptureFile::partPath(path, part)); ++part) {
            const QString name = CaptureFile::partPath(path, part);
            for (const LogFrame &f : readLog(name)) {
                quint64 seq = 0;
                for (int b = 7; b >= 0; --b)
                    seq = (seq << 8) | f.data[size_t(b)];
                QVERIFY(f.channel < 2);
                QCOMPARE(seq, next[f.channel]);
                ++next[f.channel];
            }
            if (part > 1)
                QVERIFY2(logText(w).contains("实时保存续存到新文件：" + name), qPrintable(name));
        }
        QVERIFY2(part - 1 >= 3, qPrintable(QString::number(part - 1)));
        QCOMPARE(next[0], injected);
        QCOMPARE(next[1], injected);
    }
};

QTEST_MAIN(AcceptanceLogs)
#include "tst_acceptance_logs.moc"
