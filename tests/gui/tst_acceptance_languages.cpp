// Acceptance: with the simulated bus running, the user switches the
// interface to English, to Traditional Chinese and back; menus, form texts,
// column titles and every frame that arrives afterwards follow. Then the
// adapter is unplugged and the window notices.
#include "AcceptanceUser.h"

#include <QGroupBox>
#include <QMenu>

using namespace Acceptance;

namespace {
// The newest row of a frame with this identifier; empty when there is none.
QStringList newestRow(const QList<QStringList> &rows, const QString &id)
{
    for (int r = rows.size() - 1; r >= 0; --r)
        if (rows.at(r).value(5) == id)
            return rows.at(r);
    return QStringList();
}

int indexOf(const QStringList &row) { return row.value(0).toInt(); }
} // namespace

class AcceptanceLanguages : public QObject {
    Q_OBJECT
    std::unique_ptr<Install> m_install;
    std::unique_ptr<MainWindow> m_window;
    MainWindow *w = nullptr;
    QStringList m_previousFrameTexts; // standard / data texts of the language before the switch

    QStringList seenTexts() const
    {
        return { child<QMenu>(w, "menuMultiSend")->title(), child<QMenu>(w, "menuDevice")->title(),
            child<QAction>(w, "actionFileSend")->text(), child<QAction>(w, "actionMerge")->text(),
            child<QGroupBox>(w, "logGroupBox")->title(), child<QGroupBox>(w, "ch1SendGroup")->title(),
            child<QPushButton>(w, "pushButton")->text(), child<QCheckBox>(w, "checkBox")->text(),
            child<QComboBox>(w, "ch1FrameTypeCombo")->currentText() };
    }

private slots:
    void initTestCase()
    {
        freshProcess();
        m_install = std::make_unique<Install>();
        w = startWindow(m_window);
        openDeviceFromMenu(w);
        QTRY_VERIFY_WITH_TIMEOUT(!newestRow(rows(w), "0x100").isEmpty(), 3000);
        m_previousFrameTexts = QStringList { "标准帧", "数据帧" };
    }
    void cleanupTestCase()
    {
        m_window.reset();
        m_install.reset();
    }

    void switchLanguage_data()
    {
        // texts: multi-send menu, device menu, file send, merge, log pane, channel 1 panel, reset, live save, frame
        // format; frameTexts: standard, extended, data, remote, CAN FD with bit-rate switch
        columns<QString, QString, QString, QStringList>({ "action", "texts", "header", "frameTexts" });
        QTest::newRow("English") << "actionEnglish"
                                 << "Multiple Transmiter(&T)|Device Manage(&O)|Fie Transmiter(&F)|Merge list "
                                    "data(&M)|Operation Log|Channel 1 Send|Reset Count|Real-time Save|Standard Frame"
                                 << "index|system time|time stamp|channel|Rx/Tx|ID|Frame|type|DLC|CAN-FD|data"
                                 << QStringList { "Standard Frame", "Extended Frame", "data frame", "Remote Frame",
                                        "CANFD-acceleration" };
        QTest::newRow("Traditional Chinese")
            << "actionTraditional"
            << "多條發送(&T)|設備管理(&O)|文件發送(&F)|合并相同ID數據(&M)|操作記錄|通道1發送|復位計數|實時保存|標準幀"
            << "序號|系統時間|時間標識|通道|收/發|ID|Frame|類型|DLC|CAN-FD|數據"
            << QStringList { "標準幀", "擴展幀", "數據幀", "遠程幀", "CANFD-加速" };
        QTest::newRow("back to Simplified Chinese")
            << "actionChinese"
            << "多条发送(&T)|设备管理(&O)|文件发送(&F)|合并相同ID数据(&M)|操作记录|通道1发送|复位计数|实时保存|标准帧"
            << "序号|系统时间|时间标识|通道|收/发|ID|Frame|类型|DLC|CAN-FD|数据"
            << QStringList { "标准帧", "扩展帧", "数据帧", "远程帧", "CANFD-加速" };
    }
    void switchLanguage()
    {
        QFETCH(QString, action);
        QFETCH(QString, texts);
        QFETCH(QString, header);
        QFETCH(QStringList, frameTexts);

        const int before = indexOf(rows(w).last());
        trigger(w, action.toLatin1().constData());
        QVERIFY(child<QAction>(w, action)->isChecked());
        // Form texts follow on the posted language-change event.
        QTRY_COMPARE(seenTexts().join('|'), texts);
        QCOMPARE(headers(w).join('|'), header);

        // Frames keep the language they were made in ...
        QList<QStringList> older = rows(w);
        older.erase(
            std::remove_if(older.begin(), older.end(), [before](const QStringList &r) { return indexOf(r) > before; }),
            older.end());
        QCOMPARE(newestRow(older, "0x100").mid(6, 2), m_previousFrameTexts);

        // ... and every node's next frame arrives in the new one.
        auto newFrame = [this, before](const char *id) {
            const QStringList row = newestRow(rows(w), id);
            return indexOf(row) > before + 50 ? row : QStringList();
        };
        QTRY_VERIFY_WITH_TIMEOUT(!newFrame("0x7DF").isEmpty() && !newFrame("0x01CEBA55").isEmpty(), 3000);
        QCOMPARE(newFrame("0x100").mid(6, 2), QStringList({ frameTexts.at(0), frameTexts.at(2) }));
        QCOMPARE(newFrame("0x7DF").mid(6, 2), QStringList({ frameTexts.at(0), frameTexts.at(3) }));
        QCOMPARE(newFrame("0x01CEBA55").mid(6, 4),
            QStringList({ frameTexts.at(1), frameTexts.at(2), "64", frameTexts.at(4) }));
        m_previousFrameTexts = QStringList { frameTexts.at(0), frameTexts.at(2) };
        QCOMPARE(Prompt::shown().size(), 0);
    }

    void unplugClosesTheDevice()
    {
        QTRY_VERIFY_WITH_TIMEOUT(w->windowTitle().startsWith("Ostrel-V1.17 - SN:"), 3000);
        SimControl::unplug();
        QTRY_VERIFY_WITH_TIMEOUT(logText(w).contains("设备已关闭！"), 3000);
        QCOMPARE(w->windowTitle(), QString("Ostrel-V1.17"));
        QVERIFY(!child<QPushButton>(w, "ch1SendBtn")->isEnabled() && !child<QPushButton>(w, "ch2SendBtn")->isEnabled());
        // The traffic stops: within two rate periods both receive rates read zero.
        QTRY_VERIFY_WITH_TIMEOUT(labelText(w, "labelCh1RxRate") + labelText(w, "labelCh2RxRate") == "0/s;0/s;", 3000);
        QCOMPARE(Prompt::shown().size(), 0);
    }
};

QTEST_MAIN(AcceptanceLanguages)
#include "tst_acceptance_languages.moc"
