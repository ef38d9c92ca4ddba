#pragma once
// Replays a file of frames onto the bus: Ostrel's CSV, or a standard log
// format (ASC, BLF, TRC, candump log) by the file's extension. The dialog only
// collects and remembers the request; channel 1's send thread reads and sends
// the frames.
#include <QDialog>
#include <QString>
#include <memory>

namespace Ui {
class fileDlg;
}

class fileDlg : public QDialog {
    Q_OBJECT
public:
    explicit fileDlg(QWidget *parent = nullptr);
    ~fileDlg() override;

    // Back to idle without emitting stop(): the send thread has finished on
    // its own and only the controls need to follow.
    void setIdle();

signals:
    // channel: 0 ch1, 1 ch2, 2 the channel column of each row.
    // interval: milliseconds between frames, or -1 for the file's own timing.
    void send(QString path, int count, int interval, int channel);
    void stop();

protected:
    void changeEvent(QEvent *event) override;

private slots:
    void on_pbfile_clicked();
    void on_comboBox_2_currentIndexChanged(int index);
    void on_pbSend_clicked();
    void on_pbStop_clicked();

private:
    void setInputsEnabled(bool enabled);

    std::unique_ptr<Ui::fileDlg> ui;
};
