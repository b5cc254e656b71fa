#include "transport/transfer.h"

#include <QTest>

using namespace std::chrono_literals;
using namespace vok;

class TestTransfer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void beginsABudget();
    void givesStagedDownloadsTheirTime_data();
    void givesStagedDownloadsTheirTime();
};

void TestTransfer::beginsABudget()
{
    const QUrl origin(QStringLiteral("https://a.example:7443/v1/status"));
    const auto budget = newBudget(origin, 2097152, 60000ms);
    QCOMPARE(budget->received, 0);
    QCOMPARE(budget->limit, 2490368);
    QCOMPARE(budget->origin, origin);
    QVERIFY(!budget->allowReleaseHosts);
    QVERIFY(!budget->onError);
    QCOMPARE(budget->deadline.timerType(), Qt::CoarseTimer);
    QVERIFY(budget->deadline.remainingTime() > 50000 && budget->deadline.remainingTime() <= 60000);
}

void TestTransfer::givesStagedDownloadsTheirTime_data()
{
    QTest::addColumn<qint64>("limit");
    QTest::addColumn<bool>("isStaged");
    QTest::addColumn<int>("time");
    QTest::newRow("in memory") << qint64{12800} << false << 60000;
    QTest::newRow("staged") << qint64{12800} << true << 60100;
    QTest::newRow("a millisecond short") << qint64{127} << true << 60000;
    QTest::newRow("a millisecond") << qint64{128} << true << 60001;
}

void TestTransfer::givesStagedDownloadsTheirTime()
{
    QFETCH(qint64, limit);
    QFETCH(bool, isStaged);
    QFETCH(int, time);
    QCOMPARE(hopTime(60000ms, limit, isStaged), std::chrono::milliseconds(time));
}

QTEST_APPLESS_MAIN(TestTransfer)
#include "test_transfer.moc"
