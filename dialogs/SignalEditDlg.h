#pragma once
// Fills a list send row from a database message: the message is chosen among
// those of the row's channel, its signals are edited as physical values, and
// the row takes the message's identifier, format and length with the encoded
// bytes. A row that already carries a described message opens on that
// message with its bytes decoded, so the signals left alone keep their values.
#include "ListSendRow.h"
#include "SignalDecoder.h"
#include "SignalEncoder.h"

#include <QDialog>
#include <QMap>
#include <QStringList>
#include <QVector>

class QComboBox;
class QLabel;
class QPushButton;
class QTableWidget;

class SignalEditDlg : public QDialog {
    Q_OBJECT
public:
    SignalEditDlg(const SignalDecoder::Databases &databases, const ListSendRow &row, QWidget *parent = nullptr);
    ~SignalEditDlg() override;

    // The row as OK leaves it; the fields not named above stay as they were.
    ListSendRow result() const;
    // Every value that was held and a length that was rounded up, one text
    // each, in the current language (also shown in the dialog).
    QStringList notes() const;

    // The chosen message (nullptr when the databases describe none).
    const DbcMessage *message() const;
    // The signals shown now, by index in the message's signal list.
    const QVector<int> &shownSignals() const { return m_shown; }

private:
    void chooseMessage(int index);
    void buildTable();
    QWidget *makeEditor(int signal);
    void showValue(int signal);
    void applyText(int signal, const QString &text);
    void setValue(int signal, double physical);
    qint64 selectorValue() const;
    void refreshFrame();
    void commitEditor(int signal);
    void commitEditors();
    int encodedLength() const;

    SignalDecoder m_decoder;
    ListSendRow m_row;
    int m_message = -1; // index in m_decoder.messages()
    QVector<double> m_values; // physical values by signal index
    QMap<QString, QString> m_held; // signal name -> what was held
    QVector<int> m_shown;
    QVector<QWidget *> m_editors; // by signal index; null when not shown
    SignalEncoder::Result m_encoded;

    QLabel *m_caption = nullptr;
    QComboBox *m_messageCombo = nullptr;
    QLabel *m_muxNote = nullptr;
    QTableWidget *m_table = nullptr;
    QLabel *m_frameLabel = nullptr;
    QLabel *m_noteLabel = nullptr;
    QPushButton *m_ok = nullptr;
};
