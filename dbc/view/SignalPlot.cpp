#include "SignalPlot.h"

#include "FileDialogs.h"
#include "Lang.h"
#include "Prompt.h"
#include "SignalRecorder.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSaveFile>
#include <QSpinBox>
#include <QSplitter>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace QtCharts;

namespace {
enum Role { ChannelRole = Qt::UserRole, MessageRole, SignalRole };
// Points drawn per signal at most: the plot is a few hundred pixels wide, so
// each of this many slices of the time axis keeps its lowest and highest value.
constexpr int kSlices = 600;

QString channelText(int channel)
{
    return Lang::pick(QStringLiteral("通道%1"), QStringLiteral("通道%1"), QStringLiteral("channel %1"))
        .arg(channel + 1);
}

QString idText(const DbcMessage &m)
{
    return QStringLiteral("0x")
        + QString::number(m.id, 16).rightJustified(m.extended ? 8 : 3, QLatin1Char('0')).toUpper();
}

// The points inside [from, to], thinned to the lowest and highest of each slice.
QVector<QPointF> thinned(const QVector<QPointF> &points, double from, double to)
{
    const auto begin
        = std::lower_bound(points.cbegin(), points.cend(), from, [](const QPointF &p, double t) { return p.x() < t; });
    const int count = int(points.cend() - begin);
    QVector<QPointF> out;
    if (count <= 2 * kSlices) {
        out.reserve(count);
        for (auto it = begin; it != points.cend(); ++it)
            out.append(*it);
        return out;
    }
    out.reserve(2 * kSlices + 2);
    const double width = std::max(to - from, 1e-9) / kSlices;
    int slice = -1;
    QPointF low, high;
    auto flush = [&] {
        if (slice < 0)
            return;
        if (low.x() <= high.x()) {
            out.append(low);
            if (high != low)
                out.append(high);
        } else {
            out.append(high);
            out.append(low);
        }
    };
    for (auto it = begin; it != points.cend(); ++it) {
        const int s = std::min(kSlices - 1, int((it->x() - from) / width));
        if (s != slice) {
            flush();
            slice = s;
            low = high = *it;
        } else {
            if (it->y() < low.y())
                low = *it;
            if (it->y() > high.y())
                high = *it;
        }
    }
    flush();
    return out;
}
} // namespace

SignalPlot::SignalPlot(SignalRecorder *recorder, QWidget *parent)
    : QWidget(parent)
    , m_recorder(recorder)
{
    setObjectName(QStringLiteral("signalPlot"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    auto *bar = new QHBoxLayout;
    m_pause = new QCheckBox(this);
    m_pause->setObjectName(QStringLiteral("signalPauseCheck"));
    m_keepLabel = new QLabel(this);
    m_minutes = new QSpinBox(this);
    m_minutes->setObjectName(QStringLiteral("signalMinutesSpin"));
    m_minutes->setRange(1, 60);
    m_minutes->setValue(5);
    m_clear = new QPushButton(this);
    m_clear->setObjectName(QStringLiteral("signalClearBtn"));
    m_export = new QPushButton(this);
    m_export->setObjectName(QStringLiteral("signalExportBtn"));
    bar->addWidget(m_pause);
    bar->addSpacing(12);
    bar->addWidget(m_keepLabel);
    bar->addWidget(m_minutes);
    bar->addStretch(1);
    bar->addWidget(m_clear);
    bar->addWidget(m_export);
    layout->addLayout(bar);

    auto *split = new QSplitter(Qt::Horizontal, this);
    m_tree = new QTreeWidget(split);
    m_tree->setObjectName(QStringLiteral("signalTree"));
    m_tree->setColumnCount(2);
    m_tree->setUniformRowHeights(true);
    m_tree->header()->setStretchLastSection(true);
    m_chart = new QChart;
    m_chart->legend()->setAlignment(Qt::AlignBottom);
    m_chart->setMargins(QMargins(4, 4, 4, 4));
    m_axisX = new QValueAxis(m_chart);
    m_axisY = new QValueAxis(m_chart);
    m_axisX->setLabelFormat(QStringLiteral("%.0f"));
    m_chart->addAxis(m_axisX, Qt::AlignBottom);
    m_chart->addAxis(m_axisY, Qt::AlignLeft);
    m_view = new QChartView(m_chart, split);
    m_view->setObjectName(QStringLiteral("signalChart"));
    m_view->setRenderHint(QPainter::Antialiasing, false);
    split->addWidget(m_tree);
    split->addWidget(m_view);
    split->setStretchFactor(0, 2);
    split->setStretchFactor(1, 5);
    layout->addWidget(split, 1);

    connect(m_tree, &QTreeWidget::itemChanged, this, &SignalPlot::itemChanged);
    connect(m_tree, &QTreeWidget::itemExpanded, this, [this](QTreeWidgetItem *item) {
        item->setData(1, Qt::UserRole, QVariant());
        updateValues();
    });
    connect(m_export, &QPushButton::clicked, this, &SignalPlot::exportClicked);
    connect(m_clear, &QPushButton::clicked, this, &SignalPlot::clearClicked);
    connect(m_pause, &QCheckBox::toggled, this, [this](bool paused) {
        if (!paused)
            refresh();
    });
    connect(m_minutes, QOverload<int>::of(&QSpinBox::valueChanged), this, [this](int v) {
        refresh();
        emit minutesChanged(v);
    });
    m_timer = new QTimer(this);
    m_timer->setInterval(500);
    connect(m_timer, &QTimer::timeout, this, &SignalPlot::refresh);
    m_timer->start();
    retranslate();
}

void SignalPlot::retranslate()
{
    m_pause->setText(Lang::pick(QStringLiteral("暂停曲线"), QStringLiteral("暫停曲線"), QStringLiteral("Pause plot")));
    m_keepLabel->setText(
        Lang::pick(QStringLiteral("保留最近"), QStringLiteral("保留最近"), QStringLiteral("Keep the last")));
    m_minutes->setSuffix(Lang::pick(QStringLiteral(" 分钟"), QStringLiteral(" 分鐘"), QStringLiteral(" min")));
    m_clear->setText(Lang::pick(QStringLiteral("清除曲线"), QStringLiteral("清除曲線"), QStringLiteral("Clear plot")));
    m_export->setText(Lang::pick(QStringLiteral("导出CSV"), QStringLiteral("匯出CSV"), QStringLiteral("Export CSV")));
    m_tree->setHeaderLabels({ Lang::pick(QStringLiteral("信号"), QStringLiteral("信號"), QStringLiteral("Signal")),
        Lang::pick(QStringLiteral("最新值"), QStringLiteral("最新值"), QStringLiteral("Last value")) });
    m_axisX->setTitleText(
        Lang::pick(QStringLiteral("时间 (s)"), QStringLiteral("時間 (s)"), QStringLiteral("time (s)")));
    for (int i = 0; i < m_tree->topLevelItemCount(); ++i) {
        QTreeWidgetItem *top = m_tree->topLevelItem(i);
        top->setText(0, channelText(top->data(0, ChannelRole).toInt()));
    }
    m_chart->setTitle(m_lines.isEmpty() ? Lang::pick(QStringLiteral("勾选左侧列表中的信号，在此绘制曲线"),
                          QStringLiteral("勾選左側列表中的信號，在此繪製曲線"),
                          QStringLiteral("Tick signals in the list to plot them here"))
                                        : QString());
}

int SignalPlot::minutes() const { return m_minutes->value(); }

void SignalPlot::setMinutes(int minutes) { m_minutes->setValue(minutes); }

void SignalPlot::rebuild()
{
    m_filling = true;
    m_tree->clear();
    for (int ch = 0; ch < SignalRecorder::kChannels; ++ch) {
        const SignalDecoder &decoder = m_recorder->decoder(ch);
        if (decoder.isEmpty())
            continue;
        auto *top = new QTreeWidgetItem(m_tree);
        top->setData(0, ChannelRole, ch);
        top->setText(0, channelText(ch));
        for (size_t mi = 0; mi < decoder.messages().size(); ++mi) {
            const DbcMessage &m = *decoder.messages()[mi];
            auto *message = new QTreeWidgetItem(top);
            message->setText(0, QStringLiteral("%1  %2").arg(m.name, idText(m)));
            message->setData(0, ChannelRole, ch);
            message->setData(0, MessageRole, int(mi));
            message->setData(0, SignalRole, -1);
            if (!m.comment.isEmpty())
                message->setToolTip(0, m.comment);
            for (int si = 0; si < m.signalList.size(); ++si) {
                const DbcSignal &s = m.signalList.at(si);
                auto *item = new QTreeWidgetItem(message);
                item->setText(0, s.name);
                item->setData(0, ChannelRole, ch);
                item->setData(0, MessageRole, int(mi));
                item->setData(0, SignalRole, si);
                item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
                item->setCheckState(0, m_recorder->isChosen(ch, int(mi), si) ? Qt::Checked : Qt::Unchecked);
                if (!s.comment.isEmpty())
                    item->setToolTip(0, s.comment);
            }
        }
        top->setExpanded(true);
        // A small database shows its values at once; a big one opens message by message.
        if (decoder.messages().size() <= 32)
            for (int k = 0; k < top->childCount(); ++k)
                top->child(k)->setExpanded(true);
    }
    m_tree->resizeColumnToContents(0);
    m_filling = false;
    rebuildLines();
    updateValues();
}

void SignalPlot::itemChanged(QTreeWidgetItem *item, int column)
{
    if (m_filling || column != 0 || item->data(0, SignalRole).toInt() < 0 || !item->parent()
        || !item->parent()->parent())
        return;
    m_recorder->choose(item->data(0, ChannelRole).toInt(), item->data(0, MessageRole).toInt(),
        item->data(0, SignalRole).toInt(), item->checkState(0) == Qt::Checked);
    rebuildLines();
    updateChart();
}

void SignalPlot::rebuildLines()
{
    m_chart->removeAllSeries();
    m_lines.clear();
    for (const SignalRecorder::Series &s : m_recorder->series()) {
        const DbcMessage &m = *m_recorder->decoder(s.channel).messages()[size_t(s.message)];
        const DbcSignal &sig = m.signalList.at(s.signal);
        auto *line = new QLineSeries;
        QString name = QStringLiteral("%1.%2").arg(m.name, sig.name);
        if (!sig.unit.isEmpty())
            name += QStringLiteral(" (%1)").arg(sig.unit);
        if (m_recorder->decoder(1 - s.channel).messages().size())
            name = QStringLiteral("%1 %2").arg(s.channel + 1).arg(name);
        line->setName(name);
        m_chart->addSeries(line);
        line->attachAxis(m_axisX);
        line->attachAxis(m_axisY);
        m_lines.append(line);
    }
    retranslate();
}

void SignalPlot::refresh()
{
    const double now = m_recorder->now();
    m_recorder->trim(now - 60.0 * m_minutes->value());
    if (!isVisible() || m_pause->isChecked())
        return;
    updateValues();
    updateChart();
}

void SignalPlot::updateValues()
{
    for (int t = 0; t < m_tree->topLevelItemCount(); ++t) {
        QTreeWidgetItem *top = m_tree->topLevelItem(t);
        const int ch = top->data(0, ChannelRole).toInt();
        for (int k = 0; k < top->childCount(); ++k) {
            QTreeWidgetItem *message = top->child(k);
            // Only what can be seen: a message's values are decoded while it is open.
            if (!message->isExpanded())
                continue;
            const int mi = message->data(0, MessageRole).toInt();
            const quint64 serial = m_recorder->lastSerial(ch, mi);
            if (serial == 0 || message->data(1, Qt::UserRole).toULongLong() == serial)
                continue;
            message->setData(1, Qt::UserRole, serial);
            for (const DecodedSignal &d : m_recorder->lastValues(ch, mi)) {
                const int si = int(d.signal - d.message->signalList.constData());
                QString text = d.physicalText();
                if (!d.signal->unit.isEmpty())
                    text += QLatin1Char(' ') + d.signal->unit;
                const QString description = d.description();
                if (!description.isEmpty())
                    text += QStringLiteral("  ") + description;
                if (si >= 0 && si < message->childCount() && message->child(si)->text(1) != text)
                    message->child(si)->setText(1, text);
            }
        }
    }
}

void SignalPlot::updateChart()
{
    const double window = 60.0 * m_minutes->value();
    const double now = m_recorder->now();
    // From the oldest value kept (at most the kept minutes back), at least ten seconds wide.
    double oldest = now;
    for (const SignalRecorder::Series &s : m_recorder->series())
        if (!s.points.isEmpty())
            oldest = std::min(oldest, s.points.first().x());
    const double to = now;
    const double from = std::max({ 0.0, std::min(oldest, to - 10.0), to - window });
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::lowest();
    const auto &series = m_recorder->series();
    for (int i = 0; i < m_lines.size() && i < int(series.size()); ++i) {
        const QVector<QPointF> points = thinned(series[size_t(i)].points, from, to);
        for (const QPointF &p : points) {
            if (std::isfinite(p.y())) {
                low = std::min(low, p.y());
                high = std::max(high, p.y());
            }
        }
        m_lines[i]->replace(points);
    }
    if (low > high) {
        low = 0;
        high = 1;
    } else if (low == high) {
        low -= 1;
        high += 1;
    } else {
        const double margin = (high - low) * 0.05;
        low -= margin;
        high += margin;
    }
    m_axisX->setRange(from, to);
    m_axisY->setRange(low, high);
}

QVector<int> SignalPlot::drawnPoints() const
{
    QVector<int> out;
    for (QLineSeries *line : m_lines)
        out << line->count();
    return out;
}

bool SignalPlot::writeCsv(const QString &path) const
{
    struct Row {
        double time;
        int series;
        double value;
    };
    std::vector<Row> rows;
    const auto &series = m_recorder->series();
    for (size_t i = 0; i < series.size(); ++i)
        for (const QPointF &p : series[i].points)
            rows.push_back({ p.x(), int(i), p.y() });
    std::stable_sort(rows.begin(), rows.end(), [](const Row &a, const Row &b) { return a.time < b.time; });
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QByteArray out = Lang::pick(QStringLiteral("时间(s),通道,报文,信号,物理值,单位"),
                         QStringLiteral("時間(s),通道,報文,信號,物理值,單位"),
                         QStringLiteral("time (s),channel,message,signal,physical,unit"))
                         .toUtf8()
        + '\n';
    for (const Row &r : rows) {
        const SignalRecorder::Series &s = series[size_t(r.series)];
        const DbcMessage &m = *m_recorder->decoder(s.channel).messages()[size_t(s.message)];
        const DbcSignal &sig = m.signalList.at(s.signal);
        out += QByteArray::number(r.time, 'f', 6) + ',' + QByteArray::number(s.channel + 1) + ',' + m.name.toUtf8()
            + ',' + sig.name.toUtf8() + ',' + SignalDecoder::numberText(r.value).toUtf8() + ',' + sig.unit.toUtf8()
            + '\n';
        if (out.size() > (1 << 20)) {
            file.write(out);
            out.clear();
        }
    }
    file.write(out);
    return file.commit();
}

void SignalPlot::exportClicked()
{
    const QString path = FileDialogs::getSaveFileName(this,
        Lang::pick(
            QStringLiteral("导出信号曲线"), QStringLiteral("匯出信號曲線"), QStringLiteral("Export signal plot")),
        QString(), QStringLiteral("CSV (*.csv)"));
    if (path.isEmpty())
        return;
    if (!writeCsv(path))
        Prompt::warning(this, Lang::warningTitle(),
            Lang::pick(QStringLiteral("无法写入文件 %1"), QStringLiteral("無法寫入文件 %1"),
                QStringLiteral("Cannot write the file %1"))
                .arg(path));
}

void SignalPlot::clearClicked()
{
    m_recorder->clearPoints();
    updateChart();
}
