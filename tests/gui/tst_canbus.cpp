// The QtSerialBus back-end end to end through the real window on the
// virtualcan plugin (TCP on the loopback address): choosing the interface,
// traffic between the two channels, frames from and to a peer node byte for
// byte, and the interface going away while frames flow.
#include "AcceptanceUser.h"

#include "CanBusAdapter.h"
#include "InterfaceDlg.h"
#include "Interfaces.h"
#include "savefileDlg.h"

#include "FileDialogs.h"

#include <QCanBus>
#include <QCanBusDevice>
#include <QTcpServer>
#include <QTcpSocket>

using namespace Acceptance;

Q_DECLARE_METATYPE(QCanBusFrame)

namespace {

void registerBackends()
{
    Interfaces::clearForTests();
    Interfaces::add(simulatedBackend());
    Interfaces::add(canBusBackend());
    Interfaces::useFirst();
}

// Picks the entry whose text starts with `prefix` in a combo box of the interface dialog.
void pick(InterfaceDlg *dlg, const char *combo, const QString &prefix)
{
    auto *box = child<QComboBox>(dlg, combo);
    for (int i = 0; i < box->count(); ++i) {
        if (box->itemText(i).startsWith(prefix)) {
            box->setCurrentIndex(i);
            return;
        }
    }
    qWarning("no entry %s in %s", qPrintable(prefix), combo);
}

// Menu entry, then the dialog answered by `answer`.
void chooseInterface(MainWindow *w, std::function<void(InterfaceDlg *)> answer)
{
    whenModal<InterfaceDlg>([answer](InterfaceDlg *dlg) {
        answer(dlg);
        click(dlg, "btnConfirm");
    });
    trigger(w, "actionInterface");
}

QCanBusDevice *connectedPeer(const QString &name)
{
    QCanBusDevice *peer = QCanBus::instance()->createDevice("virtualcan", name);
    peer->setConfigurationParameter(QCanBusDevice::CanFdKey, true);
    peer->connectDevice();
    return peer;
}

// The frames a table row shows for a QCanBusFrame: ID, Frame, type, DLC, CAN-FD, data.
QString frameText(const QCanBusFrame &f)
{
    QStringList data;
    if (f.frameType() != QCanBusFrame::RemoteRequestFrame)
        for (char b : f.payload())
            data << QString("%1").arg(uint8_t(b), 2, 16, QChar('0')).toUpper();
    const bool ext = f.hasExtendedFrameFormat();
    return QStringList { QString("0x%1").arg(f.frameId(), ext ? 8 : 3, 16, QChar('0')).toUpper().replace("0X", "0x"),
        ext ? "扩展帧" : "标准帧", f.frameType() == QCanBusFrame::RemoteRequestFrame ? "远程帧" : "数据帧",
        QString::number(f.payload().size()),
        f.hasFlexibleDataRateFormat() ? (f.hasBitrateSwitch() ? "CANFD-加速" : "CANFD") : "CAN",
        "x| " + (data.isEmpty() ? QString() : data.join(' ') + ' ') }
        .join('|');
}

QString rowFrame(const QStringList &row) { return row.mid(5, 6).join('|'); }

// Capture to `path` from now on.
void startCapture(MainWindow *w, const QString &path)
{
    whenModal<savefileDlg>([path](savefileDlg *dlg) {
        FileDialogs::queueAnswersForTests({ path });
        click(dlg, "pbBrowse");
        click(dlg, "pbOk");
    });
    Acceptance::setTicked(w, "checkBox", true);
}

// The capture's rows, split at ",".
QList<QStringList> captured(const QString &path)
{
    QFile file(path);
    QList<QStringList> out;
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return out;
    const QStringList lines = QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
    for (const QString &line : lines.mid(1))
        out << line.split(',');
    return out;
}

} // namespace

class CanBusWindowTest : public QObject {
    Q_OBJECT
    std::unique_ptr<Install> m_install;
    std::unique_ptr<MainWindow> m_window;
    MainWindow *w = nullptr;
    std::unique_ptr<QCanBusDevice> m_peer;
    QList<QCanBusFrame> m_heard; // what the peer received
    bool m_broken = false;

    // Frames reach a receiver only once the virtual bus has registered it:
    // the peer sends until channel 2 hears it, then the table starts empty.
    void waitForBus()
    {
        const quint64 rx = count(w, "labelCh2RxCount");
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                m_peer->writeFrame(QCanBusFrame(0x7F0, QByteArray(1, 0)));
                QTest::qWait(50);
                return count(w, "labelCh2RxCount") > rx && count(w, "labelCh1RxCount") > 0;
            }(),
            5000);
        QTest::qWait(200);
        click(w, "cleanListBtn");
        click(w, "pushButton");
        m_heard.clear();
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(QCanBus::instance()->plugins().contains("virtualcan"),
            "Qt's virtualcan plugin is missing: install libqt5serialbus5-plugins");
        freshProcess();
        registerBackends();
        m_install = std::make_unique<Install>();
        m_peer.reset(connectedPeer("can0"));
        QTRY_COMPARE(m_peer->state(), QCanBusDevice::ConnectedState);
        connect(m_peer.get(), &QCanBusDevice::framesReceived, this, [this] {
            while (m_peer->framesAvailable())
                m_heard << m_peer->readFrame();
        });
        w = startWindow(m_window);
    }
    void cleanupTestCase()
    {
        m_window.reset();
        m_peer.reset();
        m_install.reset();
        Interfaces::clearForTests();
    }
    void init()
    {
        if (m_broken)
            QSKIP("an earlier step failed");
    }
    void cleanup() { m_broken = m_broken || QTest::currentTestFailed(); }

    void chooseVirtualCanForBothChannels()
    {
        QVERIFY(child<QAction>(w, "actionUpgrade")->isEnabled());
        chooseInterface(w, [](InterfaceDlg *dlg) {
            // Channel 2 follows a Halden-D2; an interface frees it.
            QCOMPARE(child<QComboBox>(dlg, "ch1Combo")->currentText(), QString("内置模拟 Halden-D2"));
            QVERIFY(!child<QComboBox>(dlg, "ch2Combo")->isEnabled());
            pick(dlg, "ch1Combo", "virtualcan: can0");
            QVERIFY(child<QComboBox>(dlg, "ch2Combo")->isEnabled());
            QCOMPARE(child<QComboBox>(dlg, "ch2Combo")->currentText(), QString("无"));
            pick(dlg, "ch2Combo", "virtualcan: can0");
        });
        QCOMPARE(Interfaces::current().backend, QString("canbus"));
        QCOMPARE(Interfaces::channelText(Interfaces::current().channel[1]), QString("virtualcan can0"));
        QVERIFY(!child<QAction>(w, "actionUpgrade")->isEnabled());
        const QString stored = m_install->read("config/setdb.txt");
        for (const char *entry : { "interfaceBackend,canbus;", "ch1interfacePlugin,virtualcan;",
                 "ch1interfaceName,can0;", "ch2interfacePlugin,virtualcan;", "ch2interfaceName,can0;" })
            QVERIFY2(stored.contains(entry), qPrintable(stored));
    }

    void openBothChannels()
    {
        openDeviceFromMenu(w);
        QVERIFY2(
            logText(w).contains("通道1打开成功！") && logText(w).contains("通道2打开成功！"), qPrintable(logText(w)));
        QTRY_COMPARE_WITH_TIMEOUT(
            w->windowTitle(), QString("Ostrel-V1.17 - CH1 virtualcan can0, CH2 virtualcan can0"), 3000);
        // virtualcan takes no bit rate: each channel says so once, with what it kept.
        for (const char *ch : { "1", "2" })
            QTRY_VERIFY2(logText(w).count(QString("通道%1（virtualcan can0）：接口未接受波特率 1000000/5000000 bit/s，"
                                                  "保持其自身配置；设置方法：虚拟总线无需设置")
                                              .arg(ch))
                    == 1,
                qPrintable(logText(w)));
        QCOMPARE(Prompt::shown().size(), 0);
        waitForBus();
    }

    void channel1SendsChannel2Receives()
    {
        setFields(w,
            { "ch1SendIDEdit=120", "ch1SendCountEdit=200", "ch1SendInvEdit=0", "ch1sendLenCombo=4",
                "ch1SendDataEdit=00 00 00 00", "ch1IDAddChk=1", "ch1DataAddChk=1" });
        click(w, "ch1SendBtn");
        QTRY_VERIFY_WITH_TIMEOUT(child<QWidget>(w, "ch1SendBtn")->isEnabled(), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(count(w, "labelCh1TxCount"), quint64(200), 3000);
        QTRY_COMPARE_WITH_TIMEOUT(count(w, "labelCh2RxCount"), quint64(200), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(m_heard.size(), 200, 5000);
        QCOMPARE(count(w, "labelCh1RxCount"), quint64(0)); // a channel does not hear itself
        QCOMPARE(count(w, "labelCh2TxCount"), quint64(0));
        QTRY_COMPARE(rows(w).size(), 400);
        const QList<QStringList> all = rows(w);
        const QList<QStringList> tx = rowsOf(all, "1", "Tx"), rx = rowsOf(all, "2", "Rx");
        QCOMPARE(tx.size(), 200);
        QCOMPARE(rx.size(), 200);
        for (int k = 0; k < 200; ++k) {
            const QString id = QString("0x%1").arg(0x120 + k, 3, 16, QChar('0')).toUpper().replace("0X", "0x");
            const QString data = QString("x| %1 00 00 00 ").arg(QString("%1").arg(k, 2, 16, QChar('0')).toUpper());
            const QString expected = id + "|标准帧|数据帧|4|CAN|" + data;
            QCOMPARE(rowFrame(tx.at(k)), expected);
            QCOMPARE(rowFrame(rx.at(k)), expected);
            QCOMPARE(frameText(m_heard.at(k)), expected);
            QVERIFY2(rx.at(k).at(2).startsWith("0x"), qPrintable(rx.at(k).at(2)));
        }
    }

    void peerFramesAsTheTableShowsThem_data()
    {
        columns<QCanBusFrame>({ "frame" });
        QCanBusFrame classic(0x123, QByteArray::fromHex("0102030405060708"));
        QCanBusFrame extended(0x1ABCDEF0, QByteArray::fromHex("A1B2C3"));
        extended.setExtendedFrameFormat(true);
        QCanBusFrame remote(0x7DF, QByteArray(8, 0));
        remote.setFrameType(QCanBusFrame::RemoteRequestFrame);
        QCanBusFrame fd(0x456, QByteArray());
        QByteArray bytes;
        for (int i = 0; i < 64; ++i)
            bytes += char(0xC0 ^ i);
        fd.setPayload(bytes);
        fd.setFlexibleDataRateFormat(true);
        fd.setBitrateSwitch(true);
        QCanBusFrame fdPlain(0x18FF0010, QByteArray::fromHex("00112233445566778899AABB"));
        fdPlain.setExtendedFrameFormat(true);
        fdPlain.setFlexibleDataRateFormat(true);
        QTest::newRow("classic") << classic;
        QTest::newRow("extended") << extended;
        QTest::newRow("remote") << remote;
        QTest::newRow("fd 64 bytes, bit-rate switch") << fd;
        QTest::newRow("fd 12 bytes, extended") << fdPlain;
    }
    void peerFramesAsTheTableShowsThem()
    {
        QFETCH(QCanBusFrame, frame);
        click(w, "cleanListBtn");
        const quint64 rx1 = count(w, "labelCh1RxCount"), rx2 = count(w, "labelCh2RxCount");
        QVERIFY(m_peer->writeFrame(frame));
        QTRY_COMPARE(count(w, "labelCh1RxCount"), rx1 + 1);
        QTRY_COMPARE(count(w, "labelCh2RxCount"), rx2 + 1);
        QTRY_COMPARE(rows(w).size(), 2);
        for (const char *ch : { "1", "2" }) {
            const QList<QStringList> got = rowsOf(rows(w), ch, "Rx");
            QCOMPARE(got.size(), 1);
            QCOMPARE(rowFrame(got.first()), frameText(frame));
        }
    }

    void ostrelSendsByteForByte_data()
    {
        columns<QStringList, QCanBusFrame>({ "fields", "expected" });
        QCanBusFrame classic(0x7FF, QByteArray::fromHex("DEADBEEF0102"));
        QTest::newRow("classic") << QStringList { "ch1FrameTypeCombo=0", "ch1FrameDataCombo=0", "ch1ProtocolCombo=0",
            "ch1SendIDEdit=7FF", "ch1sendLenCombo=6", "ch1SendDataEdit=DE AD BE EF 01 02" }
                                 << classic;
        QCanBusFrame extended(0x1FFFFFFF, QByteArray::fromHex("55"));
        extended.setExtendedFrameFormat(true);
        QTest::newRow("extended") << QStringList { "ch1FrameTypeCombo=1", "ch1FrameDataCombo=0", "ch1ProtocolCombo=0",
            "ch1SendIDEdit=1FFFFFFF", "ch1sendLenCombo=1", "ch1SendDataEdit=55" }
                                  << extended;
        QCanBusFrame remote(0x1A5, QByteArray(3, 0));
        remote.setFrameType(QCanBusFrame::RemoteRequestFrame);
        QTest::newRow("remote") << QStringList { "ch1FrameTypeCombo=0", "ch1FrameDataCombo=1", "ch1SendIDEdit=1A5",
            "ch1sendLenCombo=3", "ch1SendDataEdit=11 22 33" }
                                << remote;
        QByteArray bytes;
        QStringList hex;
        for (int i = 0; i < 64; ++i) {
            bytes += char(i * 3 + 1);
            hex << QString("%1").arg(i * 3 + 1, 2, 16, QChar('0')).toUpper();
        }
        QCanBusFrame fd(0x10203, bytes);
        fd.setExtendedFrameFormat(true);
        fd.setFlexibleDataRateFormat(true);
        fd.setBitrateSwitch(true);
        QTest::newRow("fd 64 bytes, bit-rate switch") << QStringList { "ch1FrameTypeCombo=1", "ch1FrameDataCombo=0",
            "ch1ProtocolCombo=2", "ch1SendIDEdit=10203", "ch1sendLenCombo=15", "ch1SendDataEdit=" + hex.join(' ') }
                                                      << fd;
        QCanBusFrame fdPlain(0x321, QByteArray::fromHex("0102030405060708090A0B0C0D0E0F10"));
        fdPlain.setFlexibleDataRateFormat(true);
        QTest::newRow("fd 16 bytes") << QStringList { "ch1FrameTypeCombo=0", "ch1FrameDataCombo=0",
            "ch1ProtocolCombo=1", "ch1SendIDEdit=321", "ch1sendLenCombo=10",
            "ch1SendDataEdit=01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10" }
                                     << fdPlain;
    }
    void ostrelSendsByteForByte()
    {
        QFETCH(QStringList, fields);
        QFETCH(QCanBusFrame, expected);
        m_heard.clear();
        setFields(w, fields + QStringList { "ch1SendCountEdit=1", "ch1IDAddChk=0", "ch1DataAddChk=0" });
        click(w, "ch1SendBtn");
        QTRY_COMPARE(m_heard.size(), 1);
        const QCanBusFrame got = m_heard.first();
        QCOMPARE(got.frameId(), expected.frameId());
        QCOMPARE(got.hasExtendedFrameFormat(), expected.hasExtendedFrameFormat());
        QCOMPARE(got.frameType(), expected.frameType());
        QCOMPARE(got.hasFlexibleDataRateFormat(), expected.hasFlexibleDataRateFormat());
        QCOMPARE(got.hasBitrateSwitch(), expected.hasBitrateSwitch());
        QCOMPARE(got.payload().toHex(' '), expected.payload().toHex(' '));
        QTRY_VERIFY(child<QWidget>(w, "ch1SendBtn")->isEnabled());
    }

    void deviceInformationNamesTheInterfaces()
    {
        whenModal<QDialog>([](QDialog *dlg) {
            QCOMPARE(child<QLabel>(dlg, "labelSerialNum")->text(), QString("CH1 virtualcan can0, CH2 virtualcan can0"));
            QCOMPARE(child<QLabel>(dlg, "labeldrVersion")->text(), QString("virtualcan"));
            QCOMPARE(child<QLabel>(dlg, "labelhwType")->text(), QString("Qt Virtual CAN bus"));
            QCOMPARE(child<QLabel>(dlg, "labelcanNum")->text(), QString("2"));
            dlg->close();
        });
        trigger(w, "actionDeviceInfo");
        QCOMPARE(Prompt::shown().size(), 0);
    }

    void changingTheInterfaceClosesTheDevice()
    {
        QVERIFY(isDeviceOpen());
        chooseInterface(w, [](InterfaceDlg *dlg) {
            QCOMPARE(
                child<QComboBox>(dlg, "ch1Combo")->currentText(), QString("virtualcan: can0 (Qt Virtual CAN bus)"));
            pick(dlg, "ch1Combo", "内置模拟");
        });
        QVERIFY(!isDeviceOpen());
        QCOMPARE(logText(w).count("设备已关闭！"), 1);
        QCOMPARE(w->windowTitle(), QString("Ostrel-V1.17"));
        QVERIFY(!child<QWidget>(w, "ch1SendBtn")->isEnabled());
        QCOMPARE(Interfaces::current().backend, QString("sim"));
        QVERIFY(child<QAction>(w, "actionUpgrade")->isEnabled());
        QVERIFY(m_install->read("config/setdb.txt").contains("interfaceBackend,sim"));
    }
};

// A stand-in for virtualcan's own server, speaking its line protocol on a port
// of its own, so that the test can cut the connection as an unplugged adapter
// does, and can flood a channel with numbered frames.
class Relay : public QObject {
public:
    Relay()
    {
        m_server.listen(QHostAddress::LocalHost, 0);
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *s = m_server.nextPendingConnection()) {
                m_sockets << s;
                connect(s, &QTcpSocket::readyRead, this, [this, s] { read(s); });
            }
        });
    }
    QString interfaceName() const { return QString("tcp://127.0.0.1:%1/can0").arg(m_server.serverPort()); }
    int clients() const { return m_sockets.size(); }
    // Numbered frames (sequence in the first four data bytes) to every client.
    void flood(int frames)
    {
        for (int i = 0; i < frames; ++i, ++m_sequence) {
            QByteArray data(8, 0);
            qToLittleEndian<quint32>(m_sequence, data.data());
            const QByteArray line = "256##" + data.toHex() + '\n';
            for (QTcpSocket *s : qAsConst(m_sockets))
                s->write(line);
        }
    }
    quint32 sent() const { return m_sequence; }
    quint64 forwarded() const { return m_forwarded; }
    // The connection goes, after what was written has been delivered.
    void unplug()
    {
        for (QTcpSocket *s : qAsConst(m_sockets))
            s->disconnectFromHost();
    }

private:
    void read(QTcpSocket *from)
    {
        while (from->canReadLine()) {
            const QByteArray line = from->readLine().trimmed();
            const int colon = line.indexOf(':');
            if (line.startsWith("connect:") || line.startsWith("disconnect:") || colon < 0)
                continue;
            ++m_forwarded;
            for (QTcpSocket *s : qAsConst(m_sockets))
                if (s != from)
                    s->write(line.mid(colon + 1) + '\n');
        }
    }
    QTcpServer m_server;
    QList<QTcpSocket *> m_sockets;
    quint32 m_sequence = 0;
    quint64 m_forwarded = 0;
};

class CanBusUnplugTest : public QObject {
    Q_OBJECT
    std::unique_ptr<Install> m_install;
    std::unique_ptr<MainWindow> m_window;
    MainWindow *w = nullptr;
    std::unique_ptr<Relay> m_relay;

    void openOnRelay()
    {
        m_relay = std::make_unique<Relay>();
        const QString name = m_relay->interfaceName();
        chooseInterface(w, [name](InterfaceDlg *dlg) {
            for (const char *ch : { "ch1Combo", "ch2Combo" }) {
                auto *box = child<QComboBox>(dlg, ch);
                box->setCurrentIndex(box->count() - 1); // the typed-in interface
            }
            for (const char *n : { "ch1NameEdit", "ch2NameEdit" }) {
                QVERIFY(child<QLineEdit>(dlg, n)->isEnabled());
                child<QLineEdit>(dlg, n)->clear();
                QTest::keyClicks(child<QLineEdit>(dlg, n), name);
            }
            child<QComboBox>(dlg, "ch1PluginCombo")->setCurrentText("virtualcan");
            child<QComboBox>(dlg, "ch2PluginCombo")->setCurrentText("virtualcan");
        });
        QCOMPARE(Interfaces::current().channel[0].name, name);
        openDeviceFromMenu(w);
        QVERIFY2(logText(w).contains("通道2打开成功！"), qPrintable(logText(w)));
        QTRY_COMPARE(m_relay->clients(), 2);
        QTRY_VERIFY_WITH_TIMEOUT(w->windowTitle().contains("CH2 virtualcan " + name), 3000);
    }

    // The window notices, closes the device and says so (once more than before).
    void expectClosed(int before)
    {
        QTRY_COMPARE_WITH_TIMEOUT(logText(w).count("设备已关闭！"), before + 1, 5000);
        QTRY_COMPARE(w->windowTitle(), QString("Ostrel-V1.17"));
        QVERIFY(!isDeviceOpen());
        QVERIFY(!child<QWidget>(w, "ch1SendBtn")->isEnabled());
    }

private slots:
    void initTestCase()
    {
        freshProcess();
        registerBackends();
        m_install = std::make_unique<Install>();
        w = startWindow(m_window);
    }
    void cleanupTestCase()
    {
        m_window.reset();
        m_relay.reset();
        m_install.reset();
        Interfaces::clearForTests();
    }

    void unpluggedWhileReceiving()
    {
        openOnRelay();
        const QString path = m_install->path("receiving.csv");
        startCapture(w, path);
        // Bursts of numbered frames on both channels, cut off in mid-stream.
        for (int burst = 0; burst < 20; ++burst) {
            m_relay->flood(500);
            QTest::qWait(5);
        }
        const int closed = logText(w).count("设备已关闭！");
        m_relay->unplug();
        expectClosed(closed);
        const quint64 rx1 = count(w, "labelCh1RxCount"), rx2 = count(w, "labelCh2RxCount");
        Acceptance::setTicked(w, "checkBox", false);
        // Every frame delivered before the cut was counted and written, in order.
        QCOMPARE(rx1, quint64(m_relay->sent()));
        QCOMPARE(rx2, quint64(m_relay->sent()));
        const QList<QStringList> file = captured(path);
        QCOMPARE(quint64(file.size()), rx1 + rx2);
        for (const char *ch : { "1", "2" }) {
            const QList<QStringList> got = rowsOf(file, ch, "Rx");
            QCOMPARE(quint32(got.size()), m_relay->sent());
            for (int i = 0; i < got.size(); ++i) {
                const QStringList bytes = got.at(i).at(10).mid(3).split(' ', Qt::SkipEmptyParts);
                const quint32 seq
                    = (bytes.value(3) + bytes.value(2) + bytes.value(1) + bytes.value(0)).toUInt(nullptr, 16);
                QCOMPARE(seq, quint32(i));
            }
        }
        QCOMPARE(CanBusAdapter::instance().counters(0).rxDropped, quint64(0));
    }

    void unpluggedWhileSending()
    {
        click(w, "cleanListBtn");
        click(w, "pushButton");
        openOnRelay();
        const QString path = m_install->path("sending.csv");
        startCapture(w, path);
        setFields(w,
            { "ch1SendIDEdit=100", "ch1SendCountEdit=-1", "ch1SendInvEdit=1", "ch1sendLenCombo=8",
                "ch1SendDataEdit=01 02 03 04 05 06 07 08", "ch1IDAddChk=0", "ch1DataAddChk=1" });
        const quint64 tx0 = count(w, "labelCh1TxCount");
        click(w, "ch1SendBtn");
        QTRY_VERIFY_WITH_TIMEOUT(count(w, "labelCh1TxCount") > tx0 + 50, 5000);
        const int closed = logText(w).count("设备已关闭！");
        m_relay->unplug();
        // The send thread finds the channel gone and stops; then the watch closes the device.
        QTRY_VERIFY_WITH_TIMEOUT(logText(w).contains("通道1CAN数据发送失败！"), 5000);
        expectClosed(closed);
        QTRY_VERIFY(!child<QWidget>(w, "ch1StopSendBtn")->isEnabled());
        QTest::qWait(300); // two more refresh ticks: nothing is still on its way
        Acceptance::setTicked(w, "checkBox", false);
        const QList<QStringList> file = captured(path);
        const quint64 tx = count(w, "labelCh1TxCount") - tx0, rx = count(w, "labelCh2RxCount");
        QCOMPARE(quint64(rowsOf(file, "1", "Tx").size()), tx);
        QCOMPARE(quint64(rowsOf(file, "2", "Rx").size()), rx);
        QCOMPARE(quint64(file.size()), tx + rx);
        // What channel 2 received is what channel 1 sent, in order, while the bus was there.
        QVERIFY(rx <= tx && rx > 0);
        const QList<QStringList> sent = rowsOf(file, "1", "Tx"), heard = rowsOf(file, "2", "Rx");
        for (int i = 0; i < heard.size(); ++i)
            QCOMPARE(rowFrame(heard.at(i)), rowFrame(sent.at(i)));
    }
};

OSTREL_TEST_MAIN(QApplication, new CanBusWindowTest, new CanBusUnplugTest)
#include "tst_canbus.moc"
