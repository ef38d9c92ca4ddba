// Frame texts from raw records through the batch builders, the hand-over
// list, the receive thread on the recording fake driver, and the frame list
// model under QAbstractItemModelTester.
#include "FakeDriver.h"
#include "FrameText.h"
#include "Lang.h"
#include "ModelItem.h"
#include "MyTableModel.h"
#include "PendingFrames.h"
#include "SettingsStore.h"
#include "TestKit.h"
#include "recvThread.h"
#include "sendThread.h"

#include <QAbstractItemModelTester>
#include <QRandomGenerator>
#include <QTemporaryDir>

namespace {
enum Kind { ClassicRx, FdRx, ClassicTx, FdTx };

QByteArray counting(int n, int start)
{
    QByteArray b;
    for (int i = 0; i < n; ++i)
        b.append(char(start + i));
    return b;
}

// Time stamp, identifier, format, type, DLC, protocol and data texts joined by "|".
QString texts(const ModelItem &m)
{
    return QStringList { m.timeStamp, m.idText, m.formatText, m.typeText, m.dlcText, m.protocolText, m.dataText }.join(
        '|');
}

QList<ModelItem> collectFrames(int count, int timeoutMs = 10000)
{
    QList<ModelItem> all;
    QElapsedTimer timer;
    timer.start();
    while (all.size() < count && timer.elapsed() < timeoutMs) {
        all += takePendingFrames();
        QTest::qWait(2);
    }
    return all;
}

ModelItem row(
    const QString &index, const QString &channel, const QString &id, const QString &dir, const QString &data = "x| ")
{
    ModelItem m;
    m.indexText = index;
    m.systemTime = "10:00:00." + index.rightJustified(3, '0');
    m.timeStamp = "0x" + index;
    m.channelText = channel;
    m.dirText = dir;
    m.idText = id;
    m.formatText = id.size() > 5 ? "Extended Frame" : "Standard Frame";
    m.typeText = "data frame";
    m.dlcText = "0";
    m.protocolText = "CAN";
    m.dataText = data;
    return m;
}

QStringList column(const MyTableModel &model, int col)
{
    QStringList out;
    for (int r = 0; r < model.rowCount(); ++r)
        out << model.cellText(r, col);
    return out;
}

const QStringList kTitles
    = { "index", "system time", "time stamp", "channel", "Rx/Tx", "ID", "Frame", "type", "DLC", "CAN-FD", "data" };
using Steps = QList<QPair<int, QStringList>>; // (column, accepted texts) in turn
} // namespace

Q_DECLARE_METATYPE(Kind)

class FrameTextTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    void init()
    {
        SettingsStore::load(m_dir.filePath("setdb.txt"));
        takePendingFrames();
        FakeDriver::install();
        FakeDriver::openChannels(true, true);
    }
    void cleanup()
    {
        setLanguageCode(0);
        FakeDriver::uninstall();
    }

    // The identifier and length texts come from tables every frame shares; a
    // copy that is changed gets characters of its own and the table stays.
    void sharedTextsChangeOnlyTheirCopy()
    {
        QString id = FrameText::idText(0x1A);
        QString length = FrameText::lengthText(8);
        id += QStringLiteral("!");
        id[0] = QLatin1Char('y');
        length.append(QLatin1Char('0'));
        length.squeeze();
        QCOMPARE(id + ' ' + length, QString("yx01A! 80"));
        QCOMPARE(FrameText::idText(0x1A) + ' ' + FrameText::lengthText(8), QString("0x01A 8"));
        QList<QString> copies;
        for (int i = 0; i < 1000; ++i)
            copies << FrameText::idText(0x7FF);
        copies.clear();
        QCOMPARE(FrameText::idText(0x7FF), QString("0x7FF"));
    }

    void builders_data()
    {
        // timeHex: null: key absent
        columns<Kind, int, QString, uint, QByteArray, int, quint64, QString>(
            { "kind", "lang", "timeHex", "idWord", "data", "flags", "stamp", "expected" });
        const QByteArray abc = QByteArray::fromHex("01ABFF");
        QString full = "x| ";
        for (int i = 0; i < 64; ++i)
            full += QString::asprintf("%02X ", 0xC0 + i);
        QCOMPARE(full.size(), 195);
        QTest::newRow("standard padded to 3, hex time by default")
            << ClassicRx << 0 << QString() << 0x12u << abc << 0 << 12345678ull
            << "0xBC614E|0x012|标准帧|数据帧|3|CAN|x| 01 AB FF ";
        QTest::newRow("extended padded to 8, decimal time")
            << ClassicRx << 1 << "0" << 0x80000005u << QByteArray() << 0 << 12345678ull
            << "12.3457|0x00000005|擴展幀|數據幀|0|CAN|x| ";
        QTest::newRow("timeHex 7 means hex") << ClassicRx << 0 << "7" << 0x1u << QByteArray() << 0 << 0xABCDEF0123ull
                                             << "0xABCDEF0123|0x001|标准帧|数据帧|0|CAN|x| ";
        QTest::newRow("bit 29 not part of the id")
            << ClassicRx << 0 << "1" << 0x20000123u << QByteArray() << 0 << 0ull << "0x0|0x123|标准帧|数据帧|0|CAN|x| ";
        QTest::newRow("classic remote Rx keeps x| and length")
            << ClassicRx << 0 << "1" << 0x40000123u << abc.left(2) << 0 << 0ull << "0x0|0x123|标准帧|远程帧|2|CAN|x| ";
        QTest::newRow("FD remote Rx has empty data") << FdRx << 2 << "1" << 0xC0000123u << abc.left(2) << 0 << 0ull
                                                     << "0x0|0x00000123|Extended Frame|Remote Frame|2|CANFD|";
        QTest::newRow("FD remote Tx keeps x|")
            << FdTx << 1 << "1" << 0x40000123u << abc.left(2) << 0 << 0ull << "无|0x123|標準幀|遠程幀|2|CANFD|x| ";
        QTest::newRow("FD 64 bytes, switch") << FdRx << 0 << "1" << 0x100u << counting(64, 0xC0) << 1 << 1ull
                                             << "0x1|0x100|标准帧|数据帧|64|CANFD-加速|" + full;
        QTest::newRow("FD switch english") << FdTx << 2 << "1" << 0x100u << QByteArray() << 1 << 0ull
                                           << "无|0x100|Standard Frame|data frame|0|CANFD-acceleration|x| ";
        QTest::newRow("FD flags 3 is no switch")
            << FdRx << 0 << "1" << 0x100u << QByteArray() << 3 << 0ull << "0x0|0x100|标准帧|数据帧|0|CANFD|x| ";
        QTest::newRow("unknown language: texts empty")
            << FdRx << 7 << "1" << 0x80000100u << QByteArray(1, 10) << 1 << 0ull << "0x0|0x00000100|||1|CANFD|x| 0A ";
    }
    void builders()
    {
        QFETCH(Kind, kind);
        QFETCH(QString, timeHex);
        QFETCH(uint, idWord);
        QFETCH(QByteArray, data);
        QFETCH(int, flags);
        QFETCH(quint64, stamp);
        QFETCH(int, lang);
        setLanguageCode(lang);
        if (!timeHex.isNull())
            SettingsStore::setValue("timeHex", timeHex);
        // Each record sits second in a batch of two, so that a wrong stride shows.
        recvThread rx(1);
        sendThread tx(1);
        if (kind == ClassicRx) {
            const CanReceiveRecord r[2] = { FakeDriver::canRecord(7, {}), FakeDriver::canRecord(idWord, data, stamp) };
            rx.buildCanBatch(r, 2);
        } else if (kind == FdRx) {
            const CanFdReceiveRecord r[2]
                = { FakeDriver::canFdRecord(7, {}), FakeDriver::canFdRecord(idWord, data, uint8_t(flags), stamp) };
            rx.buildCanFdBatch(r, 2);
        } else {
            CanTransmitRecord c[2] = {};
            CanFdTransmitRecord f[2] = {};
            c[1].id = f[1].id = idWord;
            c[1].length = f[1].length = uint8_t(data.size());
            f[1].flags = uint8_t(flags);
            std::memcpy(f[1].data, data.constData(), size_t(data.size()));
            std::memcpy(c[1].data, data.constData(), std::min(sizeof c[1].data, size_t(data.size())));
            kind == ClassicTx ? tx.buildCanBatch(c, 2, 2) : tx.buildCanFdBatch(f, 2, 2);
        }
        const QList<ModelItem> items = takePendingFrames();
        QCOMPARE(items.size(), 2);
        const ModelItem &item = items.at(1);
        const bool rxKind = kind == ClassicRx || kind == FdRx;
        QCOMPARE(item.channel, 1u);
        QCOMPARE(item.channelText, QString("2"));
        QCOMPARE(item.direction, rxKind ? 1u : 0u);
        QCOMPARE(item.dirText, QString(rxKind ? "Rx" : "Tx"));
        QVERIFY(item.indexText.isEmpty() && item.systemTime.isEmpty());
        QTEST(texts(item), "expected");
    }

    void receiveThreadOrder()
    {
        using FakeDriver::canFdRecord;
        using FakeDriver::canRecord;
        setLanguageCode(2);
        FakeDriver::queueCanRead(0, { canRecord(0x1, {}), canRecord(0x2, {}) });
        FakeDriver::queueCanRead(0, { canRecord(0x4, {}) });
        FakeDriver::queueCanFdRead(0, { canFdRecord(0x3, {}) });
        FakeDriver::queueCanFdRead(0, { canFdRecord(0x5, {}) });
        recvThread rx(0);
        rx.setRecvParams(500, 7);
        rx.start();
        const QList<ModelItem> items = collectFrames(5);
        rx.stop();
        QVERIFY(rx.wait(5000));
        QVERIFY(!rx.stopRequested());
        QStringList ids;
        for (const ModelItem &item : items)
            ids << item.idText + ' ' + item.protocolText;
        // Each pass reads classic, then CAN FD.
        QCOMPARE(ids, QStringList({ "0x001 CAN", "0x002 CAN", "0x003 CANFD", "0x004 CAN", "0x005 CANFD" }));
        // On this channel's handle, up to 1000 records, without waiting, whatever setRecvParams said.
        const QList<FakeDriver::Call> calls = FakeDriver::calls();
        QVERIFY(calls.size() >= 4);
        for (int i = 0; i < calls.size(); ++i) {
            QCOMPARE(calls.at(i).name, QString(i % 2 ? "ReceiveCanFd" : "ReceiveCan"));
            QCOMPARE(calls.at(i).args, QVector<quint64>({ FakeDriver::channelHandle(0), 1000, 0 }));
        }
        // A stop before the start ends the next run before any read.
        FakeDriver::clearCalls();
        rx.stop();
        rx.start();
        QVERIFY(rx.wait(5000));
        QCOMPARE(FakeDriver::calls().size(), 0);
        // A closed channel ends the loop.
        rx.start();
        QTRY_VERIFY_WITH_TIMEOUT(FakeDriver::callCount("ReceiveCanFd") >= 2, 5000);
        deviceState().channelHandle[0] = 0;
        QVERIFY(rx.wait(5000));
    }

    void receiveThreadLosesNothing()
    {
        // Time stamps carry a running number per kind, so order and gaps show.
        QRandomGenerator rng(20240611);
        quint64 classicSeq = 0, fdSeq = 0;
        for (int read = 0; read < 300; ++read) {
            std::vector<CanReceiveRecord> classic;
            for (int i = rng.bounded(0, 40); i > 0; --i)
                classic.push_back(FakeDriver::canRecord(0x10, QByteArray(8, char(i)), classicSeq++));
            if (read == 100) // larger than one read: handed out over several calls
                for (int i = 0; i < 2500; ++i)
                    classic.push_back(FakeDriver::canRecord(0x10, QByteArray(8, char(i)), classicSeq++));
            if (!classic.empty())
                FakeDriver::queueCanRead(1, classic);
            std::vector<CanFdReceiveRecord> fd;
            for (int i = rng.bounded(0, 20); i > 0; --i)
                fd.push_back(FakeDriver::canFdRecord(0x20, QByteArray(64, char(i)), 1, fdSeq++));
            if (!fd.empty())
                FakeDriver::queueCanFdRead(1, fd);
        }
        recvThread rx(1);
        rx.start();
        const QList<ModelItem> items = collectFrames(int(classicSeq + fdSeq), 30000);
        rx.stop();
        QVERIFY(rx.wait(5000));
        QCOMPARE(FakeDriver::queuedReads(1), 0);
        QCOMPARE(items.size(), int(classicSeq + fdSeq));
        quint64 next[2] = {};
        for (const ModelItem &item : items) {
            const bool fd = item.protocolText != "CAN";
            QVERIFY(item.channel == 1 && item.direction == 1);
            QCOMPARE(item.timeStamp.mid(2).toULongLong(nullptr, 16), next[fd]++);
            QCOMPARE(item.dataText.size(), fd ? 195 : 27);
        }
    }

    void continuityCheck_data()
    {
        // armed: "recvIDAdd" before; null = absent; steps: cXXX classic, fXXX CAN FD (one batch each), A re-arms, R
        // resetLastIds
        columns<QString, QString, QString, QString>({ "armed", "steps", "errors", "after" });
        QTest::newRow("gap") << "1"
                             << "c100 c102"
                             << "100>102 "
                             << "0";
        QTest::newRow("backwards") << "1"
                                   << "f100 fFF"
                                   << "100>ff "
                                   << "0";
        QTest::newRow("standard wrap") << "1"
                                       << "c7FF c0"
                                       << ""
                                       << "0";
        QTest::newRow("extended wrap is a gap") << "1"
                                                << "f9FFFFFFF f80000000"
                                                << "1fffffff>0 "
                                                << "0";
        QTest::newRow("flag bits left out") << "1"
                                            << "cC0000100 c80000200"
                                            << "100>200 "
                                            << "0";
        QTest::newRow("one pair after a gap") << "1"
                                              << "c100 c300 c500"
                                              << "100>300 "
                                              << "0";
        QTest::newRow("first frame only arms") << "1"
                                               << "c100"
                                               << ""
                                               << "1";
        QTest::newRow("FD pair while classic waits") << "1"
                                                     << "f10 c300 f12"
                                                     << "10>12 "
                                                     << "0";
        QTest::newRow("id 0 counts as none yet") << "1"
                                                 << "c0 c555 c556"
                                                 << ""
                                                 << "0";
        QTest::newRow("off") << "0"
                             << "c100 c300"
                             << ""
                             << "0";
        QTest::newRow("2 is not armed") << "2"
                                        << "c100 c300"
                                        << ""
                                        << "2";
        QTest::newRow("last id survives re-arming") << "1"
                                                    << "c100 c101 A c200"
                                                    << "101>200 "
                                                    << "0";
        QTest::newRow("resetLastIds starts afresh") << "1"
                                                    << "c100 f100 R c400 c401"
                                                    << ""
                                                    << "0";
    }
    void continuityCheck()
    {
        QFETCH(QString, armed);
        QFETCH(QString, steps);
        if (!armed.isNull())
            SettingsStore::setValue("recvIDAdd", armed);
        recvThread rx(0);
        QString errors;
        connect(&rx, &recvThread::errorID, this,
            [&](uint last, uint id) { errors += QString("%1>%2 ").arg(last, 0, 16).arg(id, 0, 16); });
        for (const QString &s : steps.split(' ')) {
            if (s == "A")
                SettingsStore::setValue("recvIDAdd", "1");
            else if (s == "R")
                rx.resetLastIds();
            else if (s[0] == 'f') {
                const CanFdReceiveRecord r = FakeDriver::canFdRecord(s.mid(1).toUInt(nullptr, 16), {});
                rx.buildCanFdBatch(&r, 1);
            } else {
                const CanReceiveRecord r = FakeDriver::canRecord(s.mid(1).toUInt(nullptr, 16), {});
                rx.buildCanBatch(&r, 1);
            }
        }
        QTEST(errors, "errors");
        QTEST(SettingsStore::value("recvIDAdd", "?"), "after");
        if (armed == "1" && steps.count(' ')) { // disarming is saved at once
            QVERIFY(readFile(SettingsStore::path()).contains("recvIDAdd,0"));
        }
    }
};

class ModelTest : public QObject {
    Q_OBJECT
    MyTableModel *m_model = nullptr;
    QAbstractItemModelTester *m_tester = nullptr;

private slots:
    void initTestCase() { qRegisterMetaType<Qt::Orientation>(); }
    void init()
    {
        m_model = new MyTableModel;
        m_tester = new QAbstractItemModelTester(m_model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        m_model->setHeader(kTitles);
    }
    void cleanup()
    {
        delete m_tester;
        delete m_model;
    }

    void cellTexts_data()
    {
        columns<int, int, int, QString>({ "titles", "row", "column", "text" });
        QTest::newRow("inside") << 11 << 1 << 5 << "0x2";
        QTest::newRow("last column") << 11 << 0 << 10 << "x| 01 ";
        QTest::newRow("row past the end") << 11 << 2 << 0 << "";
        QTest::newRow("column 11 with a twelfth title") << 12 << 0 << 11 << "";
        QTest::newRow("column beyond a short header") << 5 << 0 << 5 << "";
    }
    void cellTexts()
    {
        QFETCH(int, titles);
        QFETCH(int, row);
        QFETCH(int, column);
        m_model->setHeader((kTitles + QStringList { "extra" }).mid(0, titles));
        m_model->appendRows({ ::row("1", "2", "0x1", "Rx", "x| 01 "), ::row("2", "1", "0x2", "Rx") });
        QTEST(m_model->cellText(row, column), "text");
        if (titles == 11 && row == 0) { // every column shows its own field, for display and edit
            const QStringList expected = { "1", "10:00:00.001", "0x1", "2", "Rx", "0x1", "Standard Frame", "data frame",
                "0", "CAN", "x| 01 " };
            for (int c = 0; c < 11; ++c)
                QCOMPARE(m_model->data(m_model->index(0, c), c % 2 ? Qt::DisplayRole : Qt::EditRole).toString(),
                    expected.at(c));
        }
    }

    void rowEdits_data()
    {
        // edit: a frame merged by (channel, identifier, direction), or how many first rows are removed
        columns<QList<ModelItem>, QVariant, QStringList>({ "rows", "edit", "indexes" });
        const QList<ModelItem> three
            = { row("1", "1", "0x123", "Rx"), row("2", "1", "0x456", "Rx"), row("3", "2", "0x123", "Rx") };
        auto merge = [](const ModelItem &m) { return QVariant::fromValue(m); };
        QTest::newRow("merge into an empty model")
            << QList<ModelItem> {} << merge(row("9", "1", "0x123", "Rx")) << QStringList { "9" };
        QTest::newRow("same key overwrites in place")
            << three << merge(row("9", "1", "0x456", "Rx")) << QStringList { "1", "9", "3" };
        QTest::newRow("other direction") << three << merge(row("9", "1", "0x456", "Tx"))
                                         << QStringList { "1", "2", "3", "9" };
        QTest::newRow("extended text of the same number")
            << three << merge(row("9", "1", "0x00000123", "Rx")) << QStringList { "1", "2", "3", "9" };
        QTest::newRow("oldest of two equal rows")
            << QList<ModelItem> { row("1", "1", "0x7", "Rx"), row("2", "1", "0x7", "Rx") }
            << merge(row("9", "1", "0x7", "Rx")) << QStringList { "9", "2" };
        QTest::newRow("remove two of three") << three << QVariant(2) << QStringList { "3" };
        QTest::newRow("remove past the end") << three << QVariant(5) << QStringList {};
        QTest::newRow("remove a negative count") << three << QVariant(-4) << QStringList { "1", "2", "3" };
    }
    void rowEdits()
    {
        QFETCH(QList<ModelItem>, rows);
        QFETCH(QVariant, edit);
        m_model->appendRows(rows);
        const ModelItem merged = edit.value<ModelItem>();
        if (edit.userType() == qMetaTypeId<ModelItem>())
            m_model->mergeRow(merged);
        else
            m_model->removeFirstRows(edit.toInt());
        QTEST(column(*m_model, 0), "indexes");
        const int at
            = column(*m_model, 0).indexOf(merged.indexText); // a merged row shows every text of the newest frame
        if (at >= 0)
            QCOMPARE(m_model->cellText(at, 1) + m_model->cellText(at, 2), merged.systemTime + merged.timeStamp);
    }

    void headerChanges()
    {
        MyTableModel model;
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy header(&model, &QAbstractItemModel::headerDataChanged);
        model.appendRows({ row("1", "1", "0x1", "Rx") });
        model.setHeader(kTitles);
        QCOMPARE(model.columnCount(), 11);
        // A language change: same count, new titles, the view is told once.
        const QStringList chinese
            = { "序号", "系统时间", "时间标识", "通道", "收/发", "ID", "Frame", "类型", "DLC", "CAN-FD", "数据" };
        model.setHeader(chinese);
        model.setHeader(chinese);
        QCOMPARE(header.count(), 1);
        QCOMPARE(header.first().at(2).toInt(), 10);
        QCOMPARE(model.headerData(10, Qt::Horizontal).toString(), QString("数据"));
        model.setHeader(chinese.mid(0, 4));
        QCOMPARE(model.columnCount(), 4);
    }

    void filterMarks_data()
    {
        // titles: titles of columns 5 and 7
        columns<Steps, QString, int>({ "steps", "titles", "headerSignals" });
        QTest::newRow("mark") << Steps { { 5, { "0x123" } } } << "ID*|type" << 1;
        QTest::newRow("same list is no change") << Steps { { 5, { "0x123" } }, { 5, { "0x123" } } } << "ID*|type" << 1;
        QTest::newRow("unmark") << Steps { { 5, { "0x123" } }, { 5, {} } } << "ID|type" << 2;
        QTest::newRow("two columns") << Steps { { 5, { "a" } }, { 7, { "b" } } } << "ID*|type*" << 2;
    }
    void filterMarks()
    {
        QFETCH(Steps, steps);
        QSignalSpy header(m_model, &QAbstractItemModel::headerDataChanged);
        for (const auto &step : steps)
            m_model->setFilter(step.first, step.second);
        QTEST(
            m_model->headerData(5, Qt::Horizontal).toString() + '|' + m_model->headerData(7, Qt::Horizontal).toString(),
            "titles");
        QTEST(header.count(), "headerSignals");
        QCOMPARE(m_model->header().at(5), m_model->headerData(5, Qt::Horizontal).toString());
    }

    void acceptsRow_data()
    {
        columns<Steps, ModelItem, bool>({ "conditions", "item", "accepted" });
        QTest::newRow("no conditions") << Steps {} << row("1", "1", "0x00000123", "Rx") << true;
        QTest::newRow("listed") << Steps { { 5, { "0x123" } } } << row("1", "1", "0x123", "Rx") << true;
        QTest::newRow("wider id not listed")
            << Steps { { 5, { "0x123" } } } << row("1", "1", "0x00000123", "Rx") << false;
        QTest::newRow("case-sensitive") << Steps { { 5, { "0x1AB" } } } << row("1", "1", "0x1ab", "Rx") << false;
        QTest::newRow("every column must pass")
            << Steps { { 5, { "0x2" } }, { 4, { "Tx" } } } << row("1", "1", "0x2", "Rx") << false;
        QTest::newRow("whole text only") << Steps { { 10, { "x| 01" } } } << row("1", "1", "0x2", "Rx", "x| 01 ")
                                         << false;
    }
    void acceptsRow()
    {
        QFETCH(Steps, conditions);
        QFETCH(ModelItem, item);
        for (const auto &c : conditions)
            m_model->setFilter(c.first, c.second);
        QTEST(m_model->acceptsRow(item), "accepted");
        QTEST(m_model->acceptsRow(MyTableModel::rowFromItem(item)), "accepted");
    }
};

OSTREL_TEST_MAIN(QCoreApplication, new FrameTextTest, new ModelTest)
#include "tst_frames.moc"
