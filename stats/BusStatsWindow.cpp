#include "BusStatsWindow.h"

#include "DeviceLayer.h"
#include "DpiScaler.h"
#include "FileDialogs.h"
#include "Lang.h"
#include "Prompt.h"

#include <QComboBox>
#include <QDateTime>
#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSaveFile>
#include <QShowEvent>
#include <QVBoxLayout>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QDateTimeAxis>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>
#include <algorithm>
#include <cmath>

using namespace QtCharts;

namespace {
const char *const kRowNames[BusStatsWindow::RowCount]
    = { "load", "peak", "frames", "classic", "fd", "remote", "extended", "errors", "errorTotal", "lost", "lostTotal" };
const int kSpans[] = { 1, 10, 60 };
const QColor kChannelColours[2] = { QColor(0x1f, 0x77, 0xb4), QColor(0xd6, 0x27, 0x28) };

QString dash() { return QStringLiteral("—"); }

QString perSecondText(quint64 n) { return QString::number(n) + QStringLiteral("/s"); }

QString percentText(double load) { return load < 0 ? dash() : QString::number(load, 'f', 2) + QStringLiteral(" %"); }

// The next round number (1, 2 or 5 times a power of ten) not below x.
double roundUp(double x)
{
    if (x <= 10)
        return 10;
    const double p = std::pow(10.0, std::floor(std::log10(x)));
    for (double m : { 1.0, 2.0, 5.0, 10.0 }) {
        if (m * p >= x)
            return m * p;
    }
    return 10 * p;
}
} // namespace

BusStatsWindow::BusStatsWindow(QWidget *parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("BusStatsWindow"));
    setWindowFlag(Qt::Window);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    setWindowFlag(Qt::WindowMinMaxButtonsHint);

    m_figures = new QGroupBox(this);
    auto *grid = new QGridLayout(m_figures);
    for (int ch = 0; ch < 2; ++ch) {
        m_channelTitles[ch] = new QLabel(m_figures);
        grid->addWidget(m_channelTitles[ch], 0, ch + 1, Qt::AlignRight);
    }
    for (int row = 0; row < RowCount; ++row) {
        m_rowTitles[row] = new QLabel(m_figures);
        grid->addWidget(m_rowTitles[row], row + 1, 0);
        for (int ch = 0; ch < 2; ++ch) {
            QLabel *value = new QLabel(dash(), m_figures);
            value->setObjectName(QStringLiteral("ch%1_%2").arg(ch + 1).arg(QLatin1String(kRowNames[row])));
            value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
            value->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("000000/s")) + 8);
            grid->addWidget(value, row + 1, ch + 1);
            m_values[ch][row] = value;
        }
    }
    grid->setRowStretch(RowCount + 1, 1);

    m_chart = new QChart;
    m_chart->legend()->setAlignment(Qt::AlignBottom);
    m_chart->setMargins(QMargins(4, 4, 4, 4));
    m_timeAxis = new QDateTimeAxis(m_chart);
    m_timeAxis->setFormat(QStringLiteral("hh:mm:ss"));
    m_timeAxis->setTickCount(7);
    m_loadAxis = new QValueAxis(m_chart);
    m_loadAxis->setLabelFormat(QStringLiteral("%.0f"));
    m_loadAxis->setRange(0, 100);
    m_rateAxis = new QValueAxis(m_chart);
    m_rateAxis->setLabelFormat(QStringLiteral("%.0f"));
    m_rateAxis->setRange(0, 10);
    m_chart->addAxis(m_timeAxis, Qt::AlignBottom);
    m_chart->addAxis(m_loadAxis, Qt::AlignLeft);
    m_chart->addAxis(m_rateAxis, Qt::AlignRight);
    for (int ch = 0; ch < 2; ++ch) {
        m_load[ch] = new QLineSeries(m_chart);
        m_load[ch]->setObjectName(QStringLiteral("ch%1LoadSeries").arg(ch + 1));
        // Channel 1 is drawn first and wider, so it still shows where both
        // channels see the same frames.
        m_load[ch]->setPen(QPen(kChannelColours[ch], ch ? 1.5 : 4));
        m_rate[ch] = new QLineSeries(m_chart);
        m_rate[ch]->setObjectName(QStringLiteral("ch%1RateSeries").arg(ch + 1));
        m_rate[ch]->setPen(QPen(kChannelColours[ch], ch ? 1 : 3, Qt::DashLine));
        for (QLineSeries *s : { m_load[ch], m_rate[ch] }) {
            m_chart->addSeries(s);
            s->attachAxis(m_timeAxis);
        }
        m_load[ch]->attachAxis(m_loadAxis);
        m_rate[ch]->attachAxis(m_rateAxis);
    }
    m_chartView = new QChartView(m_chart, this);
    m_chartView->setObjectName(QStringLiteral("chartView"));
    m_chartView->setRenderHint(QPainter::Antialiasing);
    m_chartView->setMinimumSize(480, 300);

    m_spanLabel = new QLabel(this);
    m_span = new QComboBox(this);
    m_span->setObjectName(QStringLiteral("spanCombo"));
    m_span->addItems({ QString(), QString(), QString() });
    m_reset = new QPushButton(this);
    m_reset->setObjectName(QStringLiteral("resetBtn"));
    m_csv = new QPushButton(this);
    m_csv->setObjectName(QStringLiteral("exportCsvBtn"));
    m_png = new QPushButton(this);
    m_png->setObjectName(QStringLiteral("exportPngBtn"));
    m_note = new QLabel(this);
    m_note->setObjectName(QStringLiteral("noteLabel"));
    m_note->setWordWrap(true);

    auto *top = new QHBoxLayout;
    top->addWidget(m_figures);
    top->addWidget(m_chartView, 1);
    auto *controls = new QHBoxLayout;
    controls->addWidget(m_spanLabel);
    controls->addWidget(m_span);
    controls->addStretch(1);
    controls->addWidget(m_reset);
    controls->addWidget(m_csv);
    controls->addWidget(m_png);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(top, 1);
    layout->addLayout(controls);
    layout->addWidget(m_note);

    connect(m_span, qOverload<int>(&QComboBox::currentIndexChanged), this, &BusStatsWindow::updateChart);
    connect(m_reset, &QPushButton::clicked, this, &BusStatsWindow::resetFigures);
    connect(m_csv, &QPushButton::clicked, this, &BusStatsWindow::exportCsv);
    connect(m_png, &QPushButton::clicked, this, &BusStatsWindow::exportPng);
    m_timer.setInterval(1000);
    connect(&m_timer, &QTimer::timeout, this, [this] { sampleNow(m_clock.restart()); });

    retranslate();
    resize(1040, 560);
    DpiScaler::attach(this);
    updateChart();
}

BusStatsWindow::~BusStatsWindow() { m_stats.stop(); }

int BusStatsWindow::spanMinutes() const { return kSpans[std::clamp(m_span->currentIndex(), 0, 2)]; }

void BusStatsWindow::retranslate()
{
    setWindowTitle(
        Lang::pick(QStringLiteral("总线统计"), QStringLiteral("總線統計"), QStringLiteral("Bus Statistics")));
    m_figures->setTitle(
        Lang::pick(QStringLiteral("每秒统计"), QStringLiteral("每秒統計"), QStringLiteral("Per second")));
    const QString rows[RowCount][3] = {
        { QStringLiteral("总线负载率"), QStringLiteral("總線負載率"), QStringLiteral("Bus load") },
        { QStringLiteral("峰值负载率"), QStringLiteral("峰值負載率"), QStringLiteral("Peak load") },
        { QStringLiteral("帧率"), QStringLiteral("幀率"), QStringLiteral("Frames") },
        { QStringLiteral("CAN帧"), QStringLiteral("CAN幀"), QStringLiteral("CAN frames") },
        { QStringLiteral("CANFD帧"), QStringLiteral("CANFD幀"), QStringLiteral("CAN FD frames") },
        { QStringLiteral("远程帧"), QStringLiteral("遠程幀"), QStringLiteral("Remote frames") },
        { QStringLiteral("扩展帧"), QStringLiteral("擴展幀"), QStringLiteral("Extended frames") },
        { QStringLiteral("错误帧"), QStringLiteral("錯誤幀"), QStringLiteral("Error frames") },
        { QStringLiteral("错误帧总计"), QStringLiteral("錯誤幀總計"), QStringLiteral("Error frames, total") },
        { QStringLiteral("丢失帧"), QStringLiteral("丟失幀"), QStringLiteral("Lost frames") },
        { QStringLiteral("丢失帧总计"), QStringLiteral("丟失幀總計"), QStringLiteral("Lost frames, total") },
    };
    for (int row = 0; row < RowCount; ++row)
        m_rowTitles[row]->setText(Lang::pick(rows[row][0], rows[row][1], rows[row][2]));
    for (int ch = 0; ch < 2; ++ch) {
        const QString n = QString::number(ch + 1);
        m_channelTitles[ch]->setText(
            Lang::pick(QStringLiteral("通道%1"), QStringLiteral("通道%1"), QStringLiteral("Channel %1")).arg(n));
        m_load[ch]->setName(Lang::pick(
            QStringLiteral("通道%1负载率(%)"), QStringLiteral("通道%1負載率(%)"), QStringLiteral("Channel %1 load (%)"))
                                .arg(n));
        m_rate[ch]->setName(Lang::pick(
            QStringLiteral("通道%1帧/s"), QStringLiteral("通道%1幀/s"), QStringLiteral("Channel %1 frames/s"))
                                .arg(n));
    }
    m_loadAxis->setTitleText(
        Lang::pick(QStringLiteral("负载率(%)"), QStringLiteral("負載率(%)"), QStringLiteral("Load (%)")));
    m_rateAxis->setTitleText(Lang::pick(QStringLiteral("帧/s"), QStringLiteral("幀/s"), QStringLiteral("Frames/s")));
    m_spanLabel->setText(
        Lang::pick(QStringLiteral("图表时长："), QStringLiteral("圖表時長："), QStringLiteral("Chart span:")));
    for (int i = 0; i < 3; ++i) {
        const QString n = QString::number(kSpans[i]);
        m_span->setItemText(
            i, Lang::pick(QStringLiteral("%1 分钟"), QStringLiteral("%1 分鐘"), QStringLiteral("%1 min")).arg(n));
    }
    m_reset->setText(Lang::pick(QStringLiteral("复位统计"), QStringLiteral("復位統計"), QStringLiteral("Reset")));
    m_csv->setText(Lang::pick(QStringLiteral("导出CSV"), QStringLiteral("導出CSV"), QStringLiteral("Export CSV")));
    m_png->setText(Lang::pick(QStringLiteral("导出PNG"), QStringLiteral("導出PNG"), QStringLiteral("Export PNG")));
    QString note = Lang::pick(QStringLiteral("负载率按通道配置的仲裁域和数据域波特率计算，填充位按最坏情况估计；"
                                             "自定义波特率时负载率未知（“—”）。"),
        QStringLiteral("負載率按通道配置的仲裁域和數據域波特率計算，填充位按最壞情況估計；"
                       "自定義波特率時負載率未知（“—”）。"),
        QStringLiteral("Load is counted at the channel's configured arbitration and data bit rates, stuff bits "
                       "estimated as the worst case; with a custom bit rate the load is unknown (\"—\")."));
    if (!hasBusCounters())
        note += QLatin1Char(' ')
            + Lang::pick(QStringLiteral("驱动库不报告错误帧和丢失帧（“—”）。"),
                QStringLiteral("驅動庫不報告錯誤幀和丟失幀（“—”）。"),
                QStringLiteral("The driver library reports no error frames and no lost frames (\"—\")."));
    m_note->setText(note);
}

void BusStatsWindow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        retranslate();
    QDialog::changeEvent(event);
}

// Minimising hides the window too (a spontaneous event): counting goes on.
void BusStatsWindow::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (event->spontaneous() || m_stats.running())
        return;
    m_stats.start();
    m_clock.start();
    m_timer.start();
    retranslate();
    showFigures();
}

void BusStatsWindow::hideEvent(QHideEvent *event)
{
    QDialog::hideEvent(event);
    if (event->spontaneous())
        return;
    m_timer.stop();
    m_stats.stop();
}

void BusStatsWindow::sampleNow(qint64 elapsedMs)
{
    m_stats.sample(QDateTime::currentMSecsSinceEpoch(), elapsedMs);
    showFigures();
    updateChart();
}

void BusStatsWindow::resetFigures()
{
    m_stats.reset();
    showFigures();
}

void BusStatsWindow::showFigures()
{
    const auto &history = m_stats.history();
    for (int ch = 0; ch < 2; ++ch) {
        QLabel *const *v = m_values[ch];
        v[Peak]->setText(percentText(m_stats.peak(ch)));
        const bool reported = hasBusCounters();
        v[ErrorTotal]->setText(reported ? QString::number(m_stats.errorTotal(ch)) : dash());
        v[LostTotal]->setText(reported ? QString::number(m_stats.lostTotal(ch)) : dash());
        if (history.empty())
            continue;
        const BusStatistics::Sample &s = history.back();
        const BusStatistics::Channel &c = s.ch[ch];
        auto rate = [&](quint64 n) { return perSecondText(BusStatistics::perSecond(n, s.elapsedMs)); };
        v[Load]->setText(percentText(c.load));
        v[Frames]->setText(rate(c.frames));
        v[Classic]->setText(rate(c.classic));
        v[Fd]->setText(rate(c.fd));
        v[Remote]->setText(rate(c.remote));
        v[Extended]->setText(rate(c.extended));
        v[Errors]->setText(c.errors < 0 ? dash() : rate(quint64(c.errors)));
        v[Lost]->setText(c.lost < 0 ? dash() : rate(quint64(c.lost)));
    }
}

qint64 BusStatsWindow::spanStart() const
{
    const auto &history = m_stats.history();
    const qint64 end = history.empty() ? QDateTime::currentMSecsSinceEpoch() : history.back().time;
    return end - qint64(spanMinutes()) * 60000;
}

void BusStatsWindow::updateChart()
{
    const qint64 from = spanStart();
    const qint64 to = from + qint64(spanMinutes()) * 60000;
    QVector<QPointF> load[2];
    QVector<QPointF> rate[2];
    double loadTop = 100;
    double rateTop = 0;
    for (const BusStatistics::Sample &s : m_stats.history()) {
        if (s.time < from)
            continue;
        for (int ch = 0; ch < 2; ++ch) {
            const BusStatistics::Channel &c = s.ch[ch];
            const double frames = double(BusStatistics::perSecond(c.frames, s.elapsedMs));
            // An unknown load is left out of the line rather than drawn as 0.
            if (c.load >= 0) {
                load[ch].append(QPointF(double(s.time), c.load));
                loadTop = std::max(loadTop, c.load);
            }
            rate[ch].append(QPointF(double(s.time), frames));
            rateTop = std::max(rateTop, frames);
        }
    }
    for (int ch = 0; ch < 2; ++ch) {
        m_load[ch]->replace(load[ch]);
        m_rate[ch]->replace(rate[ch]);
    }
    m_timeAxis->setRange(QDateTime::fromMSecsSinceEpoch(from), QDateTime::fromMSecsSinceEpoch(to));
    m_loadAxis->setRange(0, roundUp(loadTop));
    m_rateAxis->setRange(0, roundUp(rateTop * 1.1));
}

void BusStatsWindow::exportCsv()
{
    const QString path = FileDialogs::getSaveFileName(this,
        Lang::pick(QStringLiteral("导出统计数据"), QStringLiteral("導出統計數據"), QStringLiteral("Export statistics")),
        QString(), QStringLiteral("CSV (*.csv)"));
    if (path.isEmpty())
        return;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(m_stats.csv(spanStart())) < 0 || !file.commit())
        Prompt::warning(this, Lang::warningTitle(),
            Lang::pick(QStringLiteral("无法写入文件："), QStringLiteral("無法寫入文件："),
                QStringLiteral("Cannot write file: "))
                + path);
}

void BusStatsWindow::exportPng()
{
    const QString path = FileDialogs::getSaveFileName(this,
        Lang::pick(QStringLiteral("导出图表"), QStringLiteral("導出圖表"), QStringLiteral("Export chart")), QString(),
        QStringLiteral("PNG (*.png)"));
    if (path.isEmpty())
        return;
    if (!m_chartView->grab().save(path, "PNG"))
        Prompt::warning(this, Lang::warningTitle(),
            Lang::pick(QStringLiteral("无法写入文件："), QStringLiteral("無法寫入文件："),
                QStringLiteral("Cannot write file: "))
                + path);
}
