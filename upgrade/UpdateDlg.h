#pragma once
#include <QDialog>
#include <QList>
#include <QPair>
#include <QStringList>
#include <QTimer>
#include <cstdint>
#include <functional>
#include <memory>

namespace Ui {
class UpdateDlg;
}
class QProgressBar;

// Restarts the adapter into its boot loader and copies the firmware image
// onto the boot-loader drive (volume name containing "CRP DISABLD") as
// "firmware.bin". Every outcome after "yes" ends the application.
class UpdateDlg : public QDialog {
    Q_OBJECT
public:
    // (volume name, root path) of every mounted volume.
    using VolumeLister = std::function<QList<QPair<QString, QString>>()>;

    UpdateDlg(const QString &versionText, const QString &sourcePath, uint32_t deviceIndex, QWidget *parent = nullptr);
    ~UpdateDlg() override;

    QString sourcePath() const;
    int attempts() const;

    // Seams: the volume list and the way the application ends. An empty
    // function restores the default (QStorageInfo, QCoreApplication::quit).
    static void setVolumeLister(VolumeLister lister);
    static void setQuitHandler(std::function<void()> quit);
    static QList<QPair<QString, QString>> mountedVolumes();

public slots:
    void timer();
    void reject() override;

private slots:
    void on_pushButton_clicked();
    void on_pushButton_2_clicked();
    void restartDevice();

protected:
    void changeEvent(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    bool copyFirmware();
    void finish(bool success);

    std::unique_ptr<Ui::UpdateDlg> ui;
    QProgressBar *m_progress;
    QString m_sourcePath;
    uint32_t m_deviceIndex;
    QStringList m_knownDrives;
    int m_attempts = 0;
    bool m_started = false;
    bool m_finished = false;
    QTimer m_poll;
};
