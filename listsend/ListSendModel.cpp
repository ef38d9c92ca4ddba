#include "ListSendModel.h"

#include "DeviceLayer.h"
#include "Lang.h"
#include "SendRules.h"

#include <QBrush>
#include <QColor>
#include <QRegularExpression>
#include <QTimerEvent>
#include <algorithm>

namespace {
constexpr int kProgressMs = 200;

QString formatText(bool extended)
{
    return extended ? Lang::pick(QStringLiteral("扩展帧"), QStringLiteral("擴展幀"), QStringLiteral("Extended Frame"))
                    : Lang::pick(QStringLiteral("标准帧"), QStringLiteral("標準幀"), QStringLiteral("Standard Frame"));
}

QString typeText(bool remote)
{
    return remote ? Lang::pick(QStringLiteral("远程帧"), QStringLiteral("遠程幀"), QStringLiteral("Remote Frame"))
                  : Lang::pick(QStringLiteral("数据帧"), QStringLiteral("數據幀"), QStringLiteral("data frame"));
}

QString protocolText(int protocol)
{
    if (protocol == 0)
        return QStringLiteral("CAN");
    if (protocol == 1)
        return QStringLiteral("CANFD");
    return Lang::pick(QStringLiteral("CANFD加速"), QStringLiteral("CANFD加速"), QStringLiteral("CANFD-acceleration"));
}

QString keepSendingText()
{
    return Lang::pick(QStringLiteral("一直发送"), QStringLiteral("一直發送"), QStringLiteral("Keep sending"));
}

QString periodMessage()
{
    return Lang::pick(QStringLiteral("发送失败，周期范围为1~60000ms！"),
        QStringLiteral("發送失敗，週期範圍為1~60000ms！"),
        QStringLiteral("Sending failed, period range is 1~60000 ms!"));
}

bool isCheckColumn(int column)
{
    return column == ListSendModel::On || column == ListSendModel::IdIncrement
        || column == ListSendModel::DataIncrement;
}
} // namespace

ListSendModel::ListSendModel(QObject *parent)
    : QAbstractTableModel(parent)
{
    for (unsigned ch = 0; ch < 2; ++ch) {
        m_schedulers[ch] = new ListScheduler(ch, this);
        connect(m_schedulers[ch], &ListScheduler::rowEnded, this, &ListSendModel::rowEnded);
        connect(m_schedulers[ch], &ListScheduler::log, this, &ListSendModel::log);
    }
}

ListSendModel::~ListSendModel()
{
    // The schedulers are children: their destructors end their threads.
    // Nobody listens any more.
    blockSignals(true);
    stopAll();
}

int ListSendModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : int(m_items.size()); }

int ListSendModel::columnCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : ColumnCount; }

QVariant ListSendModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_items.size())
        return QVariant();
    const Item &item = m_items.at(index.row());
    const ListSendRow &r = item.row;
    const bool running = item.progress && item.progress->running;
    const int column = index.column();

    if (role == Qt::CheckStateRole && isCheckColumn(column)) {
        const bool on = column == On ? r.enabled : column == IdIncrement ? r.idIncrement : r.dataIncrement;
        return on ? Qt::Checked : Qt::Unchecked;
    }
    if (role == Qt::BackgroundRole && running)
        return QBrush(QColor(200, 240, 200));
    if (role == Qt::EditRole) {
        switch (column) {
        case Name:
            return r.name;
        case Channel:
            return int(r.channel);
        case Id:
            return QString::number(r.id, 16).toUpper();
        case Format:
            return r.extended ? 1 : 0;
        case Type:
            return r.remote ? 1 : 0;
        case Protocol:
            return r.protocol;
        case Length:
            return r.length;
        case Data:
            return r.dataText();
        case Period:
            return r.periodMs;
        case Count:
            return r.count;
        default:
            return QVariant();
        }
    }
    if (role != Qt::DisplayRole)
        return QVariant();
    switch (column) {
    case Name:
        return r.name;
    case Channel:
        return QString::number(r.channel + 1);
    case Id:
        return QString::number(r.id, 16).toUpper();
    case Format:
        return formatText(r.extended);
    case Type:
        return typeText(r.remote);
    case Protocol:
        return protocolText(r.protocol);
    case Length:
        return QString::number(r.length);
    case Data:
        return r.dataText();
    case Period:
        return QString::number(r.periodMs);
    case Count:
        return r.count == 0 ? keepSendingText() : QString::number(r.count);
    case Sent:
        return item.progress ? QString::number(item.progress->sent.load()) : QString();
    case State:
        return running ? Lang::pick(QStringLiteral("发送中"), QStringLiteral("發送中"), QStringLiteral("Sending"))
                       : Lang::pick(QStringLiteral("停止"), QStringLiteral("停止"), QStringLiteral("Stopped"));
    default:
        return QVariant();
    }
}

QVariant ListSendModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole)
        return QVariant();
    if (orientation == Qt::Vertical)
        return section + 1;
    switch (section) {
    case On:
        return Lang::pick(QStringLiteral("启用"), QStringLiteral("啟用"), QStringLiteral("On"));
    case Name:
        return Lang::pick(QStringLiteral("名称"), QStringLiteral("名稱"), QStringLiteral("Name"));
    case Channel:
        return Lang::pick(QStringLiteral("通道"), QStringLiteral("通道"), QStringLiteral("channel"));
    case Id:
        return QStringLiteral("ID(0x)");
    case Format:
        return Lang::pick(QStringLiteral("帧格式"), QStringLiteral("幀格式"), QStringLiteral("Frame"));
    case Type:
        return Lang::pick(QStringLiteral("帧类型"), QStringLiteral("幀類型"), QStringLiteral("type"));
    case Protocol:
        return Lang::pick(QStringLiteral("协议"), QStringLiteral("協議"), QStringLiteral("Protocol"));
    case Length:
        return QStringLiteral("DLC");
    case Data:
        return Lang::pick(QStringLiteral("数据(0x)"), QStringLiteral("數據(0x)"), QStringLiteral("data(0x)"));
    case Period:
        return Lang::pick(QStringLiteral("周期(ms)"), QStringLiteral("週期(ms)"), QStringLiteral("Period(ms)"));
    case Count:
        return Lang::pick(QStringLiteral("发送次数"), QStringLiteral("發送次數"), QStringLiteral("Count"));
    case IdIncrement:
        return Lang::pick(QStringLiteral("ID递增"), QStringLiteral("ID遞增"), QStringLiteral("ID Inc"));
    case DataIncrement:
        return Lang::pick(QStringLiteral("数据递增"), QStringLiteral("數據遞增"), QStringLiteral("Data Inc"));
    case Sent:
        return Lang::pick(QStringLiteral("已发送"), QStringLiteral("已發送"), QStringLiteral("Sent"));
    case State:
        return Lang::pick(QStringLiteral("状态"), QStringLiteral("狀態"), QStringLiteral("State"));
    default:
        return QVariant();
    }
}

Qt::ItemFlags ListSendModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags f = Qt::ItemIsSelectable | Qt::ItemIsEnabled;
    const int column = index.column();
    if (column == On)
        return f | Qt::ItemIsUserCheckable;
    // A running row keeps what it was started with.
    if (isRunning(index.row()) || column == Sent || column == State)
        return f;
    if (isCheckColumn(column))
        return f | Qt::ItemIsUserCheckable;
    if (column == Protocol && m_items.at(index.row()).row.remote)
        return f; // a remote frame is classic CAN only
    return f | Qt::ItemIsEditable;
}

QStringList ListSendModel::choices(int column, int row) const
{
    switch (column) {
    case Channel:
        return { QStringLiteral("1"), QStringLiteral("2") };
    case Format:
        return { formatText(false), formatText(true) };
    case Type:
        return { typeText(false), typeText(true) };
    case Protocol:
        return { protocolText(0), protocolText(1), protocolText(2) };
    case Length: {
        const bool fd = row >= 0 && row < m_items.size() && m_items.at(row).row.canFd();
        QStringList out;
        for (int n : SendRules::lengths())
            if (SendRules::isValidLength(n, fd))
                out << QString::number(n);
        return out;
    }
    default:
        return {};
    }
}

bool ListSendModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || index.row() >= m_items.size()
        || !(flags(index) & (Qt::ItemIsEditable | Qt::ItemIsUserCheckable)))
        return false;
    ListSendRow row = m_items.at(index.row()).row;
    const int column = index.column();
    if (role == Qt::CheckStateRole && isCheckColumn(column)) {
        const bool on = value.toInt() == Qt::Checked;
        (column == On ? row.enabled : column == IdIncrement ? row.idIncrement : row.dataIncrement) = on;
    } else if (role != Qt::EditRole || !applyEdit(row, column, value, row.channel)) {
        return false;
    }
    if (row == m_items.at(index.row()).row)
        return true;
    m_items[index.row()].row = row;
    changed(index.row());
    return true;
}

bool ListSendModel::applyEdit(ListSendRow &row, int column, const QVariant &value, unsigned channel)
{
    bool ok = false;
    switch (column) {
    case Name:
        row.name = value.toString().simplified();
        return true;
    case Channel: {
        const int ch = value.toInt(&ok);
        if (!ok || ch < 0 || ch > 1)
            return false;
        row.channel = unsigned(ch);
        return true;
    }
    case Id: {
        QString text = value.toString().trimmed();
        if (text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
            text = text.mid(2);
        static const QRegularExpression hex(QStringLiteral("^[0-9a-fA-F]{1,8}$"));
        if (!hex.match(text).hasMatch())
            return false;
        const qint64 id = text.toLongLong(nullptr, 16);
        if (!SendRules::idInRange(id, row.extended)) {
            emit refused(Lang::warningTitle(), SendRules::idRangeMessage(row.extended, channel));
            return false;
        }
        row.id = uint32_t(id);
        return true;
    }
    case Format: {
        const int format = value.toInt(&ok);
        if (!ok || format < 0 || format > 1)
            return false;
        if (!SendRules::idInRange(row.id, format == 1)) {
            emit refused(Lang::warningTitle(), SendRules::idRangeMessage(format == 1, channel));
            return false;
        }
        row.extended = format == 1;
        return true;
    }
    case Type: {
        const int type = value.toInt(&ok);
        if (!ok || type < 0 || type > 1)
            return false;
        row.remote = type == 1;
        if (row.remote) {
            // As on the send panel: a remote frame forces classic CAN.
            row.protocol = 0;
            row.length = std::min(row.length, 8);
            row.fitData();
        }
        return true;
    }
    case Protocol: {
        const int protocol = value.toInt(&ok);
        if (!ok || protocol < 0 || protocol > 2 || (row.remote && protocol != 0))
            return false;
        row.protocol = protocol;
        if (protocol == 0 && row.length >= 9) {
            row.length = 8;
            row.fitData();
        }
        return true;
    }
    case Length: {
        const int length = value.toInt(&ok);
        if (!ok || !SendRules::isValidLength(length, row.canFd()))
            return false;
        row.length = length;
        row.fitData();
        return true;
    }
    case Data: {
        const QString text = value.toString();
        static const QRegularExpression hexBytes(QStringLiteral("^[0-9a-fA-F ]*$"));
        if (!hexBytes.match(text).hasMatch())
            return false;
        uint8_t bytes[64];
        SendRules::parseBytes(SendRules::cutData(SendRules::normaliseData(text), row.length), bytes);
        row.data = QByteArray(reinterpret_cast<const char *>(bytes), row.length);
        return true;
    }
    case Period: {
        const qint64 period = value.toLongLong(&ok);
        if (!ok || period < ListSendRow::kMinPeriodMs || period > ListSendRow::kMaxPeriodMs) {
            emit refused(Lang::warningTitle(), periodMessage());
            return false;
        }
        row.periodMs = int(period);
        return true;
    }
    case Count: {
        const qint64 count = value.toLongLong(&ok);
        if (!ok || count < 0)
            return false;
        row.count = count;
        return true;
    }
    default:
        return false;
    }
}

QList<ListSendRow> ListSendModel::rows() const
{
    QList<ListSendRow> out;
    out.reserve(m_items.size());
    for (const Item &item : m_items)
        out << item.row;
    return out;
}

void ListSendModel::setRows(const QList<ListSendRow> &rows)
{
    stopAll();
    beginResetModel();
    m_items.clear();
    for (const ListSendRow &r : rows) {
        Item item;
        item.row = r;
        item.row.fitData();
        item.key = m_nextKey++;
        m_items << item;
    }
    endResetModel();
}

bool ListSendModel::setRow(int i, const ListSendRow &row)
{
    if (i < 0 || i >= m_items.size() || isRunning(i) || !row.isValid())
        return false;
    if (m_items.at(i).row != row) {
        m_items[i].row = row;
        changed(i);
    }
    return true;
}

void ListSendModel::insertListRow(int at, const ListSendRow &row)
{
    at = std::clamp(at, 0, int(m_items.size()));
    beginInsertRows(QModelIndex(), at, at);
    Item item;
    item.row = row;
    item.row.fitData();
    item.key = m_nextKey++;
    m_items.insert(at, item);
    endInsertRows();
    emit listChanged();
}

void ListSendModel::removeListRows(QList<int> rows)
{
    std::sort(rows.begin(), rows.end(), std::greater<int>());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    stop(rows);
    bool any = false;
    for (int i : rows) {
        if (i < 0 || i >= m_items.size())
            continue;
        beginRemoveRows(QModelIndex(), i, i);
        m_items.removeAt(i);
        endRemoveRows();
        any = true;
    }
    if (any)
        emit listChanged();
}

bool ListSendModel::moveListRow(int i, int step)
{
    const int to = i + step;
    if (i < 0 || i >= m_items.size() || to < 0 || to >= m_items.size() || step == 0)
        return false;
    // beginMoveRows names the row before which the moved one lands.
    beginMoveRows(QModelIndex(), i, i, QModelIndex(), step > 0 ? to + 1 : to);
    m_items.move(i, to);
    endMoveRows();
    emit listChanged();
    return true;
}

QList<unsigned> ListSendModel::start(const QList<int> &rows)
{
    const ListScheduler::Clock::time_point now = ListScheduler::Clock::now();
    QList<unsigned> refused;
    for (int i : rows) {
        if (i < 0 || i >= m_items.size() || isRunning(i))
            continue;
        Item &item = m_items[i];
        const unsigned ch = item.row.channel;
        if (!isChannelOpen(ch)) {
            if (!refused.contains(ch))
                refused << ch;
            continue;
        }
        item.progress = std::make_shared<ListRowProgress>();
        m_schedulers[ch]->add(item.key, item.row, now, item.progress);
        emit dataChanged(index(i, 0), index(i, ColumnCount - 1));
    }
    std::sort(refused.begin(), refused.end());
    for (unsigned ch : refused) {
        const QString text = SendRules::channelNotOpenMessage(ch);
        emit windowLog(text);
        emit this->refused(Lang::noticeTitle(), text);
    }
    if (anyRunning() && !m_progressTimer.isActive())
        m_progressTimer.start(kProgressMs, this);
    emit runningChanged();
    return refused;
}

QList<unsigned> ListSendModel::startAll()
{
    QList<int> rows;
    for (int i = 0; i < m_items.size(); ++i)
        if (m_items.at(i).row.enabled)
            rows << i;
    return start(rows);
}

void ListSendModel::stop(const QList<int> &rows)
{
    bool any = false;
    for (int i : rows) {
        if (!isRunning(i))
            continue;
        Item &item = m_items[i];
        m_schedulers[item.row.channel]->remove(item.key);
        item.progress->running = false;
        any = true;
    }
    if (any) {
        refreshProgress();
        emit runningChanged();
    }
}

void ListSendModel::stopAll()
{
    for (ListScheduler *s : m_schedulers)
        s->removeAll();
    for (Item &item : m_items)
        if (item.progress)
            item.progress->running = false;
    refreshProgress();
    emit runningChanged();
}

bool ListSendModel::isRunning(int row) const
{
    return row >= 0 && row < m_items.size() && m_items.at(row).progress && m_items.at(row).progress->running;
}

quint64 ListSendModel::sentCount(int row) const
{
    return row >= 0 && row < m_items.size() && m_items.at(row).progress ? m_items.at(row).progress->sent.load() : 0;
}

bool ListSendModel::anyRunning() const
{
    for (int i = 0; i < m_items.size(); ++i)
        if (isRunning(i))
            return true;
    return false;
}

void ListSendModel::retranslate()
{
    emit headerDataChanged(Qt::Horizontal, 0, ColumnCount - 1);
    if (!m_items.isEmpty())
        emit dataChanged(index(0, 0), index(int(m_items.size()) - 1, ColumnCount - 1));
}

void ListSendModel::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_progressTimer.timerId())
        return QAbstractTableModel::timerEvent(event);
    refreshProgress();
    if (!anyRunning())
        m_progressTimer.stop();
}

void ListSendModel::rowEnded(quint64 key, int /*reason*/)
{
    const int i = rowOfKey(key);
    if (i >= 0)
        emit dataChanged(index(i, 0), index(i, ColumnCount - 1));
    emit runningChanged();
}

int ListSendModel::rowOfKey(quint64 key) const
{
    for (int i = 0; i < m_items.size(); ++i)
        if (m_items.at(i).key == key)
            return i;
    return -1;
}

void ListSendModel::refreshProgress()
{
    if (!m_items.isEmpty())
        emit dataChanged(
            index(0, 0), index(int(m_items.size()) - 1, ColumnCount - 1), { Qt::DisplayRole, Qt::BackgroundRole });
}

void ListSendModel::changed(int row)
{
    emit dataChanged(index(row, 0), index(row, ColumnCount - 1));
    emit listChanged();
}
