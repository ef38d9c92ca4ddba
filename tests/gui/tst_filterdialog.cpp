#include "common/DevFakeDriver.h"

#include "DeviceLayer.h"
#include "FilterDialog.h"
#include "Prompt.h"

#include <QAbstractItemModelTester>
#include <QComboBox>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QtTest>

namespace {
struct Form {
    explicit Form(FilterDialog *d)
        : dlg(d)
        , kind(d->findChild<QComboBox *>(QStringLiteral("comboBox")))
        , start(d->findChild<QSpinBox *>(QStringLiteral("startSpin")))
        , end(d->findChild<QSpinBox *>(QStringLiteral("endSpin")))
        , table(d->findChild<QTableWidget *>(QStringLiteral("filterTable")))
        , tester(table->model(), QAbstractItemModelTester::FailureReportingMode::QtTest)
    {
    }
    void click(const char *name) { QTest::mouseClick(dlg->findChild<QPushButton *>(QLatin1String(name)), Qt::LeftButton); }
    void add(int k, int s, int e)
    {
        kind->setCurrentIndex(k);
        start->setValue(s);
        end->setValue(e);
        click("btnAdd");
    }
    QStringList row(int r) const
    {
        return {table->item(r, 0)->text(), table->item(r, 1)->text(), table->item(r, 2)->text()};
    }
    FilterDialog *dlg;
    QComboBox *kind;
    QSpinBox *start;
    QSpinBox *end;
    QTableWidget *table;
    QAbstractItemModelTester tester;
};
} // namespace

class TestFilterDialog : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanupTestCase();

    void addRow_data();
    void addRow();
    void kindSetsRanges();
    void rowText_data();
    void rowText();
    void deleteRow();
    void cancelKeepsText();
    void survivesLanguageChange();
};

void TestFilterDialog::init()
{
    Prompt::recordForTests(true);
    Prompt::clearShown();
    devSetLanguage(0);
}

void TestFilterDialog::cleanupTestCase()
{
    devSetLanguage(0);
}

void TestFilterDialog::addRow_data()
{
    QTest::addColumn<int>("language");
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("end");
    QTest::addColumn<QStringList>("row");   // empty: refused
    QTest::addColumn<QString>("error");

    QTest::newRow("standard group") << 0 << 0 << 0x100 << 0x1FF << QStringList{"标准帧", "100", "1FF"} << QString();
    QTest::newRow("standard group edge") << 0 << 0 << 0 << 0x7FF << QStringList{"标准帧", "0", "7FF"} << QString();
    QTest::newRow("standard single ignores end") << 0 << 1 << 0x7FF << 0x10 << QStringList{"标准帧", "7FF", "7FF"}
                                                 << QString();
    QTest::newRow("extended group") << 2 << 2 << 0x18FF0000 << 0x18FF00FF
                                    << QStringList{"Extended Frame", "18FF0000", "18FF00FF"} << QString();
    QTest::newRow("extended single") << 1 << 3 << 0x1FFFFFFF << 0 << QStringList{"擴展幀", "1FFFFFFF", "1FFFFFFF"}
                                     << QString();
    QTest::newRow("equal ends") << 0 << 2 << 0xABC << 0xABC << QStringList{"扩展帧", "ABC", "ABC"} << QString();
    QTest::newRow("end below start") << 0 << 0 << 0x200 << 0x1FF << QStringList() << "错误|结束ID不可小于起始ID";
    QTest::newRow("end below start zht") << 1 << 2 << 0x10 << 0xF << QStringList() << "錯誤|結束ID不可小於起始ID";
    QTest::newRow("end below start en") << 2 << 0 << 1 << 0 << QStringList()
                                        << "error|The end ID cannot be less than the start ID";
}

void TestFilterDialog::addRow()
{
    QFETCH(int, language);
    QFETCH(int, kind);
    QFETCH(int, start);
    QFETCH(int, end);
    QFETCH(QStringList, row);
    QFETCH(QString, error);
    setLanguageCode(language);

    FilterDialog dlg(1, QString());
    dlg.show();
    Form f(&dlg);
    f.add(kind, start, end);
    if (row.isEmpty()) {
        QCOMPARE(f.table->rowCount(), 0);
        QCOMPARE(Prompt::shown().size(), 1);
        QCOMPARE(Prompt::shown().at(0).first + QLatin1Char('|') + Prompt::shown().at(0).second, error);
        // The fields keep what the user typed.
        QCOMPARE(f.start->value(), start);
        QCOMPARE(f.end->value(), end);
    } else {
        QVERIFY(Prompt::shown().isEmpty());
        QCOMPARE(f.table->rowCount(), 1);
        QCOMPARE(f.row(0), row);
    }
}

void TestFilterDialog::kindSetsRanges()
{
    FilterDialog dlg(1, QString());
    Form f(&dlg);
    f.kind->setCurrentIndex(2);
    QCOMPARE(f.start->maximum(), 0x1FFFFFFF);
    QVERIFY(f.end->isEnabled());
    f.start->setValue(0x18FF0000);
    f.end->setValue(0x500);
    f.kind->setCurrentIndex(3);
    QVERIFY(!f.end->isEnabled());
    // Back to a standard kind: both fields narrow to 0..0x7FF and clamp.
    f.kind->setCurrentIndex(1);
    QCOMPARE(f.start->maximum(), 0x7FF);
    QCOMPARE(f.end->maximum(), 0x7FF);
    QCOMPARE(f.start->value(), 0x7FF);
    QCOMPARE(f.end->value(), 0x500);
    QCOMPARE(f.start->text(), QStringLiteral("7ff"));
    f.kind->setCurrentIndex(0);
    QVERIFY(f.end->isEnabled());
    QCOMPARE(f.end->minimum(), 0);
}

void TestFilterDialog::rowText_data()
{
    QTest::addColumn<QString>("initial");
    QTest::addColumn<int>("rows");
    QTest::addColumn<QString>("result");

    QTest::newRow("empty") << "" << 0 << "";
    QTest::newRow("two kinds") << "0-100-1FF|1-18FF0000-18FF00FF" << 2 << "0-100-1FF|1-18FF0000-18FF00FF";
    QTest::newRow("duplicate stored once") << "0-7-7|0-7-7" << 2 << "0-7-7";
    QTest::newRow("contained row dropped") << "0-1-10|0-1-1" << 2 << "0-1-10";
    QTest::newRow("containing row kept") << "0-1-1|0-1-10" << 2 << "0-1-1|0-1-10";
    QTest::newRow("same ids other kind") << "0-7-7|1-7-7" << 2 << "0-7-7|1-7-7";
}

void TestFilterDialog::rowText()
{
    QFETCH(QString, initial);
    QFETCH(int, rows);
    QFETCH(QString, result);

    FilterDialog dlg(2, initial);
    Form f(&dlg);
    QCOMPARE(f.table->rowCount(), rows);
    if (rows > 0)
        QCOMPARE(f.table->item(0, 0)->text(), QStringLiteral("标准帧"));
    f.click("btnConfirm");
    QCOMPARE(dlg.result(), int(QDialog::Accepted));
    QCOMPARE(dlg.rowText(), result);
}

void TestFilterDialog::deleteRow()
{
    FilterDialog dlg(1, QStringLiteral("0-1-2|0-3-4|1-5-6"));
    dlg.show();
    Form f(&dlg);
    f.table->setCurrentCell(1, 0);
    f.click("btnDelete");
    f.table->setCurrentCell(-1, -1);
    f.click("btnDelete");   // nothing selected: nothing removed
    f.click("btnConfirm");
    QCOMPARE(dlg.rowText(), QStringLiteral("0-1-2|1-5-6"));
}

void TestFilterDialog::cancelKeepsText()
{
    FilterDialog dlg(1, QStringLiteral("0-1-2"));
    dlg.show();
    Form f(&dlg);
    f.add(0, 3, 4);
    f.click("btnCancel");
    QCOMPARE(dlg.result(), int(QDialog::Rejected));
    QCOMPARE(dlg.rowText(), QStringLiteral("0-1-2"));
}

void TestFilterDialog::survivesLanguageChange()
{
    QString text;
    {
        FilterDialog dlg(1, QString());
        QCOMPARE(dlg.windowTitle(), QStringLiteral("通道1滤波设置"));
        Form f(&dlg);
        f.add(0, 0x100, 0x1FF);
        // Switched while the dialog is open: rows of both languages in one table.
        devSetLanguage(2);
        QCOMPARE(dlg.windowTitle(), QStringLiteral("Channel1 filter set"));
        QCOMPARE(f.kind->itemText(3), QStringLiteral("Extended Frame Single ID"));
        f.add(3, 0x18FF0000, 0);
        QCOMPARE(f.row(1).at(0), QStringLiteral("Extended Frame"));
        f.click("btnConfirm");
        text = dlg.rowText();
    }
    QCOMPARE(text, QStringLiteral("0-100-1FF|1-18FF0000-18FF0000"));

    devSetLanguage(1);
    FilterDialog dlg(2, text);
    QCOMPARE(dlg.windowTitle(), QStringLiteral("通道2濾波設置"));
    Form f(&dlg);
    QCOMPARE(f.row(0), QStringList({"標準幀", "100", "1FF"}));
    QCOMPARE(f.row(1), QStringList({"擴展幀", "18FF0000", "18FF0000"}));
    f.click("btnConfirm");
    QCOMPARE(dlg.rowText(), text);
}

QTEST_MAIN(TestFilterDialog)
#include "tst_filterdialog.moc"
