#pragma once
// The signal list and plot: every signal of the loaded databases with its
// last value, and a plot over time of the ones ticked in the list. The plot
// keeps the last N minutes, can be paused (values keep being recorded) and
// written to a CSV file.
#include <QVector>
#include <QWidget>

class QCheckBox;
class QLabel;
class QPushButton;
class QSpinBox;
class QTimer;
class QTreeWidget;
class QTreeWidgetItem;
class SignalRecorder;

namespace QtCharts {
class QChart;
class QChartView;
class QLineSeries;
class QValueAxis;
}

class SignalPlot : public QWidget {
    Q_OBJECT
public:
    explicit SignalPlot(SignalRecorder *recorder, QWidget *parent = nullptr);

    // The databases changed: the list is made again, nothing is ticked.
    void rebuild();
    // Drops values older than the kept minutes; when shown and not paused,
    // brings the list's last values and the plot up to date (every half second).
    void refresh();
    void retranslate();

    int minutes() const;
    void setMinutes(int minutes);
    // Every kept value of the plotted signals, oldest first: time (s), channel,
    // message, signal, physical value, unit.
    bool writeCsv(const QString &path) const;

    QTreeWidget *signalTree() const { return m_tree; }
    QtCharts::QChartView *chartView() const { return m_view; }
    QCheckBox *pauseBox() const { return m_pause; }
    QPushButton *exportButton() const { return m_export; }
    // Points the plot draws now, per plotted signal (tests look at what is drawn).
    QVector<int> drawnPoints() const;

signals:
    void minutesChanged(int minutes);

private:
    void itemChanged(QTreeWidgetItem *item, int column);
    void rebuildLines();
    void updateValues();
    void updateChart();
    void exportClicked();
    void clearClicked();

    SignalRecorder *m_recorder;
    QCheckBox *m_pause = nullptr;
    QLabel *m_keepLabel = nullptr;
    QSpinBox *m_minutes = nullptr;
    QPushButton *m_clear = nullptr;
    QPushButton *m_export = nullptr;
    QTreeWidget *m_tree = nullptr;
    QtCharts::QChartView *m_view = nullptr;
    QtCharts::QChart *m_chart = nullptr;
    QtCharts::QValueAxis *m_axisX = nullptr;
    QtCharts::QValueAxis *m_axisY = nullptr;
    QVector<QtCharts::QLineSeries *> m_lines; // one per recorder series, same order
    QTimer *m_timer = nullptr;
    bool m_filling = false;
};
