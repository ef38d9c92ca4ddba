#pragma once
// The signals of one frame (the row selected in the frame table): message,
// signal, raw value, physical value with its unit, value description.
#include "SignalDecoder.h"

#include <QByteArray>
#include <QWidget>

class QLabel;
class QTableWidget;

class SignalPanel : public QWidget {
    Q_OBJECT
public:
    explicit SignalPanel(QWidget *parent = nullptr);

    // Shows a frame; index and channel (1-based) are what the table shows.
    void showFrame(const SignalDecoder &decoder, const QString &index, int channel, quint32 id, bool extended,
        const QByteArray &data);
    void clearFrame();
    void retranslate();

    QTableWidget *table() const { return m_table; }
    QString caption() const;

private:
    void showCaption();

    QLabel *m_caption = nullptr;
    QTableWidget *m_table = nullptr;
    // What is shown, so a language change can word it again.
    enum class State { Empty, Unknown, Decoded } m_state = State::Empty;
    QString m_index;
    int m_channel = 0;
    QString m_idText;
    QString m_message;
};
