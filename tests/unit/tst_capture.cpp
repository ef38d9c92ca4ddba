// The live capture file on its own: frames made by the real batch builders go
// through refresh rounds into each format, split into numbered parts by size
// or by time, and every frame is read back from the parts exactly once, in
// order, with what it carried.
#include "CaptureFile.h"
#include "FrameBatch.h"
#include "LogReader.h"
#include "SettingsStore.h"
#include "TestKit.h"

#include <QTemporaryDir>

namespace {
constexpr int kRounds = 4;
constexpr int kPerBatch = 700;
const QString kHeader = QStringLiteral("序号,系统时间,时间标识,通道,收/发,ID,Frame,类型,DLC,CAN-FD,数据");

// One refresh round's frames: classic received frames on channel 1, CAN FD
// ones with bit-rate switch on channel 2, a transmitted remote frame. The
// first four data bytes count per channel.
QList<ModelItem> round(quint32 seq[2], quint64 &index)
{
    std::vector<CanReceiveRecord> classic(kPerBatch);
    std::vector<CanFdReceiveRecord> fd(kPerBatch);
    for (int i = 0; i < kPerBatch; ++i) {
        classic[size_t(i)] = { 0x123, 8, {}, {}, 100ull * seq[0] };
        qToLittleEndian(seq[0]++, classic[size_t(i)].data);
        fd[size_t(i)] = { 0x80000000u | 0x18FF0010u, 64, 1, {}, {}, 100ull * seq[1] };
        qToLittleEndian(seq[1]++, fd[size_t(i)].data);
        fd[size_t(i)].data[63] = 0xA5;
    }
    CanTransmitRecord remote { 0x40000000u | 0x7DF, 8, {}, {}, 0 };
    QList<ModelItem> items = FrameBatch::build(classic.data(), kPerBatch, 0)
        + FrameBatch::build(fd.data(), kPerBatch, 1) + FrameBatch::build(&remote, 1, 0);
    for (ModelItem &item : items) {
        item.indexText = QString::number(++index);
        item.systemTime = QStringLiteral("10:00:00.000");
    }
    return items;
}
} // namespace

class tst_Capture : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        SettingsStore::load(m_dir.filePath("setdb.txt"));
        setLanguageCode(0);
    }

    void splitKeepsEveryFrameOnce_data()
    {
        columns<QString, qint64, qint64>({ "format", "bytes", "ms" });
        for (const char *format : { "csv", "asc", "blf", "trc", "log" })
            QTest::addRow("%s by size", format)
                << QString(format) << qint64(format == QString("blf") ? 8 : 64) * 1024 << qint64(0);
        for (const char *format : { "csv", "blf" })
            QTest::addRow("%s by time", format) << QString(format) << qint64(0) << qint64(1);
        QTest::newRow("asc, one file") << "asc" << qint64(0) << qint64(0);
    }
    void splitKeepsEveryFrameOnce()
    {
        QFETCH(QString, format);
        QFETCH(qint64, bytes);
        QFETCH(qint64, ms);
        const QString path = m_dir.filePath(QString("bus.%1.%2").arg(QTest::currentDataTag()).arg(format));
        auto capture = CaptureFile::open(path, [] { return kHeader; }, { bytes, ms });
        QVERIFY(capture);
        QCOMPARE(capture->isCsv(), format == "csv");
        quint32 seq[2] = { 0, 0 };
        quint64 index = 0;
        QList<ModelItem> written;
        for (int r = 0; r < kRounds; ++r) {
            if (ms > 0 && r > 0)
                QTest::qWait(int(ms) + 2); // each later round comes after the time limit: a part per round
            const QList<ModelItem> items = round(seq, index);
            capture->beginRound(items.size() * 300);
            for (const ModelItem &item : items)
                capture->write(item);
            capture->endRound();
            written += items;
        }
        capture->close();
        QCOMPARE(capture->takeProblem(), QString());
        const QStringList parts = capture->takeNewParts();

        // Parts 2, 3, ... are announced and named after the file; each one is
        // read whole and the frames come out once each, in the order written.
        QList<LogFrame> read;
        int part = 1;
        for (; QFileInfo::exists(CaptureFile::partPath(path, part)); ++part) {
            const QString name = CaptureFile::partPath(path, part);
            if (part > 1)
                QCOMPARE(parts.value(part - 2), name);
            if (format == "csv") // every part starts with the header line
                QVERIFY(readFile(name).startsWith((kHeader + '\n').toUtf8()));
            LogError error;
            auto reader = LogReader::open(name, &error);
            QVERIFY2(reader, qPrintable(error.message().en));
            LogFrame f;
            int inPart = 0;
            qint64 lastTime[2] = { -1, -1 };
            while (reader->next(f)) {
                // Time goes forward on a channel within a part, as the device stamped the frames.
                if (f.received && format != "csv") {
                    QVERIFY2(f.timeNs >= lastTime[f.channel], qPrintable(QString("frame %1").arg(read.size())));
                    lastTime[f.channel] = f.timeNs;
                }
                read << f;
                ++inPart;
            }
            QVERIFY2(!reader->failed(), qPrintable(reader->error().message().en));
            QVERIFY2(inPart > 0, qPrintable(name));
            // A part is closed at the first frame that takes it to the limit.
            if (bytes > 0 && QFileInfo::exists(CaptureFile::partPath(path, part + 1)))
                QVERIFY2(
                    QFileInfo(name).size() >= bytes && QFileInfo(name).size() < bytes + (format == "blf" ? 40000 : 400),
                    qPrintable(QString("%1: %2 bytes").arg(name).arg(QFileInfo(name).size())));
        }
        QCOMPARE(parts.size(), part - 2);
        if (ms > 0)
            QCOMPARE(part - 1, kRounds);
        else if (bytes > 0)
            QVERIFY2(part - 1 >= 2, qPrintable(QString::number(part - 1)));
        else
            QCOMPARE(part - 1, 1);

        QCOMPARE(read.size(), written.size());
        for (int i = 0; i < read.size(); ++i) {
            const ModelItem &m = written.at(i);
            QVERIFY2(read[i] == CaptureFile::logFrame(m, read[i].timeNs),
                qPrintable(QString("frame %1: %2 %3").arg(i).arg(m.idText, m.dataText)));
            QCOMPARE(read[i].id, m.idWord & 0x1FFFFFFFu);
        }
        QCOMPARE(read.at(1).data[0], quint8(1));
        QCOMPARE(read.at(kPerBatch).data[63], quint8(0xA5));
        QVERIFY(read.at(kPerBatch).canFd && read.at(kPerBatch).bitRateSwitch && read.at(kPerBatch).extended);
        QVERIFY(read.at(2 * kPerBatch).remote && !read.at(2 * kPerBatch).received);
    }
};

QTEST_GUILESS_MAIN(tst_Capture)
#include "tst_capture.moc"
