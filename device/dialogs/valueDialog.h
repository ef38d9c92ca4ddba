#pragma once
#include <QDialog>
#include <memory>

namespace Ui {
class valueDialog;
}

// A one-line text entry. The owner tags it with an index so that several
// callers can share one dialog and tell the answers apart in getValue().
class valueDialog : public QDialog {
    Q_OBJECT
public:
    explicit valueDialog(QWidget *parent = nullptr);
    ~valueDialog() override;

    void setIndex(int index);
    int index() const;
    void setText(const QString &text);
    QString text() const;

signals:
    void getValue(QString str, int index);

private slots:
    void on_btnValueOK_clicked();
    void on_btnValueCancel_clicked();

protected:
    void changeEvent(QEvent *event) override;

private:
    std::unique_ptr<Ui::valueDialog> ui;
    int m_index = 0;
};
