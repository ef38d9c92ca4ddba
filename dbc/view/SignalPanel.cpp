#include "SignalPanel.h"

#include "Lang.h"

#include <QHeaderView>
#include <QLabel>
#include <QTableWidget>
#include <QVBoxLayout>

SignalPanel::SignalPanel(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("signalPanel"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    m_caption = new QLabel(this);
    m_caption->setObjectName(QStringLiteral("signalPanelCaption"));
    m_caption->setWordWrap(true);
    m_table = new QTableWidget(0, 5, this);
    m_table->setObjectName(QStringLiteral("signalPanelTable"));
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_table->verticalHeader()->setDefaultSectionSize(m_table->fontMetrics().height() + 6);
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_table->setAlternatingRowColors(true);
    layout->addWidget(m_caption);
    layout->addWidget(m_table);
    retranslate();
}

void SignalPanel::retranslate()
{
    m_table->setHorizontalHeaderLabels(
        { Lang::pick(QStringLiteral("报文"), QStringLiteral("報文"), QStringLiteral("Message")),
            Lang::pick(QStringLiteral("信号"), QStringLiteral("信號"), QStringLiteral("Signal")),
            Lang::pick(QStringLiteral("原始值"), QStringLiteral("原始值"), QStringLiteral("Raw")),
            Lang::pick(QStringLiteral("物理值"), QStringLiteral("物理值"), QStringLiteral("Physical")),
            Lang::pick(QStringLiteral("值描述"), QStringLiteral("值描述"), QStringLiteral("Description")) });
    showCaption();
}

QString SignalPanel::caption() const { return m_caption->text(); }

void SignalPanel::showCaption()
{
    switch (m_state) {
    case State::Empty:
        m_caption->setText(Lang::pick(QStringLiteral("选中帧列表中的一行，在此查看它的信号。"),
            QStringLiteral("選中幀列表中的一行，在此查看它的信號。"),
            QStringLiteral("Select a row of the frame list to see its signals here.")));
        break;
    case State::Unknown:
        m_caption->setText(Lang::pick(QStringLiteral("序号%1，通道%2，ID %3：通道%2加载的DBC中没有这个报文。"),
            QStringLiteral("序號%1，通道%2，ID %3：通道%2載入的DBC中沒有這個報文。"),
            QStringLiteral("index %1, channel %2, ID %3: no DBC file loaded on channel %2 describes it."))
                               .arg(m_index)
                               .arg(m_channel)
                               .arg(m_idText));
        break;
    case State::Decoded:
        m_caption->setText(Lang::pick(QStringLiteral("序号%1，通道%2，ID %3：%4"),
            QStringLiteral("序號%1，通道%2，ID %3：%4"), QStringLiteral("index %1, channel %2, ID %3: %4"))
                               .arg(m_index)
                               .arg(m_channel)
                               .arg(m_idText, m_message));
        break;
    }
}

void SignalPanel::clearFrame()
{
    m_state = State::Empty;
    m_table->setRowCount(0);
    showCaption();
}

void SignalPanel::showFrame(
    const SignalDecoder &decoder, const QString &index, int channel, quint32 id, bool extended, const QByteArray &data)
{
    m_index = index;
    m_channel = channel;
    m_idText
        = QStringLiteral("0x") + QString::number(id, 16).rightJustified(extended ? 8 : 3, QLatin1Char('0')).toUpper();
    const DbcMessage *m = decoder.find(id, extended);
    if (!m) {
        m_state = State::Unknown;
        m_table->setRowCount(0);
        showCaption();
        return;
    }
    QVector<DecodedSignal> values;
    SignalDecoder::decodeMessage(*m, reinterpret_cast<const uchar *>(data.constData()), data.size(), values);
    m_state = State::Decoded;
    m_message = m->name;
    m_table->setRowCount(values.size());
    for (int r = 0; r < values.size(); ++r) {
        const DecodedSignal &d = values.at(r);
        QString physical = d.physicalText();
        if (!d.signal->unit.isEmpty())
            physical += QLatin1Char(' ') + d.signal->unit;
        const QString texts[5] = { m->name, d.signal->name, d.rawText(), physical, d.description() };
        for (int c = 0; c < 5; ++c) {
            QTableWidgetItem *item = m_table->item(r, c);
            if (!item) {
                item = new QTableWidgetItem;
                m_table->setItem(r, c, item);
            }
            item->setText(texts[c]);
            if (c == 1 && !d.signal->comment.isEmpty())
                item->setToolTip(d.signal->comment);
        }
    }
    showCaption();
}
