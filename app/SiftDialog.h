#pragma once
// The column filter pop-up of the frame table: one check box per distinct
// value of the column, an "all" box, and a search over the values.
#include <QDialog>
#include <QStringList>
#include <memory>

class QCheckBox;

namespace Ui {
class SiftDialog;
}

class SiftDialog : public QDialog {
    Q_OBJECT
public:
    explicit SiftDialog(QWidget *parent = nullptr);
    ~SiftDialog() override;

    void fill(const QStringList &values, int column);
    QStringList selection() const { return m_selection; }
    int column() const { return m_column; }
    QCheckBox *allBox() const { return m_allBox; }
    QList<QCheckBox *> valueBoxes() const { return m_valueBoxes; }

    static bool matches(const QString &value, const QString &text, bool caseSensitive, bool whole);

protected:
    void changeEvent(QEvent *event) override;

signals:
    void siftedData(QStringList siftedData, int index);

private slots:
    void on_searchEdit_textChanged(const QString &text);
    void on_btnConfirm_clicked();
    void on_btnCancel_clicked();

private:
    static QString allText();
    void rebuild(const QStringList &values, bool hideAll);
    void valueToggled(QCheckBox *box, bool checked);

    std::unique_ptr<Ui::SiftDialog> ui;
    QStringList m_values;
    QStringList m_selection;
    int m_column = -1;
    QCheckBox *m_allBox = nullptr;
    QList<QCheckBox *> m_valueBoxes;
};
