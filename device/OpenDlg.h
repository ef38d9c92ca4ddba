#pragma once
#include <QDialog>
#include <QPair>
#include <QString>
#include <cstdint>
#include <memory>

namespace Ui {
class OpenDlg;
}

// Opens the adapter and its channels, resets channels and closes the adapter.
// After it closes, the main window asks deviceIndex() and channelOpened(ch)
// and starts the receive thread of every channel opened here.
class OpenDlg : public QDialog {
    Q_OBJECT
public:
    explicit OpenDlg(int deviceIndex, QWidget *parent = nullptr);
    ~OpenDlg() override;

    // The device index of the last successful open (else the one passed in).
    int deviceIndex() const;
    // Whether channel ch (0 or 1) was opened while the dialog was shown.
    bool channelOpened(int ch) const;

    // The newest image in a firmware folder: starts at (0x211, "firmware.bin");
    // a "*.bin" file counts only as name-Vx.yz-rest.bin (V or v), its middle
    // field read as hexadecimal after dropping "V", "v" and ".".
    static QPair<uint16_t, QString> bestFirmware(const QString &folder);

signals:
    // The device was closed from this dialog; the main window resets its title.
    void deviceClosed();

public slots:
    void initDlg();
    // 0 first channel, 1 second channel, 2 or more both (0 then 1).
    void openCh(int ch);

private slots:
    void on_pushButton_clicked();
    void on_pushButton_2_clicked();
    void on_pushButton_3_clicked();
    void on_pushButton_4_clicked();
    void on_pushButton_5_clicked();
    void on_pushButton_6_clicked();
    void on_pushButton_7_clicked();
    void on_pushButton_8_clicked();
    void on_pushButton_9_clicked();

protected:
    void changeEvent(QEvent *event) override;

private:
    bool configureChannel(unsigned ch);
    void warn(const QString &text);

    std::unique_ptr<Ui::OpenDlg> ui;
    int m_deviceIndex;
    bool m_opened[2] = { false, false };
};
