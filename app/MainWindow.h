#pragma once
#include "ModelItem.h"

#include <QMainWindow>
#include <QPointer>
#include <QStringList>
#include <memory>

class QActionGroup;
class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;
class CaptureFile;
class QLabel;
class QTranslator;
class MyTableModel;
class recvThread;
class sendThread;
class fileDlg;
class listSendDlg;
class SiftDialog;
class valueDialog;
class QDockWidget;
class QMenu;
class SignalPanel;
class SignalPlot;
class SignalRecorder;
struct DbcError;
class BusStatsWindow;

namespace Ui {
class MainWindow;
}

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

    static QString versionText() { return QStringLiteral("V1.17"); }

    // Used by tests and the benchmark to look at what the user sees.
    MyTableModel *frameModel() const { return m_model; }
    fileDlg *fileSendDialog() const { return m_fileDlg; }
    listSendDlg *listSendDialog() const { return m_listDlg; }
    SiftDialog *siftDialog() const { return m_sift; }
    // The bus statistics window, made when first opened (nullptr until then).
    BusStatsWindow *busStatsWindow() const { return m_busStats; }
    QAction *busStatsAction() const { return m_busStatsAction; }
    void openBusStats();
    QMenu *helpMenu() const;
    recvThread *receiver(int ch) const { return m_recv[ch ? 1 : 0]; }
    sendThread *sender(int ch) const { return m_send[ch ? 1 : 0]; }
    QString aboutText() const;
    static QString companyName();
    static QString buildDateText(const QString &cDate);
    bool switchLanguage(const QString &catalogue, int code);
    void openSiftFor(int column, const QPoint &at);
    // The frame table's "add to list send": the selected rows become list rows.
    void addSelectedFramesToList();
    QStringList distinctValues(int column) const;
    void writeLog(const QString &msg);
    void handleDeviceClosed();
    // The close action: device-closed handling, plain title.
    void deviceClosedByUser();
    // After the open dialog: start the receive thread of each channel it opened.
    void channelsOpened(bool ch0, bool ch1);

    // Signal databases (MainWindowSignals.cpp). Adds DBC files to a channel's
    // list; a file that cannot be read leaves the list as it was and shows
    // which line was wrong. The lists are kept as "ch1DbcFiles", "ch2DbcFiles".
    bool addDatabases(int ch, const QStringList &paths);
    void clearDatabases();
    void loadExampleDatabase();
    QStringList databaseFiles(int ch) const { return m_dbcFiles[ch ? 1 : 0]; }
    SignalPanel *signalPanel() const { return m_signalPanel; }
    SignalPlot *signalPlot() const { return m_signalPlot; }
    QDockWidget *signalPanelDock() const { return m_panelDock; }
    QDockWidget *signalPlotDock() const { return m_plotDock; }
    QMenu *databaseMenu() const { return m_dbcMenu; }
    static QString databaseErrorText(const DbcError &error);

public slots:
    void setLa();
    void canLog(QString msg);
    void recvData(QList<ModelItem> modelList, uint channel);
    void sendedData(QList<ModelItem> modelList, uint channel);
    void endSend(uint channel);
    void refreshDisplay();
    void deviceWatch();

protected:
    void changeEvent(QEvent *event) override;

private slots:
    // Send panels
    void on_ch1SendBtn_clicked();
    void on_ch2SendBtn_clicked();
    void on_ch1StopSendBtn_clicked();
    void on_ch2StopSendBtn_clicked();
    void on_ch1ProtocolCombo_currentIndexChanged(int index);
    void on_ch2ProtocolCombo_currentIndexChanged(int index);
    void on_ch1sendLenCombo_currentIndexChanged(int index);
    void on_ch2sendLenCombo_activated(int index);
    void on_ch1FrameDataCombo_currentIndexChanged(int index);
    void on_ch2FrameDataCombo_currentIndexChanged(int index);
    void on_pushButton_3_clicked();
    void on_pushButton_4_clicked();
    void on_ch1SendFileBtn_clicked();
    void on_ch2SendFileBtn_clicked();
    void setCh1SendData();
    void setCh2SendData();
    void onFileSend(QString path, int count, int interval, int channel);
    void onFileStop();
    void lateInit();

    // Display, statistics, capture, filter
    void on_cleanListBtn_clicked();
    void on_pushButton_clicked();
    void on_checkBox_clicked();
    void on_pushButton_2_clicked();
    void on_tableView_customContextMenuRequested(const QPoint &pos);
    void onSifted(QStringList siftedData, int index);
    void onErrorID(uint lastID, uint ID);
    void onValue(QString str, int index);
    void onTableScrolled(int value);

    // Menus
    void openDeviceAction();
    void interfaceAction();
    void upgradeAction();

private:
    // The widgets of one channel's send panel (their object names are their settings keys).
    struct Panel {
        QComboBox *frameType, *frameData, *protocol, *sendType, *len;
        QLineEdit *data, *id, *count, *inv;
        QCheckBox *dataAdd, *idAdd;
        QPushButton *send, *stop, *editor, *file;
    };
    Panel panel(int ch) const;
    void sendClicked(int ch);
    void normaliseData(int ch);
    void protocolChanged(int ch, int index);
    void lengthChanged(int ch, const QString &len);
    void frameDataChanged(int ch, int index);
    void editData(int ch);
    void setPanelInputsEnabled(int ch, bool enabled);
    void restorePanel(int ch);
    void languageTriggered(QAction *action, bool checked);
    void buildHelpMenu();
    void updateTuningTexts();
    void applyRecvParams();
    void addToLabel(QLabel *label, quint64 n);
    void displayBatch(QList<ModelItem> &rows);
    void takeBatch(QList<ModelItem> &rows, int counter, QLabel *countLabel);
    void setTitle(const QString &title);
    void closeCapture();
    void endCaptureRound();
    void reportCapture();
    void applyFilterToView();
    void buildSignalViews();
    void setSignalTexts();
    void restoreDatabases();
    bool readDatabases(int ch, const QStringList &paths, bool tellUser);
    void chooseDatabaseFiles(int ch);
    void showSelectedSignals();
    void offerToSignals(const ModelItem &item, double hostNow);

    std::unique_ptr<Ui::MainWindow> ui;
    MyTableModel *m_model = nullptr;
    fileDlg *m_fileDlg = nullptr;
    listSendDlg *m_listDlg = nullptr;
    SiftDialog *m_sift = nullptr;
    valueDialog *m_valueDlg = nullptr;
    BusStatsWindow *m_busStats = nullptr;
    QAction *m_busStatsAction = nullptr;
    QTranslator *m_translator = nullptr;
    QActionGroup *m_languageGroup = nullptr;
    recvThread *m_recv[2] = { nullptr, nullptr };
    sendThread *m_send[2] = { nullptr, nullptr };

    QString m_title;
    bool m_deviceShown = false;
    int m_deviceIndex = 0;
    bool m_fileSending = false;

    quint32 m_perSecond[4] = { 0, 0, 0, 0 }; // ch1 Rx, ch2 Rx, ch1 Tx, ch2 Tx
    quint32 m_scanTime = 1;
    quint32 m_framesPerRecv = 1000;
    quint32 m_listLimit = 1000;

    std::unique_ptr<CaptureFile> m_capture;
    bool m_saveFilteredOnly = false;
    bool m_selectionKept = false;
    int m_tableScrollValue = 0;
    QStringList m_siftValues;

    std::unique_ptr<SignalRecorder> m_signals;
    QStringList m_dbcFiles[2];
    QDockWidget *m_panelDock = nullptr;
    QDockWidget *m_plotDock = nullptr;
    SignalPanel *m_signalPanel = nullptr;
    SignalPlot *m_signalPlot = nullptr;
    QMenu *m_dbcMenu = nullptr;
    QAction *m_loadDbc[2] = { nullptr, nullptr };
    QAction *m_dbcInfo[2] = { nullptr, nullptr };
    QAction *m_loadExample = nullptr;
    QAction *m_clearDbc = nullptr;
    qint64 m_signalTickNs = 0; // the frame clock when the refresh tick began its round
};
