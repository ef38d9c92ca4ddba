// The QtSerialBus back-end below the window: the back-end's own filtering
// where the interface takes no filters (virtualcan), and frames lost on a full
// receive queue. The range-to-filter decomposition is in tst_acceptance_masks.
#include "CanBusAdapter.h"
#include "ChannelSetup.h"
#include "Interfaces.h"
#include "TestKit.h"

#include <QCanBus>
#include <QCanBusDevice>

// Channel 1 and 2 of the back-end on virtualcan can1, with a peer node there.
class BackendTest : public QObject {
    Q_OBJECT
    std::unique_ptr<QCanBusDevice> m_peer;

    // Frames reach the channels only once the virtual bus has registered them.
    void waitForBus()
    {
        CanReceiveRecord rec[16];
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                m_peer->writeFrame(QCanBusFrame(0x7F0, QByteArray(1, 0)));
                QTest::qWait(50);
                return receiveCan(1, rec, 16, 0) > 0;
            }(),
            5000);
        QTest::qWait(200);
        while (receiveCan(0, rec, 16, 0) + receiveCan(1, rec, 16, 0) > 0) { }
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(QCanBus::instance()->plugins().contains("virtualcan"),
            "Qt's virtualcan plugin is missing: install libqt5serialbus5-plugins");
        freshProcess();
        Interfaces::clearForTests();
        Interfaces::add(canBusBackend());
        Interfaces::Mapping m;
        m.backend = "canbus";
        m.channel[0] = m.channel[1] = Interfaces::Interface { "virtualcan", "can1", {} };
        QVERIFY(Interfaces::use(m));
        m_peer.reset(QCanBus::instance()->createDevice("virtualcan", "can1"));
        m_peer->connectDevice();
        QTRY_COMPARE(m_peer->state(), QCanBusDevice::ConnectedState);
        QVERIFY(openDevice(41, 0, 0));
        QCOMPARE(refreshDeviceInfo(), uint16_t(0));
        QCOMPARE(deviceInfoText(), QString("CH1 virtualcan can1, CH2 virtualcan can1"));
        for (unsigned ch : { 0u, 1u })
            QVERIFY(initChannel(ch, 0) && startChannel(ch));
        waitForBus();
    }
    void cleanupTestCase()
    {
        closeDevice();
        m_peer.reset();
        Interfaces::clearForTests();
    }

    void backEndFiltersWhatTheInterfaceDoesNot()
    {
        QVERIFY(ChannelSetup::writeFilterRows(0, "0-100-1FF|1-18FF0000-18FF00FF"));
        QVERIFY(!CanBusAdapter::instance().counters(0).interfaceFilters); // virtualcan takes none
        const QList<QPair<uint32_t, bool>> sent = { { 0x0FF, false }, { 0x100, false }, { 0x1FF, false },
            { 0x200, false }, { 0x100, true }, { 0x18FF0000, true }, { 0x18FF00FF, true }, { 0x18FF0100, true } };
        for (const auto &f : sent) {
            QCanBusFrame frame(f.first, QByteArray(2, char(f.first)));
            frame.setExtendedFrameFormat(f.second);
            QVERIFY(m_peer->writeFrame(frame));
        }
        CanReceiveRecord got[16];
        uint32_t unfiltered = 0;
        QTRY_VERIFY((unfiltered += receiveCan(1, got + unfiltered, 16 - unfiltered, 0)) == uint32_t(sent.size()));
        uint32_t n = receiveCan(0, got, 16, 100);
        QList<uint32_t> ids;
        for (uint32_t i = 0; i < n; ++i)
            ids << got[i].id;
        QCOMPARE(ids, (QList<uint32_t> { 0x100, 0x1FF, 0x98FF0000, 0x98FF00FF }));
        QCOMPARE(got[0].length, uint8_t(2));
        QCOMPARE(got[0].data[1], uint8_t(0x00));
        // Filters off again: a fresh channel start passes everything.
        QVERIFY(resetChannel(0) && initChannel(0, 0) && startChannel(0));
    }

    void fullQueueCountsWhatItDrops()
    {
        const uint32_t capacity = CanBusAdapter::kClassicQueue, extra = 100;
        QCOMPARE(QString::fromLatin1(deviceState().property.load()->GetValue("1/rx_dropped")), QString("0"));
        for (uint32_t i = 0; i < capacity + extra; ++i) {
            QByteArray data(4, 0);
            qToLittleEndian<quint32>(i, data.data());
            m_peer->writeFrame(QCanBusFrame(0x321, data));
        }
        // A bound, not a timing figure: the sanitizer builds need far longer than 10 s for the 100 000 frames.
        QTRY_COMPARE_WITH_TIMEOUT(CanBusAdapter::instance().counters(1).rxDropped, uint64_t(extra), 60000);
        QCOMPARE(QString::fromLatin1(deviceState().property.load()->GetValue("1/rx_dropped")), QString("100"));
        // The bus statistics read the same count through the driver extension.
        BusCounters counters {};
        QVERIFY(hasBusCounters() && readBusCounters(1, counters));
        QCOMPARE(counters.receiveOverflows, uint64_t(extra));
        QCOMPARE(counters.errorFrames, uint64_t(0));
        // The queue kept the oldest frames, in order.
        std::vector<CanReceiveRecord> out(capacity + 1);
        uint32_t n = 0;
        while (uint32_t got = receiveCan(1, out.data() + n, 1000, 0))
            n += got;
        QCOMPARE(n, capacity);
        for (uint32_t i = 0; i < n; ++i)
            QCOMPARE(qFromLittleEndian<quint32>(out[i].data), i);
        // Channel 1 drained nothing either. Its own connection to the bus may
        // still be delivering (the sanitizer builds are slow): wait for it too.
        QTRY_COMPARE_WITH_TIMEOUT(CanBusAdapter::instance().counters(0).rxDropped, uint64_t(extra), 60000);
    }
};

OSTREL_TEST_MAIN(QCoreApplication, new BackendTest)
#include "tst_canbus_backend.moc"
