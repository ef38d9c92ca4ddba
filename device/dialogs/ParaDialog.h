#pragma once
#include <QDialog>
#include <memory>

namespace Ui {
class ParaDialog;
}

// Edits one channel's parameter set in the settings store ("ch<n>param<name>").
// channelSelector 0 or 1 fixes the channel; 3 lets the user choose, or, with
// the channel choice hidden, stores the form for both channels at once.
class ParaDialog : public QDialog {
    Q_OBJECT
public:
    ParaDialog(bool editable, bool showChannelChoice, int channelSelector, QWidget *parent = nullptr);
    ~ParaDialog() override;

    bool savesAllChannels() const;
    QString filterRowText() const;

public slots:
    void setP(int index);
    void saveP(int index);

private slots:
    void on_chCombo_currentIndexChanged(int index);
    void on_btnSave_clicked();
    void on_btnConfirm_clicked();
    void on_btnCancel_clicked();
    void on_filterModeCheck_clicked(bool checked);

protected:
    void changeEvent(QEvent *event) override;

private:
    std::unique_ptr<Ui::ParaDialog> ui;
    bool m_saveAll = false;
    QString m_filterRowText;
};
