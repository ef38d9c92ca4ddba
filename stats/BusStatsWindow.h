#pragma once
// The "bus statistics" window: per channel, the last second's bus load, the
// peak load since reset, frames per second by kind, error frames and frames
// lost before display, and a chart of load and frames per second over the
// last 1, 10 or 60 minutes, exportable as CSV and PNG. It counts only while it
// is open: closing it switches the counting off.
#include "BusStatistics.h"

#include <QDialog>
#include <QElapsedTimer>
#include <QTimer>

class QComboBox;
class QLabel;
class QPushButton;
class QGroupBox;

namespace QtCharts {
class QChart;
class QChartView;
class QDateTimeAxis;
class QLineSeries;
class QValueAxis;
}

class BusStatsWindow : public QDialog {
    Q_OBJECT
public:
    explicit BusStatsWindow(QWidget *parent = nullptr);
    ~BusStatsWindow() override;

    // Figure rows, top to bottom; each has one value label per channel,
    // named "ch<1|2>_<row name>" (see kRowNames in the .cpp).
    enum Row { Load, Peak, Frames, Classic, Fd, Remote, Extended, Errors, ErrorTotal, Lost, LostTotal, RowCount };

    // Ends the current interval now as if elapsedMs had passed, then shows
    // the figures (the one-second timer calls it with the measured time).
    void sampleNow(qint64 elapsedMs);
    void resetFigures();
    void exportCsv();
    void exportPng();

    const BusStatistics &statistics() const { return m_stats; }
    QtCharts::QLineSeries *loadSeries(int ch) const { return m_load[ch ? 1 : 0]; }
    QtCharts::QLineSeries *rateSeries(int ch) const { return m_rate[ch ? 1 : 0]; }
    QLabel *valueLabel(int ch, Row row) const { return m_values[ch ? 1 : 0][row]; }
    // The chart's span in minutes: 1, 10 or 60.
    int spanMinutes() const;
    // The one-second timer (runs while the window is open); tests stop it
    // and take the samples themselves.
    QTimer *sampleTimer() { return &m_timer; }

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void retranslate();
    void showFigures();
    void updateChart();
    qint64 spanStart() const;

    BusStatistics m_stats;
    QTimer m_timer;
    QElapsedTimer m_clock;

    QGroupBox *m_figures = nullptr;
    QLabel *m_rowTitles[RowCount] = {};
    QLabel *m_channelTitles[2] = {};
    QLabel *m_values[2][RowCount] = {};
    QLabel *m_note = nullptr;
    QLabel *m_spanLabel = nullptr;
    QComboBox *m_span = nullptr;
    QPushButton *m_reset = nullptr;
    QPushButton *m_csv = nullptr;
    QPushButton *m_png = nullptr;
    QtCharts::QChartView *m_chartView = nullptr;
    QtCharts::QChart *m_chart = nullptr;
    QtCharts::QDateTimeAxis *m_timeAxis = nullptr;
    QtCharts::QValueAxis *m_loadAxis = nullptr;
    QtCharts::QValueAxis *m_rateAxis = nullptr;
    QtCharts::QLineSeries *m_load[2] = {};
    QtCharts::QLineSeries *m_rate[2] = {};
};
