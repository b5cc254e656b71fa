#include "support/fake_reply.h"
#include "transport/hop.h"

#include <QSignalSpy>
#include <QTest>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using namespace vok;
using namespace vok::test_support;

class TestHop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsInBlocksOf64KiB();
    void keepsTheBodyUnlessItIsARedirects_data();
    void keepsTheBodyUnlessItIsARedirects();
    void countsTheBodyOfARedirectAndThrowsItAway();
    void followsNoRedirectWhoseBodyIsTooLarge_data();
    void followsNoRedirectWhoseBodyIsTooLarge();
    void readsNothingAfterItsFirstError();
    void keepsItsFirstError();
    void tellsABoundBeforeADeadline();
    void looksAtTheDeadlinesAtEachRead_data();
    void looksAtTheDeadlinesAtEachRead();
    void followsNoRedirectAfterItsDeadline();
    void looksAtTheDeadlinesAtTheEnd_data();
    void looksAtTheDeadlinesAtTheEnd();
    void takesAnIdleTimeOutForItsDeadline_data();
    void takesAnIdleTimeOutForItsDeadline();
    void readsTheRestAtTheEnd();
    void endsLaterThanTheCallThatEndedIt();
    void endsOnce();
    void endsWithItsReply();
};

namespace
{

const QString kResponseBound = u"HTTPS response exceeds configured bound"_s;
const QString kOperationBound = u"HTTPS operation exceeds configured byte bound"_s;
const QString kOperationDeadline = u"HTTPS operation wall deadline exceeded"_s;
const QString kRequestDeadline = u"HTTPS request wall deadline exceeded"_s;

const QUrl kUrl(u"https://server.example:7443/v1/status"_s);

/// A hop over a reply that does what the test wants, and with much of everything unless told otherwise.
struct Trial
{
    explicit Trial(const HopRules& rules = {1000000, true, 1min})
        : budget(std::make_shared<TransferBudget>())
    {
        budget->deadline = QDeadlineTimer(1min);
        budget->limit = 1000000;
        budget->origin = kUrl;
        reply.setUrl(kUrl);
        hop = new Hop(reply, rules, budget, nullptr);
        QObject::connect(hop, &Hop::ended, &reply, [this] { ++ends; });
    }
    const Download& download() const { return hop->download(); }

    FakeReply reply;
    std::shared_ptr<TransferBudget> budget;
    Hop* hop = nullptr;
    int ends = 0;
};

/// Lets the deadlines of the present row pass.
void passDeadlines(Trial& trial)
{
    QFETCH(bool, operationOver);
    QFETCH(bool, requestOver);
    if (operationOver)
        trial.budget->deadline = QDeadlineTimer(0);
    if (requestOver)
        trial.hop->download().deadline = QDeadlineTimer(0);
}

} // namespace

void TestHop::readsInBlocksOf64KiB()
{
    Trial trial;
    QCOMPARE(trial.reply.readBufferSize(), 65536);
    trial.reply.beginAnswer(200);
    trial.reply.deliver(QByteArray(200000, 'x'));
    QCOMPARE(trial.download().body, QByteArray(200000, 'x'));
    QCOMPARE(trial.download().received, 200000);
    QCOMPARE(trial.reply.largestRead, 65536);
}

void TestHop::keepsTheBodyUnlessItIsARedirects_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    for (const int status : {0, 200, 299, 400, 500})
        QTest::addRow("%d", status) << status << QByteArray("body");
    for (const int status : {300, 302, 399})
        QTest::addRow("%d", status) << status << QByteArray();
}

void TestHop::keepsTheBodyUnlessItIsARedirects()
{
    QFETCH(int, status);
    Trial trial;
    trial.reply.setStatus(status);
    trial.reply.deliver("body");
    QTEST(trial.download().body, "body");
    QCOMPARE(trial.download().received, 4);
    QCOMPARE(trial.budget->received, 4);
}

void TestHop::countsTheBodyOfARedirectAndThrowsItAway()
{
    Trial trial;
    trial.budget->received = 5;
    trial.reply.bytes = QByteArray(1000, 'x');
    trial.reply.beginAnswer(302, QUrl(u"/else"_s));
    QCOMPARE(trial.download().redirect, QUrl(u"https://server.example:7443/else"_s));
    QCOMPARE(trial.download().error, QString());
    QCOMPARE(trial.download().body, QByteArray());
    QCOMPARE(trial.download().received, 1000);
    QCOMPARE(trial.budget->received, 1005);
    QCOMPARE(trial.reply.aborts, 1);
    QTRY_COMPARE(trial.ends, 1);
    QCOMPARE(trial.download().error, QString());
}

void TestHop::followsNoRedirectWhoseBodyIsTooLarge_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<qint64>("budgetLimit");
    QTest::addColumn<QString>("error");
    QTest::newRow("65536 bytes") << 65536 << qint64{65536} << QString();
    QTest::newRow("65537 bytes") << 65537 << qint64{1000000} << kResponseBound;
    QTest::newRow("more than the operation may cost") << 65536 << qint64{65535} << kOperationBound;
}

void TestHop::followsNoRedirectWhoseBodyIsTooLarge()
{
    QFETCH(int, size);
    QFETCH(qint64, budgetLimit);
    Trial trial;
    trial.budget->limit = budgetLimit;
    trial.reply.bytes = QByteArray(size, 'x');
    trial.reply.beginAnswer(302, QUrl(u"/else"_s));
    QTRY_COMPARE(trial.ends, 1);
    QTEST(trial.download().error, "error");
}

void TestHop::readsNothingAfterItsFirstError()
{
    Trial trial({1000, true, 1min});
    trial.reply.setStatus(200);
    trial.reply.deliver(QByteArray(200000, 'x'));
    QCOMPARE(trial.download().error, kResponseBound);
    QCOMPARE(trial.download().received, 65536);
    QCOMPARE(trial.download().body, QByteArray());
    trial.reply.deliver("more");
    QTRY_COMPARE(trial.ends, 1);
    QCOMPARE(trial.download().received, 65536);
    QCOMPARE(trial.reply.bytes.size(), 200000 - 65536 + 4);
}

void TestHop::keepsItsFirstError()
{
    Trial trial({10, false, 1min});
    trial.reply.setHeader(QNetworkRequest::ContentLengthHeader, 65537);
    trial.reply.beginAnswer(302, QUrl(u"/else"_s));
    QCOMPARE(trial.download().error, kResponseBound);
    trial.budget->deadline = QDeadlineTimer(0);
    QTRY_COMPARE(trial.ends, 1);
    QCOMPARE(trial.download().error, kResponseBound);
    QVERIFY(trial.download().redirect.isEmpty());
}

void TestHop::tellsABoundBeforeADeadline()
{
    Trial trial({3, true, 1min});
    trial.reply.setStatus(200);
    trial.budget->deadline = QDeadlineTimer(0);
    trial.reply.deliver("body");
    QCOMPARE(trial.download().error, kResponseBound);
}

void TestHop::looksAtTheDeadlinesAtEachRead_data()
{
    QTest::addColumn<bool>("operationOver");
    QTest::addColumn<bool>("requestOver");
    QTest::addColumn<QString>("error");
    QTest::newRow("none") << false << false << QString();
    QTest::newRow("the operation's") << true << false << kOperationDeadline;
    QTest::newRow("the request's") << false << true << kRequestDeadline;
    QTest::newRow("both") << true << true << kOperationDeadline;
}

void TestHop::looksAtTheDeadlinesAtEachRead()
{
    Trial trial;
    trial.reply.setStatus(200);
    passDeadlines(trial);
    trial.reply.deliver("body");
    QTEST(trial.download().error, "error");
    QCOMPARE(trial.reply.aborts, trial.download().error.isEmpty() ? 0 : 1);
}

void TestHop::looksAtTheDeadlinesAtTheEnd_data()
{
    looksAtTheDeadlinesAtEachRead_data();
}

void TestHop::followsNoRedirectAfterItsDeadline()
{
    Trial trial;
    trial.reply.beginAnswer(302, QUrl(u"/else"_s));
    QCOMPARE(trial.hop->nextHop(), QUrl(u"https://server.example:7443/else"_s));
    trial.hop->download().deadline = QDeadlineTimer(0);
    QTRY_COMPARE(trial.ends, 1);
    QCOMPARE(trial.download().error, kRequestDeadline);
    QCOMPARE(trial.hop->nextHop(), QUrl());
}

void TestHop::looksAtTheDeadlinesAtTheEnd()
{
    Trial trial;
    trial.reply.setStatus(200);
    passDeadlines(trial);
    trial.reply.finish();
    QTRY_COMPARE(trial.ends, 1);
    QTEST(trial.download().error, "error");
}

void TestHop::takesAnIdleTimeOutForItsDeadline_data()
{
    QTest::addColumn<std::chrono::milliseconds>("operationTime");
    QTest::addColumn<QString>("error");
    QTest::newRow("operation first") << std::chrono::milliseconds(30s) << kOperationDeadline;
    QTest::newRow("request first") << std::chrono::milliseconds(90s) << kRequestDeadline;
}

void TestHop::takesAnIdleTimeOutForItsDeadline()
{
    QFETCH(std::chrono::milliseconds, operationTime);
    Trial trial;
    trial.budget->deadline = QDeadlineTimer(operationTime);
    trial.reply.abort();
    QTRY_COMPARE(trial.ends, 1);
    QTEST(trial.download().error, "error");
}

void TestHop::readsTheRestAtTheEnd()
{
    Trial trial;
    trial.reply.setStatus(200);
    trial.reply.bytes = "rest";
    trial.reply.finish();
    QTRY_COMPARE(trial.ends, 1);
    QCOMPARE(trial.download().body, QByteArray("rest"));
}

void TestHop::endsLaterThanTheCallThatEndedIt()
{
    Trial trial({3, true, 1min});
    trial.reply.setStatus(200);
    trial.reply.deliver("body");
    QVERIFY(trial.reply.isFinished());
    QCOMPARE(trial.ends, 0);
    QTRY_COMPARE(trial.ends, 1);
}

void TestHop::endsOnce()
{
    Trial trial({3, true, 50ms});
    trial.reply.setStatus(200);
    trial.reply.deliver("body");
    trial.reply.abort();
    trial.reply.deliver("body");
    QTRY_COMPARE(trial.ends, 1);
    QTest::qWait(100);
    QCOMPARE(trial.ends, 1);
}

void TestHop::endsWithItsReply()
{
    auto reply = std::make_unique<FakeReply>();
    const auto budget = std::make_shared<TransferBudget>();
    const QPointer<Hop> hop = new Hop(*reply, {1, true, 1ms}, budget, nullptr);
    reply.reset();
    QVERIFY(hop.isNull());
    QCOMPARE(budget.use_count(), 1);
    QTest::qWait(20);
}

QTEST_GUILESS_MAIN(TestHop)
#include "test_hop.moc"
