// The list send below the window: the list file (round trip, malformed
// lines), and the schedulers on the simulated adapter, whose channels 1 and 2
// share one bus: what channel 1 sends, channel 2 receives with the device's
// time stamp of the frame's end on the bus.
#include "DeviceLayer.h"
#include "FreshProcess.h"
#include "ListSendFile.h"
#include "ListSendModel.h"
#include "PendingFrames.h"
#include "SimControl.h"
#include "TestKit.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <map>

namespace {
ListSendRow row(uint32_t id, int periodMs, qint64 count = 0, int protocol = 0)
{
    ListSendRow r;
    r.id = id;
    r.periodMs = periodMs;
    r.count = count;
    r.protocol = protocol;
    r.length = 2;
    r.data = QByteArray::fromHex("A55A");
    return r;
}

bool openBus()
{
    if (!openDevice(41, 0, 0))
        return false;
    for (unsigned ch = 0; ch < 2; ++ch)
        if (!setCanFdStandard(ch, 0) || !setBaudRate(ch, 0, 0) || !initChannel(ch, 0) || !startChannel(ch))
            return false;
    return true;
}

// Device time stamps (us) of the frames channel 2 has received so far, by identifier word.
std::map<uint32_t, QVector<quint64>> heardOnChannel2()
{
    std::map<uint32_t, QVector<quint64>> out;
    CanReceiveRecord can[1000];
    CanFdReceiveRecord fd[1000];
    for (uint32_t n; (n = receiveCan(1, can, 1000, 0)) > 0;)
        for (uint32_t i = 0; i < n; ++i)
            out[can[i].id].append(can[i].timestamp);
    for (uint32_t n; (n = receiveCanFd(1, fd, 1000, 0)) > 0;)
        for (uint32_t i = 0; i < n; ++i)
            out[fd[i].id].append(fd[i].timestamp);
    return out;
}
} // namespace

class tst_ListSend : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    void fileRoundTrip()
    {
        ListSendRow a = row(0x7FF, 10);
        a.name = QStringLiteral("发动机; rpm");
        a.idIncrement = true;
        ListSendRow b = row(0x1FFFFFFF, 60000, 7, 2);
        b.extended = true;
        b.enabled = false;
        b.length = 64;
        b.dataIncrement = true;
        b.fitData();
        b.data[63] = char(0xFE);
        ListSendRow c = row(0x12, 1);
        c.remote = true;
        c.channel = 1;
        c.length = 0;
        c.fitData();
        const QString path = m_dir.filePath("list.txt");
        QVERIFY(ListSendFile::write(path, { a, b, c }));
        const ListSendFile::Result back = ListSendFile::read(path);
        QVERIFY(back.ok);
        QCOMPARE(back.rows.size(), 3);
        QCOMPARE(back.rows.at(0), a);
        QCOMPARE(back.rows.at(1), b);
        QCOMPARE(back.rows.at(2), c);
        QVERIFY(readFile(path).contains("1;1;7FF;std;data;CAN;2;A5 5A;10;0;1;0;发动机; rpm\n"));
        QVERIFY(ListSendFile::read(m_dir.filePath("none.txt")).missing);
    }

    void malformedFile_data()
    {
        columns<QByteArray, int, QString, QString>({ "text", "line", "field", "found" });
        const QByteArray good = "1;1;123;std;data;CAN;2;01 02;10;0;0;0;x\n";
        QTest::newRow("standard id 800") << good + "1;1;800;std;data;CAN;2;01;10;0;0;0;\n"
                                         << 2 << "id"
                                         << "800";
        QTest::newRow("extended id 20000000")
            << QByteArray("\n# c\n1;2;20000000;ext;data;CAN;2;01;10;0;0;0;\n") << 3 << "id"
            << "20000000";
        QTest::newRow("length 9") << QByteArray("1;1;1;std;data;CAN;9;01;10;0;0;0;\n") << 1 << "length"
                                  << "9";
        QTest::newRow("length 12 on CAN") << QByteArray("1;1;1;std;data;CAN;12;01;10;0;0;0;\n") << 1 << "length"
                                          << "12";
        QTest::newRow("three bytes in two") << QByteArray("1;1;1;std;data;CAN;2;01 02 03;10;0;0;0;\n") << 1 << "data"
                                            << "01 02 03";
        QTest::newRow("not hex") << QByteArray("1;1;1;std;data;CAN;2;0G;10;0;0;0;\n") << 1 << "data"
                                 << "0G";
        QTest::newRow("period 0") << QByteArray("1;1;1;std;data;CAN;2;01;0;0;0;0;\n") << 1 << "period"
                                  << "0";
        QTest::newRow("period 60001") << QByteArray("1;1;1;std;data;CAN;2;01;60001;0;0;0;\n") << 1 << "period"
                                      << "60001";
        QTest::newRow("remote CANFD") << QByteArray("1;1;1;std;remote;CANFD;2;;10;0;0;0;\n") << 1 << "protocol"
                                      << "CANFD";
        QTest::newRow("channel 3") << QByteArray("1;3;1;std;data;CAN;2;01;10;0;0;0;\n") << 1 << "channel"
                                   << "3";
        QTest::newRow("short line") << good + good + "1;1;1;std\n"
                                    << 3 << "name"
                                    << "1;1;1;std";
    }
    void malformedFile()
    {
        QFETCH(QByteArray, text);
        const ListSendFile::Result r = ListSendFile::parse(text);
        QVERIFY(!r.ok);
        QVERIFY(r.rows.isEmpty()); // never half a list
        QTEST(r.line, "line");
        QTEST(r.field, "field");
        QTEST(r.found, "found");
        setLanguageCode(2);
        QVERIFY(ListSendFile::problemText(r, "l.txt", false)
                    .startsWith(QString("List file \"l.txt\", line %1").arg(r.line)));
        setLanguageCode(0);
    }

    void init()
    {
        freshProcess();
        QVERIFY(openBus());
        SimControl::setNodesEnabled(false);
    }
    void cleanup() { closeDevice(); }

    // Three rows at 10, 20 and 50 ms on channel 1: over two seconds of device
    // time channel 2 hears each one as often as its period says, and every
    // frame sent reached the frame table's hand-over list.
    void periodsHold()
    {
        ListSendModel model;
        model.setRows({ row(0x10, 10), row(0x20, 20), row(0x50, 50, 0, 2) });
        QCOMPARE(model.startAll(), QList<unsigned>());
        QTRY_VERIFY_WITH_TIMEOUT(model.sentCount(2) >= 42, 10000);
        model.stopAll();
        QTRY_VERIFY(!model.anyRunning());
        QTest::qWait(50); // the last frames leave the bus

        const auto heard = heardOnChannel2();
        const quint64 t0 = std::min({ heard.at(0x10).first(), heard.at(0x20).first(), heard.at(0x50).first() });
        const int periods[] = { 10, 20, 50 };
        const uint32_t ids[] = { 0x10, 0x20, 0x50 };
        QList<ModelItem> shown = takePendingFrames();
        for (int k = 0; k < 3; ++k) {
            const QVector<quint64> &ts = heard.at(ids[k]);
            QCOMPARE(quint64(ts.size()), model.sentCount(k));
            const int inTwoSeconds
                = int(std::count_if(ts.begin(), ts.end(), [t0](quint64 t) { return t < t0 + 2000000; }));
            const int expected = 2000 / periods[k];
            // Never more than the schedule allows. A slot the thread reaches
            // more than a period late is skipped, not sent in a burst, so a
            // machine busy with other work may lose a few (up to 5 %).
            QVERIFY2(inTwoSeconds <= expected + 1 && inTwoSeconds >= expected - std::max(1, expected / 20),
                qPrintable(QString("id %1: %2 frames in 2 s, expected %3")
                               .arg(ids[k], 0, 16)
                               .arg(inTwoSeconds)
                               .arg(expected)));
            const QString idText = QString("0x%1").arg(ids[k], 3, 16, QChar('0'));
            const int tx = int(std::count_if(shown.begin(), shown.end(),
                [&](const ModelItem &m) { return m.idText == idText && m.dirText == "Tx" && m.channel == 0; }));
            QCOMPARE(quint64(tx), model.sentCount(k));
        }
        const auto fd
            = std::find_if(shown.begin(), shown.end(), [](const ModelItem &m) { return m.idText == "0x050"; });
        QCOMPARE(fd->protocolText, QString("CANFD-加速"));
    }

    // A count row sends its frames with the send panel's increments and
    // switches itself off; the row beside it goes on.
    void countRowSwitchesOff()
    {
        ListSendModel model;
        ListSendRow counted = row(0x7FE, 2, 3);
        counted.idIncrement = true;
        counted.dataIncrement = true;
        counted.data = QByteArray::fromHex("FFFF");
        model.setRows({ counted, row(0x100, 5) });
        QSignalSpy running(&model, &ListSendModel::runningChanged);
        model.startAll();
        QTRY_VERIFY(!model.isRunning(0));
        QCOMPARE(model.sentCount(0), quint64(3));
        QVERIFY(model.isRunning(1));
        QTest::qWait(20);
        const auto heard = heardOnChannel2();
        QCOMPARE(heard.at(0x7FE).size() + heard.at(0x7FF).size() + heard.at(0x000).size(), 3);
        takePendingFrames();
        QList<ModelItem> later;
        QTRY_VERIFY((later += takePendingFrames()).size() > 3);
        for (const ModelItem &m : later)
            QCOMPARE(m.idText, QString("0x100"));
        model.stopAll();
    }

    void stopOneRow()
    {
        ListSendModel model;
        model.setRows({ row(0x1, 5), row(0x2, 5) });
        model.startAll();
        QTRY_VERIFY(model.sentCount(0) > 2);
        model.stop({ 0 });
        QVERIFY(!model.isRunning(0));
        QTest::qWait(20);
        const quint64 stoppedAt = model.sentCount(0);
        const quint64 otherAt = model.sentCount(1);
        QTRY_VERIFY(model.sentCount(1) > otherAt + 5);
        QCOMPARE(model.sentCount(0), stoppedAt);
        QVERIFY(model.isRunning(1));
        model.stopAll();
    }

    // A channel that closes ends its rows (no crash, no box); a start on it
    // afterwards is refused with the send panel's message.
    void channelClosesWhileSending()
    {
        ListSendModel model;
        ListSendRow onTwo = row(0x3, 10);
        onTwo.channel = 1;
        model.setRows({ row(0x1, 1), row(0x2, 7), onTwo });
        QSignalSpy refused(&model, &ListSendModel::refused);
        model.startAll();
        QTRY_VERIFY(model.sentCount(0) > 5);
        closeDevice();
        QTRY_VERIFY(!model.anyRunning());
        QCOMPARE(model.data(model.index(0, ListSendModel::State)).toString(), QString("停止"));
        QCOMPARE(refused.count(), 0);
        QCOMPARE(model.startAll(), (QList<unsigned> { 0, 1 }));
        QCOMPARE(refused.count(), 2);
        QCOMPARE(refused.at(0).at(1).toString(), QString("通道1未打开！"));
        QCOMPARE(refused.at(1).at(1).toString(), QString("通道2未打开！"));
    }
};

QTEST_GUILESS_MAIN(tst_ListSend)
#include "tst_listsend.moc"
