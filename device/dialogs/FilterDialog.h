#pragma once
#include <QDialog>
#include <memory>

namespace Ui {
class FilterDialog;
}

// Edits one channel's acceptance-filter rows. The row text ("FilterID") holds
// rows "kind-start-end" joined by "|", kind 0 standard / 1 extended, start and
// end in upper-case hexadecimal without "0x".
class FilterDialog : public QDialog {
    Q_OBJECT
public:
    FilterDialog(int channelNumber, const QString &rowText, QWidget *parent = nullptr);
    ~FilterDialog() override;

    // The edited row text; valid after the dialog was accepted.
    QString rowText() const;

private slots:
    void on_comboBox_currentIndexChanged(int index);
    void on_btnAdd_clicked();
    void on_btnDelete_clicked();
    void on_btnConfirm_clicked();
    void on_btnCancel_clicked();

protected:
    void changeEvent(QEvent *event) override;

private:
    void applyTitle();
    void appendRow(const QString &kind, const QString &start, const QString &end);

    std::unique_ptr<Ui::FilterDialog> ui;
    int m_channel;
    QString m_rowText;
};
