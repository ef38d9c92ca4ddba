#pragma once
#include "Interfaces.h"

#include <QDialog>
#include <QVector>
#include <memory>

namespace Ui {
class InterfaceDlg;
}
class QComboBox;
class QLineEdit;

// Chooses what serves channel 1 and channel 2: a Halden-D2 back-end (both
// channels together), or one interface per channel from the registered
// interface back-ends (channel 2 may be "none"), listed as the plugins find
// them or typed in by name. Accepted, mapping() holds the choice.
class InterfaceDlg : public QDialog {
    Q_OBJECT
public:
    explicit InterfaceDlg(const Interfaces::Mapping &current, QWidget *parent = nullptr);
    ~InterfaceDlg() override;

    Interfaces::Mapping mapping() const;

protected:
    void changeEvent(QEvent *event) override;

private slots:
    void on_btnConfirm_clicked();
    void on_btnCancel_clicked();

private:
    // One entry of a channel's list.
    struct Choice {
        enum Kind { Halden, Listed, Other, None } kind;
        QString backend;
        Interfaces::Interface itf;
    };
    void fillChannel1(const Interfaces::Mapping &current);
    void fillChannel2(const Interfaces::Mapping &current);
    void choiceChanged(int ch);
    QString choiceText(const Choice &c) const;
    Choice chosen(int ch) const;

    std::unique_ptr<Ui::InterfaceDlg> ui;
    QVector<Choice> m_choices[2];
    QComboBox *m_combo[2];
    QComboBox *m_plugin[2];
    QLineEdit *m_name[2];
};
