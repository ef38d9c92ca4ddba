#include "SignalEditDlg.h"

#include "DpiScaler.h"
#include "Lang.h"
#include "SignalCodec.h"

#include <QComboBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>

namespace {
enum Column { NameColumn, ValueColumn, UnitColumn, MinColumn, MaxColumn, ColumnCount };

QString number(double v) { return SignalDecoder::numberText(v); }

// A DBC range of [0|0] (or a reversed one) means the signal names none.
bool hasRange(const DbcSignal &s) { return s.minimum < s.maximum; }

// The number a typed text starts with ("2", "2 Low beam", "-1.5e3"), read the
// same in every language; false when it starts with none.
bool leadingNumber(const QString &text, double &value)
{
    const QString first = text.trimmed().section(QLatin1Char(' '), 0, 0);
    bool ok = false;
    value = QLocale::c().toDouble(first, &ok);
    if (!ok && first.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)) {
        value = double(first.midRef(2).toULongLong(&ok, 16));
    }
    return ok;
}

QString choiceText(double physical, const QString &description)
{
    return number(physical) + QLatin1Char(' ') + description;
}
} // namespace

SignalEditDlg::SignalEditDlg(const SignalDecoder::Databases &databases, const ListSendRow &row, QWidget *parent)
    : QDialog(parent)
    , m_decoder(databases)
    , m_row(row)
{
    setObjectName(QStringLiteral("SignalEditDlg"));
    setWindowTitle(Lang::pick(QStringLiteral("按信号编辑 - 通道%1"), QStringLiteral("按信號編輯 - 通道%1"),
        QStringLiteral("Edit by Signal - Channel %1"))
                       .arg(row.channel + 1));

    QStringList files;
    for (const auto &db : databases)
        if (db)
            files << QFileInfo(db->path).fileName();
    m_caption = new QLabel(Lang::pick(QStringLiteral("通道%1的信号数据库：%2"),
                               QStringLiteral("通道%1的信號數據庫：%2"), QStringLiteral("Databases of channel %1: %2"))
                               .arg(row.channel + 1)
                               .arg(files.join(QStringLiteral(", "))),
        this);
    m_caption->setObjectName(QStringLiteral("captionLabel"));
    m_caption->setWordWrap(true);

    auto *messageLabel
        = new QLabel(Lang::pick(QStringLiteral("报文："), QStringLiteral("報文："), QStringLiteral("Message:")), this);
    m_messageCombo = new QComboBox(this);
    m_messageCombo->setObjectName(QStringLiteral("messageCombo"));
    m_messageCombo->setMaxVisibleItems(20);
    for (const DbcMessage *m : m_decoder.messages())
        m_messageCombo->addItem(
            QStringLiteral("%1  0x%2")
                .arg(m->name,
                    QString::number(m->id, 16).toUpper().rightJustified(m->extended ? 8 : 3, QLatin1Char('0'))));
    messageLabel->setBuddy(m_messageCombo);

    m_muxNote = new QLabel(this);
    m_muxNote->setObjectName(QStringLiteral("muxLabel"));
    m_muxNote->setWordWrap(true);

    m_table = new QTableWidget(0, ColumnCount, this);
    m_table->setObjectName(QStringLiteral("signalTable"));
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionMode(QAbstractItemView::NoSelection);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_table->verticalHeader()->setDefaultSectionSize(m_table->fontMetrics().height() + 12);
    m_table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->setHorizontalHeaderLabels(
        { Lang::pick(QStringLiteral("信号"), QStringLiteral("信號"), QStringLiteral("Signal")),
            Lang::pick(QStringLiteral("物理值"), QStringLiteral("物理值"), QStringLiteral("Physical")),
            Lang::pick(QStringLiteral("单位"), QStringLiteral("單位"), QStringLiteral("Unit")),
            Lang::pick(QStringLiteral("最小值"), QStringLiteral("最小值"), QStringLiteral("Min")),
            Lang::pick(QStringLiteral("最大值"), QStringLiteral("最大值"), QStringLiteral("Max")) });
    const int digit = m_table->fontMetrics().horizontalAdvance(QLatin1Char('0'));
    m_table->setColumnWidth(NameColumn, digit * 18);
    m_table->setColumnWidth(ValueColumn, digit * 24);
    m_table->setColumnWidth(UnitColumn, digit * 8);
    m_table->setColumnWidth(MinColumn, digit * 12);

    m_frameLabel = new QLabel(this);
    m_frameLabel->setObjectName(QStringLiteral("frameLabel"));
    m_frameLabel->setWordWrap(true);
    m_frameLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_noteLabel = new QLabel(this);
    m_noteLabel->setObjectName(QStringLiteral("noteLabel"));
    m_noteLabel->setWordWrap(true);
    QPalette warn = m_noteLabel->palette();
    warn.setColor(QPalette::WindowText, QColor(176, 0, 0));
    m_noteLabel->setPalette(warn);

    m_ok = new QPushButton(Lang::pick(QStringLiteral("确定"), QStringLiteral("確定"), QStringLiteral("OK")), this);
    m_ok->setObjectName(QStringLiteral("pbnOk"));
    auto *cancel
        = new QPushButton(Lang::pick(QStringLiteral("取消"), QStringLiteral("取消"), QStringLiteral("Cancel")), this);
    cancel->setObjectName(QStringLiteral("pbnCancel"));
    // Enter commits a value in its editor; it must not close the dialog.
    for (QPushButton *b : { m_ok, cancel }) {
        b->setAutoDefault(false);
        b->setDefault(false);
    }
    connect(m_ok, &QPushButton::clicked, this, [this] {
        commitEditors();
        accept();
    });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto *top = new QHBoxLayout;
    top->addWidget(messageLabel);
    top->addWidget(m_messageCombo, 1);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_ok);
    buttons->addWidget(cancel);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_caption);
    layout->addLayout(top);
    layout->addWidget(m_muxNote);
    layout->addWidget(m_table, 1);
    layout->addWidget(m_frameLabel);
    layout->addWidget(m_noteLabel);
    layout->addLayout(buttons);
    resize(760, 520);

    // The row's own message when a database describes it (a remote frame
    // carries no signals to start from).
    const int own = row.remote ? -1 : m_decoder.indexOf(row.id, row.extended);
    chooseMessage(own >= 0 ? own : 0);
    m_messageCombo->setCurrentIndex(m_message);
    connect(m_messageCombo, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &SignalEditDlg::chooseMessage);
    m_ok->setEnabled(message() != nullptr);
    DpiScaler::attach(this);
}

SignalEditDlg::~SignalEditDlg() = default;

const DbcMessage *SignalEditDlg::message() const
{
    if (m_message < 0 || m_message >= int(m_decoder.messages().size()))
        return nullptr;
    return m_decoder.messages()[size_t(m_message)];
}

void SignalEditDlg::chooseMessage(int index)
{
    m_message = index;
    m_held.clear();
    m_values.clear();
    const DbcMessage *m = message();
    if (!m) {
        buildTable();
        refreshFrame();
        return;
    }
    // Signals start at raw 0; those the row's bytes carry start decoded.
    m_values.resize(m->signalList.size());
    for (int i = 0; i < m->signalList.size(); ++i)
        m_values[i] = SignalCodec::physical(m->signalList.at(i), 0);
    if (!m_row.remote && m_row.id == m->id && m_row.extended == m->extended) {
        QVector<DecodedSignal> decoded;
        SignalDecoder::decodeMessage(
            *m, reinterpret_cast<const uchar *>(m_row.data.constData()), m_row.data.size(), decoded);
        for (const DecodedSignal &d : qAsConst(decoded))
            m_values[int(d.signal - m->signalList.constData())] = d.physical;
    }
    buildTable();
    refreshFrame();
}

qint64 SignalEditDlg::selectorValue() const
{
    const DbcMessage *m = message();
    if (!m || m->multiplexor < 0)
        return 0;
    const DbcSignal &mux = m->signalList.at(m->multiplexor);
    return SignalCodec::rawInteger(mux, SignalCodec::fromPhysical(mux, m_values.at(m->multiplexor)));
}

void SignalEditDlg::buildTable()
{
    m_table->setRowCount(0);
    m_shown.clear();
    m_editors.fill(nullptr, m_values.size());
    const DbcMessage *m = message();
    m_muxNote->setVisible(m && m->multiplexor >= 0);
    if (!m)
        return;
    const qint64 selected = selectorValue();
    for (int i = 0; i < m->signalList.size(); ++i) {
        const DbcSignal &s = m->signalList.at(i);
        if (s.mux == DbcSignal::Mux::Multiplexed && s.muxValue != selected)
            continue;
        m_shown << i;
    }
    if (m->multiplexor >= 0)
        m_muxNote->setText(Lang::pick(QStringLiteral("多路复用报文：%1的值决定发送哪一组信号（当前 %2）。"),
            QStringLiteral("多路複用報文：%1的值決定發送哪一組信號（當前 %2）。"),
            QStringLiteral("Multiplexed message: the value of %1 chooses which signals are sent (now %2)."))
                               .arg(m->signalList.at(m->multiplexor).name)
                               .arg(selected));
    m_table->setRowCount(m_shown.size());
    for (int r = 0; r < m_shown.size(); ++r) {
        const DbcSignal &s = m->signalList.at(m_shown.at(r));
        auto *name = new QTableWidgetItem(s.name);
        if (!s.comment.isEmpty())
            name->setToolTip(s.comment);
        m_table->setItem(r, NameColumn, name);
        m_table->setItem(r, UnitColumn, new QTableWidgetItem(s.unit));
        m_table->setItem(r, MinColumn, new QTableWidgetItem(hasRange(s) ? number(s.minimum) : QString()));
        m_table->setItem(r, MaxColumn, new QTableWidgetItem(hasRange(s) ? number(s.maximum) : QString()));
        QWidget *editor = makeEditor(m_shown.at(r));
        m_editors[m_shown.at(r)] = editor;
        m_table->setCellWidget(r, ValueColumn, editor);
        showValue(m_shown.at(r));
    }
}

// A line for a number; a list of the value descriptions for a signal that
// has them, still open to any number typed in.
QWidget *SignalEditDlg::makeEditor(int signal)
{
    const DbcSignal &s = message()->signalList.at(signal);
    const QString name = QStringLiteral("value_") + s.name;
    if (s.values.isEmpty() || s.type != DbcSignal::Type::Integer) {
        auto *edit = new QLineEdit;
        edit->setObjectName(name);
        connect(edit, &QLineEdit::editingFinished, this, [this, signal] { commitEditor(signal); });
        return edit;
    }
    auto *combo = new QComboBox;
    combo->setObjectName(name);
    combo->setEditable(true);
    combo->setInsertPolicy(QComboBox::NoInsert);
    for (auto it = s.values.cbegin(); it != s.values.cend(); ++it) {
        const double physical = double(it.key()) * s.factor + s.offset;
        combo->addItem(choiceText(physical, it.value()), physical);
    }
    connect(combo, QOverload<int>::of(&QComboBox::activated), this,
        [this, signal, combo](int index) { setValue(signal, combo->itemData(index).toDouble()); });
    connect(combo->lineEdit(), &QLineEdit::editingFinished, this, [this, signal] { commitEditor(signal); });
    return combo;
}

void SignalEditDlg::showValue(int signal)
{
    QWidget *editor = m_editors.value(signal);
    if (!editor)
        return;
    const double v = m_values.at(signal);
    if (auto *edit = qobject_cast<QLineEdit *>(editor)) {
        edit->setText(number(v));
        edit->setCursorPosition(0);
    } else if (auto *combo = qobject_cast<QComboBox *>(editor)) {
        const int i = combo->findData(v);
        if (i >= 0)
            combo->setCurrentIndex(i);
        else
            combo->setEditText(number(v));
    }
}

void SignalEditDlg::applyText(int signal, const QString &text)
{
    if (auto *combo = qobject_cast<QComboBox *>(m_editors.value(signal))) {
        const int i = combo->findText(text.trimmed());
        if (i >= 0) {
            setValue(signal, combo->itemData(i).toDouble());
            return;
        }
    }
    double v = 0;
    if (leadingNumber(text, v))
        setValue(signal, v);
    else
        showValue(signal); // not a number: the value stays as it was
}

// Takes a typed value as the frame will carry it: held to the signal's range
// and to what its bits can hold (each said in the dialog), and rounded to a
// step of the signal's factor.
void SignalEditDlg::setValue(int signal, double physical)
{
    const DbcMessage *m = message();
    if (!m || signal < 0 || signal >= m_values.size())
        return;
    const DbcSignal &s = m->signalList.at(signal);
    const qint64 selectedBefore = selectorValue();
    QString note;
    double held = physical;
    if (hasRange(s) && (physical < s.minimum || physical > s.maximum)) {
        held = qBound(s.minimum, physical, s.maximum);
        note = Lang::pick(QStringLiteral("%1：%2超出范围%3…%4，已限制为%5"),
            QStringLiteral("%1：%2超出範圍%3…%4，已限制為%5"), QStringLiteral("%1: %2 is outside %3…%4, held at %5"))
                   .arg(s.name, number(physical), number(s.minimum), number(s.maximum), number(held));
    }
    bool clamped = false;
    const quint64 bits = SignalCodec::fromPhysical(s, held, &clamped);
    held = SignalCodec::physical(s, bits);
    if (clamped)
        note = Lang::pick(QStringLiteral("%1：%2超出%3位信号能表示的范围，已限制为%4"),
            QStringLiteral("%1：%2超出%3位信號能表示的範圍，已限制為%4"),
            QStringLiteral("%1: %2 does not fit in the signal's %3 bits, held at %4"))
                   .arg(s.name, number(physical))
                   .arg(s.length)
                   .arg(number(held));
    m_values[signal] = held;
    if (note.isEmpty())
        m_held.remove(s.name);
    else
        m_held.insert(s.name, note);
    if (signal == m->multiplexor && selectorValue() != selectedBefore) {
        // Other signals belong to the new value: rebuilt once the editor
        // that reported this is no longer on the call stack.
        QTimer::singleShot(0, this, [this] {
            buildTable();
            refreshFrame();
        });
    } else {
        showValue(signal);
    }
    refreshFrame();
}

// An editor's text counts once it differs from the value it shows: the line
// reports every focus change, and a value held a moment ago must keep its note.
void SignalEditDlg::commitEditor(int signal)
{
    const double v = m_values.value(signal);
    QWidget *editor = m_editors.value(signal);
    if (auto *edit = qobject_cast<QLineEdit *>(editor)) {
        if (edit->text() != number(v))
            applyText(signal, edit->text());
    } else if (auto *combo = qobject_cast<QComboBox *>(editor)) {
        const int i = combo->findData(v);
        if (combo->currentText() != (i >= 0 ? combo->itemText(i) : number(v)))
            applyText(signal, combo->currentText());
    }
}

// A text typed but neither confirmed with Enter nor left counts as entered.
void SignalEditDlg::commitEditors()
{
    const QVector<int> shown = m_shown;
    for (int signal : shown)
        commitEditor(signal);
}

int SignalEditDlg::encodedLength() const
{
    const int bytes = m_encoded.data.size();
    return ListSendRow::fittingLength(bytes);
}

void SignalEditDlg::refreshFrame()
{
    const DbcMessage *m = message();
    if (!m) {
        m_encoded = SignalEncoder::Result();
        m_frameLabel->setText(Lang::pick(QStringLiteral("通道%1的信号数据库中没有报文。"),
            QStringLiteral("通道%1的信號數據庫中沒有報文。"),
            QStringLiteral("The databases of channel %1 hold no message."))
                                  .arg(m_row.channel + 1));
        m_noteLabel->clear();
        return;
    }
    QMap<QString, double> values;
    for (int i = 0; i < m->signalList.size(); ++i)
        values.insert(m->signalList.at(i).name, m_values.at(i));
    m_encoded = SignalEncoder::encode(*m, values);
    const ListSendRow r = result();
    const QString format = r.extended
        ? Lang::pick(QStringLiteral("扩展帧"), QStringLiteral("擴展幀"), QStringLiteral("extended"))
        : Lang::pick(QStringLiteral("标准帧"), QStringLiteral("標準幀"), QStringLiteral("standard"));
    m_frameLabel->setText(Lang::pick(QStringLiteral("发送：ID 0x%1 %2 %3，%4字节：%5"),
        QStringLiteral("發送：ID 0x%1 %2 %3，%4字節：%5"), QStringLiteral("Sends: ID 0x%1 %2 %3, %4 bytes: %5"))
                              .arg(QString::number(r.id, 16).toUpper(), format,
                                  r.canFd() ? QStringLiteral("CAN FD") : QStringLiteral("CAN"))
                              .arg(r.length)
                              .arg(r.dataText()));
    m_noteLabel->setText(notes().join(QLatin1Char('\n')));
}

QStringList SignalEditDlg::notes() const
{
    QStringList out = m_held.values();
    // Values the dialog did not take itself (the bytes it opened with) that
    // the encoder still had to hold.
    for (const QString &name : m_encoded.clamped)
        if (!m_held.contains(name))
            out << Lang::pick(QStringLiteral("%1：值超出信号能表示的范围，已限制"),
                QStringLiteral("%1：值超出信號能表示的範圍，已限制"),
                QStringLiteral("%1: the value does not fit in the signal, held"))
                       .arg(name);
    const int bytes = m_encoded.data.size();
    if (message() && bytes != encodedLength())
        out << Lang::pick(QStringLiteral("报文长%1字节，CAN FD没有这个长度：按%2字节发送，多出的字节为00。"),
            QStringLiteral("報文長%1字節，CAN FD沒有這個長度：按%2字節發送，多出的字節為00。"),
            QStringLiteral("The message is %1 bytes long, a length CAN FD does not have: it is sent as %2 bytes, "
                           "the extra ones 00."))
                   .arg(bytes)
                   .arg(encodedLength());
    return out;
}

ListSendRow SignalEditDlg::result() const
{
    ListSendRow r = m_row;
    const DbcMessage *m = message();
    if (!m)
        return r;
    r.id = m->id;
    r.extended = m->extended;
    r.remote = false;
    r.length = encodedLength();
    // Up to 8 bytes the row keeps its protocol; beyond, CAN FD (with the
    // bit-rate switch when the row had it).
    if (r.length > 8 && !r.canFd())
        r.protocol = 1;
    r.data = m_encoded.data;
    r.fitData();
    if (r.name.isEmpty())
        r.name = m->name;
    return r;
}
