// The frame list model under QAbstractItemModelTester: roles, merging by
// (channel, identifier, direction), removal, cell access, filter conditions
// and the title marks they leave.
#include "MyTableModel.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QtTest>

namespace {
using Steps = QList<QPair<int, QStringList>>; // (column, accepted texts) in turn

const QStringList kTitles
    = { "index", "system time", "time stamp", "channel", "Rx/Tx", "ID", "Frame", "type", "DLC", "CAN-FD", "data" };

ModelItem item(const QString &index, const QString &channel, const QString &id, const QString &dir,
    const QString &data = QStringLiteral("x| "))
{
    ModelItem m;
    m.indexText = index;
    m.systemTime = QStringLiteral("10:00:00.") + index.rightJustified(3, QLatin1Char('0'));
    m.timeStamp = QStringLiteral("0x") + index;
    m.channelText = channel;
    m.dirText = dir;
    m.idText = id;
    m.formatText = id.size() > 5 ? QStringLiteral("Extended Frame") : QStringLiteral("Standard Frame");
    m.typeText = QStringLiteral("data frame");
    m.dlcText = QStringLiteral("0");
    m.protocolText = QStringLiteral("CAN");
    m.dataText = data;
    return m;
}

QStringList column(const MyTableModel &model, int col)
{
    QStringList out;
    for (int r = 0; r < model.rowCount(); ++r)
        out << model.cellText(r, col);
    return out;
}
} // namespace

class tst_Model : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void dataFollowsColumnOrder();
    void rolesAndInvalidIndexes_data();
    void rolesAndInvalidIndexes();
    void setData_data();
    void setData();
    void appendRowsOneNotification();
    void mergeRow_data();
    void mergeRow();
    void removeFirstRows_data();
    void removeFirstRows();
    void clearRemovesAll();
    void cellTextBounds_data();
    void cellTextBounds();
    void headerChanges();
    void filterMarks_data();
    void filterMarks();
    void acceptsRow_data();
    void acceptsRow();

private:
    MyTableModel *m_model = nullptr;
    QAbstractItemModelTester *m_tester = nullptr;
};

void tst_Model::initTestCase() { qRegisterMetaType<Qt::Orientation>(); }

void tst_Model::init()
{
    m_model = new MyTableModel;
    m_tester = new QAbstractItemModelTester(m_model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    m_model->setHeader(kTitles);
}

void tst_Model::cleanup()
{
    delete m_tester;
    delete m_model;
}

void tst_Model::dataFollowsColumnOrder()
{
    ModelItem m = item("1", "2", "0x123", "Rx", "x| 01 ");
    m.channel = 1;
    m.direction = 1;
    m_model->appendRows({ m });
    const QStringList expected
        = { "1", "10:00:00.001", "0x1", "2", "Rx", "0x123", "Standard Frame", "data frame", "0", "CAN", "x| 01 " };
    for (int c = 0; c < 11; ++c) {
        QCOMPARE(m_model->data(m_model->index(0, c)).toString(), expected.at(c));
        QCOMPARE(m_model->data(m_model->index(0, c), Qt::EditRole).toString(), expected.at(c));
    }
}

void tst_Model::rolesAndInvalidIndexes_data()
{
    QTest::addColumn<int>("titles");
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("column");
    QTest::addColumn<int>("role");
    QTest::addColumn<bool>("valid");

    QTest::newRow("display") << 11 << 0 << 5 << int(Qt::DisplayRole) << true;
    QTest::newRow("tool tip") << 11 << 0 << 5 << int(Qt::ToolTipRole) << false;
    QTest::newRow("alignment") << 11 << 0 << 0 << int(Qt::TextAlignmentRole) << false;
    QTest::newRow("background") << 11 << 0 << 0 << int(Qt::BackgroundRole) << false;
    QTest::newRow("twelfth column of a longer header") << 12 << 0 << 11 << int(Qt::DisplayRole) << false;
    QTest::newRow("row past the end") << 11 << 3 << 0 << int(Qt::DisplayRole) << false;
}

void tst_Model::rolesAndInvalidIndexes()
{
    QFETCH(int, titles);
    QFETCH(int, row);
    QFETCH(int, column);
    QFETCH(int, role);
    m_model->setHeader(kTitles + QStringList(QStringLiteral("extra")).mid(0, titles - 11));
    m_model->appendRows({ item("1", "1", "0x123", "Rx") });
    QTEST(m_model->data(m_model->index(row, column), role).isValid(), "valid");
}

void tst_Model::setData_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<int>("role");
    QTest::addColumn<bool>("result");
    QTest::addColumn<bool>("stored");
    QTest::addColumn<int>("signals");

    QTest::newRow("edit role") << 10 << int(Qt::EditRole) << true << true << 1;
    QTest::newRow("display role") << 0 << int(Qt::DisplayRole) << true << true << 1;
    QTest::newRow("other role") << 3 << int(Qt::ToolTipRole) << false << false << 0;
    QTest::newRow("column 11 reports but stores nothing") << 11 << int(Qt::EditRole) << true << false << 1;
}

void tst_Model::setData()
{
    QFETCH(int, column);
    QFETCH(int, role);
    m_model->setHeader(kTitles + QStringList { QStringLiteral("extra") });
    m_model->appendRows({ item("1", "1", "0x123", "Rx") });
    QSignalSpy changed(m_model, &QAbstractItemModel::dataChanged);
    const QModelIndex idx = m_model->index(0, column);
    QTEST(m_model->setData(idx, QStringLiteral("new"), role), "result");
    QTEST(changed.count(), "signals");
    if (changed.count()) {
        QCOMPARE(changed.first().at(0).toModelIndex(), idx);
        QCOMPARE(changed.first().at(2).value<QVector<int>>(), QVector<int> { role });
    }
    QTEST(m_model->cellText(0, column) == QLatin1String("new"), "stored");
    QVERIFY(!m_model->setData(QModelIndex(), QStringLiteral("x"), Qt::EditRole));
}

void tst_Model::appendRowsOneNotification()
{
    m_model->appendRows({ item("1", "1", "0x1", "Rx") });
    QSignalSpy inserted(m_model, &QAbstractItemModel::rowsInserted);
    m_model->appendRows({ item("2", "1", "0x2", "Rx"), item("3", "1", "0x3", "Rx"), item("4", "2", "0x4", "Tx") });
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(inserted.first().at(1).toInt(), 1);
    QCOMPARE(inserted.first().at(2).toInt(), 3);
    QCOMPARE(column(*m_model, 0), (QStringList { "1", "2", "3", "4" }));
    m_model->appendRows({});
    QCOMPARE(inserted.count(), 1);
}

void tst_Model::mergeRow_data()
{
    QTest::addColumn<QList<ModelItem>>("rows");
    QTest::addColumn<ModelItem>("merged");
    QTest::addColumn<QStringList>("indexes"); // index column afterwards
    QTest::addColumn<int>("resets");

    const QList<ModelItem> three
        = { item("1", "1", "0x123", "Rx"), item("2", "1", "0x456", "Rx"), item("3", "2", "0x123", "Rx") };
    QTest::newRow("empty model") << QList<ModelItem> {} << item("9", "1", "0x123", "Rx") << QStringList { "9" } << 0;
    QTest::newRow("same key overwrites in place")
        << three << item("9", "1", "0x456", "Rx") << QStringList { "1", "9", "3" } << 1;
    QTest::newRow("other direction is a new row")
        << three << item("9", "1", "0x456", "Tx") << QStringList { "1", "2", "3", "9" } << 0;
    QTest::newRow("other channel is a new row")
        << three << item("9", "2", "0x456", "Rx") << QStringList { "1", "2", "3", "9" } << 0;
    QTest::newRow("extended text of the same number is a new row")
        << three << item("9", "1", "0x00000123", "Rx") << QStringList { "1", "2", "3", "9" } << 0;
    QTest::newRow("identifier compared case-sensitively")
        << QList<ModelItem> { item("1", "1", "0x1AB", "Rx") } << item("9", "1", "0x1ab", "Rx")
        << QStringList { "1", "9" } << 0;
    QTest::newRow("oldest of two equal rows")
        << QList<ModelItem> { item("1", "1", "0x7", "Rx"), item("2", "1", "0x7", "Rx") } << item("9", "1", "0x7", "Rx")
        << QStringList { "9", "2" } << 1;
}

void tst_Model::mergeRow()
{
    QFETCH(QList<ModelItem>, rows);
    QFETCH(ModelItem, merged);
    m_model->appendRows(rows);
    QSignalSpy resets(m_model, &QAbstractItemModel::modelReset);
    m_model->mergeRow(merged);
    QTEST(column(*m_model, 0), "indexes");
    QTEST(resets.count(), "resets");
    // The merged row shows every text of the newest frame.
    const int at = column(*m_model, 0).indexOf(merged.indexText);
    QCOMPARE(m_model->cellText(at, 1), merged.systemTime);
    QCOMPARE(m_model->cellText(at, 2), merged.timeStamp);
    QCOMPARE(m_model->cellText(at, 6), merged.formatText);
}

void tst_Model::removeFirstRows_data()
{
    QTest::addColumn<int>("n");
    QTest::addColumn<QStringList>("left");
    QTest::addColumn<int>("notifications");

    QTest::newRow("two of three") << 2 << QStringList { "3" } << 2;
    QTest::newRow("past the end") << 5 << QStringList {} << 3;
    QTest::newRow("exactly all") << 3 << QStringList {} << 3;
    QTest::newRow("zero") << 0 << QStringList { "1", "2", "3" } << 0;
    QTest::newRow("negative") << -4 << QStringList { "1", "2", "3" } << 0;
}

void tst_Model::removeFirstRows()
{
    QFETCH(int, n);
    m_model->appendRows({ item("1", "1", "0x1", "Rx"), item("2", "1", "0x2", "Rx"), item("3", "1", "0x3", "Rx") });
    QSignalSpy removed(m_model, &QAbstractItemModel::rowsRemoved);
    m_model->removeFirstRows(n);
    QTEST(column(*m_model, 0), "left");
    QTEST(removed.count(), "notifications");
    for (const QList<QVariant> &args : removed) {
        QCOMPARE(args.at(1).toInt(), 0);
        QCOMPARE(args.at(2).toInt(), 0);
    }
}

void tst_Model::clearRemovesAll()
{
    QSignalSpy removed(m_model, &QAbstractItemModel::rowsRemoved);
    m_model->clear();
    QCOMPARE(removed.count(), 0);
    m_model->appendRows({ item("1", "1", "0x1", "Rx"), item("2", "1", "0x2", "Rx") });
    m_model->clear();
    QCOMPARE(m_model->rowCount(), 0);
    QCOMPARE(removed.count(), 1);
    QCOMPARE(removed.first().at(2).toInt(), 1);
}

void tst_Model::cellTextBounds_data()
{
    QTest::addColumn<int>("titles");
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("column");
    QTest::addColumn<QString>("text");

    QTest::newRow("inside") << 11 << 1 << 5 << "0x2";
    QTest::newRow("last column") << 11 << 0 << 10 << "x| ";
    QTest::newRow("row past the end") << 11 << 2 << 0 << "";
    QTest::newRow("negative row") << 11 << -1 << 0 << "";
    QTest::newRow("negative column") << 11 << 0 << -1 << "";
    QTest::newRow("column 11 with a twelfth title") << 12 << 0 << 11 << "";
    QTest::newRow("column beyond a short header") << 5 << 0 << 5 << "";
    QTest::newRow("inside a short header") << 5 << 0 << 4 << "Rx";
}

void tst_Model::cellTextBounds()
{
    QFETCH(int, titles);
    QFETCH(int, row);
    QFETCH(int, column);
    QStringList header = kTitles + QStringList { QStringLiteral("extra") };
    m_model->setHeader(header.mid(0, titles));
    m_model->appendRows({ item("1", "1", "0x1", "Rx"), item("2", "1", "0x2", "Rx") });
    QTEST(m_model->cellText(row, column), "text");
}

void tst_Model::headerChanges()
{
    MyTableModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy inserted(&model, &QAbstractItemModel::columnsInserted);
    QSignalSpy removed(&model, &QAbstractItemModel::columnsRemoved);
    QSignalSpy header(&model, &QAbstractItemModel::headerDataChanged);
    QCOMPARE(model.columnCount(), 0);

    model.appendRows({ item("1", "1", "0x1", "Rx") });
    model.setHeader(kTitles);
    QCOMPARE(model.columnCount(), 11);
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(model.headerData(5, Qt::Horizontal).toString(), QStringLiteral("ID"));

    // A language change: same count, new titles, the view is told.
    QStringList chinese
        = { "序号", "系统时间", "时间标识", "通道", "收/发", "ID", "Frame", "类型", "DLC", "CAN-FD", "数据" };
    model.setHeader(chinese);
    QCOMPARE(header.count(), 1);
    QCOMPARE(header.first().at(0).value<Qt::Orientation>(), Qt::Horizontal);
    QCOMPARE(header.first().at(2).toInt(), 10);
    QCOMPARE(model.headerData(10, Qt::Horizontal).toString(), QStringLiteral("数据"));
    QCOMPARE(model.header(), chinese);

    model.setHeader(chinese);
    QCOMPARE(header.count(), 1);

    model.setHeader(chinese.mid(0, 4));
    QCOMPARE(removed.count(), 1);
    QCOMPARE(model.columnCount(), 4);
    // Outside the titles, the base class answers.
    QCOMPARE(model.headerData(7, Qt::Horizontal).toInt(), 8);
    QCOMPARE(model.headerData(0, Qt::Vertical).toInt(), 1);
}

void tst_Model::filterMarks_data()
{
    QTest::addColumn<Steps>("steps");
    QTest::addColumn<QString>("title5");
    QTest::addColumn<QString>("title7");
    QTest::addColumn<int>("headerSignals");

    QTest::newRow("mark") << Steps { { 5, { "0x123" } } } << "ID*"
                          << "type" << 1;
    QTest::newRow("mark once only") << Steps { { 5, { "0x123" } }, { 5, { "0x123", "0x456" } } } << "ID*"
                                    << "type" << 2;
    QTest::newRow("same list is no change") << Steps { { 5, { "0x123" } }, { 5, { "0x123" } } } << "ID*"
                                            << "type" << 1;
    QTest::newRow("unmark") << Steps { { 5, { "0x123" } }, { 5, {} } } << "ID"
                            << "type" << 2;
    QTest::newRow("unmark when never marked") << Steps { { 5, {} } } << "ID"
                                              << "type" << 0;
    QTest::newRow("two columns") << Steps { { 5, { "a" } }, { 7, { "b" } } } << "ID*"
                                 << "type*" << 2;
    QTest::newRow("column outside") << Steps { { 11, { "a" } }, { -1, { "a" } } } << "ID"
                                    << "type" << 0;
}

void tst_Model::filterMarks()
{
    QFETCH(Steps, steps);
    QSignalSpy header(m_model, &QAbstractItemModel::headerDataChanged);
    for (const auto &step : steps)
        m_model->setFilter(step.first, step.second);
    QTEST(m_model->headerData(5, Qt::Horizontal).toString(), "title5");
    QTEST(m_model->headerData(7, Qt::Horizontal).toString(), "title7");
    QTEST(header.count(), "headerSignals");
    QCOMPARE(m_model->header().at(5), m_model->headerData(5, Qt::Horizontal).toString());
}

void tst_Model::acceptsRow_data()
{
    QTest::addColumn<Steps>("conditions");
    QTest::addColumn<ModelItem>("row");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("no conditions") << Steps {} << item("1", "1", "0x00000123", "Rx") << true;
    QTest::newRow("identifier listed") << Steps { { 5, { "0x123" } } } << item("1", "1", "0x123", "Rx") << true;
    QTest::newRow("wider identifier not listed")
        << Steps { { 5, { "0x123" } } } << item("1", "1", "0x00000123", "Rx") << false;
    QTest::newRow("case-sensitive") << Steps { { 5, { "0x1AB" } } } << item("1", "1", "0x1ab", "Rx") << false;
    QTest::newRow("one of several") << Steps { { 5, { "0x1", "0x2", "0x3" } } } << item("1", "1", "0x2", "Rx") << true;
    QTest::newRow("every column must pass")
        << Steps { { 5, { "0x2" } }, { 4, { "Tx" } } } << item("1", "1", "0x2", "Rx") << false;
    QTest::newRow("both pass") << Steps { { 5, { "0x2" } }, { 4, { "Rx" } }, { 3, { "1" } } }
                               << item("1", "1", "0x2", "Rx") << true;
    QTest::newRow("whole text only") << Steps { { 10, { "x| 01" } } } << item("1", "1", "0x2", "Rx", "x| 01 ") << false;
    QTest::newRow("condition cleared again")
        << Steps { { 5, { "0x9" } }, { 5, {} } } << item("1", "1", "0x2", "Rx") << true;
}

void tst_Model::acceptsRow()
{
    QFETCH(Steps, conditions);
    QFETCH(ModelItem, row);
    for (const auto &c : conditions)
        m_model->setFilter(c.first, c.second);
    QTEST(m_model->acceptsRow(row), "accepted");
    QTEST(m_model->acceptsRow(MyTableModel::rowFromItem(row)), "accepted");
}

QTEST_GUILESS_MAIN(tst_Model)
#include "tst_model.moc"
