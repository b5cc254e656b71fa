#include "support/exchange.h"
#include "support/hostile_server.h"
#include "support/modal_player.h"

#include <QElapsedTimer>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using namespace vok;
using namespace vok::test_support;

class TestFetchBounds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void boundsTheBodyOfASuccess_data();
    void boundsTheBodyOfASuccess();
    void boundsTheBodyOfEveryOtherAnswer_data();
    void boundsTheBodyOfEveryOtherAnswer();
    void tellsTheServersWordsFromABodyOf65536Bytes();
    void refusesAnAnnouncedLengthBeforeAnyBody_data();
    void refusesAnAnnouncedLengthBeforeAnyBody();
    void boundsTheWholeOperation_data();
    void boundsTheWholeOperation();
    void tellsTheBoundOfTheHopFirst();
    void takesTheDeadlineForTheOperationsOrTheRequests_data();
    void takesTheDeadlineForTheOperationsOrTheRequests();
    void gives2MiBToTheAccountService_data();
    void gives2MiBToTheAccountService();
};

namespace
{

const QString kResponseBound = u"HTTPS response exceeds configured bound"_s;
const QString kOperationBound = u"HTTPS operation exceeds configured byte bound"_s;
const QString kOperationDeadline = u"HTTPS operation wall deadline exceeded"_s;
const QString kRequestDeadline = u"HTTPS request wall deadline exceeded"_s;

TestAuthority authority()
{
    return TestAuthority(u"Test CA"_s);
}

enum class Framing
{
    Length,
    Chunks,
    Close
};

/// An answer with a body of `size` bytes.
HostileAnswer answerOf(int status, qsizetype size, Framing framing)
{
    const QByteArray body(size, 'x');
    switch (framing) {
    case Framing::Length:
        return hostile::sent(hostile::head(status, {"Content-Length: " + QByteArray::number(size)}) + body);
    case Framing::Chunks:
        return hostile::sent(
            hostile::head(status, {"Transfer-Encoding: chunked"}) + hostile::chunk(body) + hostile::chunk({}));
    case Framing::Close:
        break;
    }
    return hostile::sentAndClosed(hostile::head(status, {"Connection: close"}) + body);
}

void addFramings(const QList<int>& statuses)
{
    QTest::addColumn<int>("status");
    QTest::addColumn<Framing>("framing");
    for (const int status : statuses) {
        QTest::addRow("%d, announced", status) << status << Framing::Length;
        QTest::addRow("%d, in chunks", status) << status << Framing::Chunks;
        QTest::addRow("%d, up to the end", status) << status << Framing::Close;
    }
}

} // namespace

void TestFetchBounds::boundsTheBodyOfASuccess_data()
{
    addFramings({200, 201, 299});
}

void TestFetchBounds::boundsTheBodyOfASuccess()
{
    QFETCH(int, status);
    QFETCH(Framing, framing);
    constexpr qsizetype kLimit = 100000;
    const HostileServer server(
        authority().issue(), {answerOf(status, kLimit, framing), answerOf(status, kLimit + 1, framing)});
    const LauncherWindow window;
    const FetchCall call{.url = server.url(), .caFile = authority().pemPath(), .limit = kLimit};
    const auto within = startFetch(window, call);
    QTRY_COMPARE(within->ends(), 1);
    QCOMPARE(within->failures, QStringList());
    QCOMPARE(within->body, QByteArray(kLimit, 'x'));
    const auto beyond = startFetch(window, call);
    QTRY_COMPARE(beyond->ends(), 1);
    QCOMPARE(beyond->failures, QStringList(kResponseBound));
}

void TestFetchBounds::boundsTheBodyOfEveryOtherAnswer_data()
{
    addFramings({401, 403, 404, 500, 599});
}

void TestFetchBounds::boundsTheBodyOfEveryOtherAnswer()
{
    QFETCH(int, status);
    QFETCH(Framing, framing);
    const HostileServer server(
        authority().issue(),
        {answerOf(status, 65536, framing), answerOf(status, 65537, framing), answerOf(status, 70000, framing)});
    const LauncherWindow window;
    const FetchCall call{.url = server.url(), .caFile = authority().pemPath()};
    const auto within = startFetch(window, call);
    QTRY_COMPARE(within->ends(), 1);
    const QString start = u"Sunucu isteği reddetti (%1): "_s.arg(status);
    QVERIFY2(within->failures.value(0).startsWith(start), qPrintable(within->failures.join(u'|')));
    for (int round = 0; round < 2; ++round) {
        const auto beyond = startFetch(window, call);
        QTRY_COMPARE(beyond->ends(), 1);
        QCOMPARE(beyond->failures, QStringList(kResponseBound));
    }
}

void TestFetchBounds::tellsTheServersWordsFromABodyOf65536Bytes()
{
    const QByteArray words = R"({"error":{"message":"Hesap kilitli"}})";
    HttpsServer server(authority().issue());
    const LauncherWindow window;
    const FetchCall call{.url = server.url(), .caFile = authority().pemPath()};
    server.setHandler([&words](const HttpRequest&) -> HttpAnswer { return {403, words.leftJustified(65536, ' ')}; });
    const auto within = startFetch(window, call);
    QTRY_COMPARE(within->failures, QStringList(u"Hesap kilitli"_s));
    server.setHandler([&words](const HttpRequest&) -> HttpAnswer { return {403, words.leftJustified(65537, ' ')}; });
    const auto beyond = startFetch(window, call);
    QTRY_COMPARE(beyond->failures, QStringList(kResponseBound));
}

void TestFetchBounds::refusesAnAnnouncedLengthBeforeAnyBody_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("length");
    QTest::newRow("success") << 200 << QByteArray("1001");
    QTest::newRow("success, most that there is") << 200 << QByteArray("9223372036854775807");
    QTest::newRow("refusal") << 403 << QByteArray("65537");
    QTest::newRow("redirect") << 302 << QByteArray("65537");
}

void TestFetchBounds::refusesAnAnnouncedLengthBeforeAnyBody()
{
    QFETCH(int, status);
    QFETCH(QByteArray, length);
    const QByteArray head = hostile::head(status, {"Location: /", "Content-Length: " + length});
    const HostileServer server(authority().issue(), {hostile::sent(head)});
    const LauncherWindow window;
    const auto budget = budgetOf(server.url(), 1000000, 1min);
    const auto outcome =
        startFetch(window, {.url = server.url(), .caFile = authority().pemPath(), .limit = 1000, .budget = budget});
    QTRY_COMPARE(outcome->ends(), 1);
    QCOMPARE(outcome->failures, QStringList(kResponseBound));
    QCOMPARE(budget->received, 0);
    QCOMPARE(server.requests().size(), 1);
}

void TestFetchBounds::boundsTheWholeOperation_data()
{
    QTest::addColumn<qint64>("received");
    QTest::addColumn<QStringList>("failures");
    QTest::newRow("filled to the last byte") << qint64{600} << QStringList();
    QTest::newRow("one byte beyond") << qint64{601} << QStringList(kOperationBound);
}

void TestFetchBounds::boundsTheWholeOperation()
{
    QFETCH(qint64, received);
    HttpsServer server(authority().issue());
    server.setHandler([](const HttpRequest&) -> HttpAnswer { return {200, QByteArray(400, 'x')}; });
    const LauncherWindow window;
    const auto budget = budgetOf(server.url(), 1000, 1min);
    budget->received = received;
    const auto outcome =
        startFetch(window, {.url = server.url(), .caFile = authority().pemPath(), .limit = 400, .budget = budget});
    QTRY_COMPARE(outcome->ends(), 1);
    QTEST(outcome->failures, "failures");
    QCOMPARE(budget->received, received + 400);
}

void TestFetchBounds::tellsTheBoundOfTheHopFirst()
{
    const HostileServer server(authority().issue(), {answerOf(200, 401, Framing::Chunks)});
    const LauncherWindow window;
    const auto outcome = startFetch(
        window, {.url = server.url(),
                 .caFile = authority().pemPath(),
                 .limit = 400,
                 .budget = budgetOf(server.url(), 400, 1min)});
    QTRY_COMPARE(outcome->ends(), 1);
    QCOMPARE(outcome->failures, QStringList(kResponseBound));
}

void TestFetchBounds::takesTheDeadlineForTheOperationsOrTheRequests_data()
{
    QTest::addColumn<int>("operationMs");
    QTest::addColumn<int>("requestMs");
    QTest::addColumn<QString>("failure");
    QTest::newRow("request first") << 60000 << 300 << kRequestDeadline;
    QTest::newRow("operation first") << 300 << 60000 << kOperationDeadline;
    QTest::newRow("at once") << 300 << 300 << kOperationDeadline;
}

void TestFetchBounds::takesTheDeadlineForTheOperationsOrTheRequests()
{
    QFETCH(int, operationMs);
    QFETCH(int, requestMs);
    const std::chrono::milliseconds operationTime(operationMs);
    const HostileServer server(
        authority().issue(),
        {hostile::sent({}), hostile::dripped(hostile::head(200, {"Content-Length: 1000000"}), "x", 5ms),
         hostile::dripped("HTTP/1.1 200 OK\r\nX: ", "x", 5ms)});
    const LauncherWindow window;
    window.access.setRequestTimeoutMs(requestMs);
    for (int round = 0; round < 3; ++round) {
        QElapsedTimer clock;
        clock.start();
        const auto outcome = startFetch(
            window, {.url = server.url(),
                     .caFile = authority().pemPath(),
                     .budget = budgetOf(server.url(), 1000000, operationTime)});
        QTRY_COMPARE(outcome->ends(), 1);
        QTEST(outcome->failures.constFirst(), "failure");
        QVERIFY2(clock.elapsed() >= 270 && clock.elapsed() < 5000, qPrintable(QString::number(clock.elapsed())));
    }
}

void TestFetchBounds::gives2MiBToTheAccountService_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<qsizetype>("size");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("2097152 bytes") << 200 << qsizetype{2097152} << true;
    QTest::newRow("2097153 bytes") << 200 << qsizetype{2097153} << false;
    QTest::newRow("2097153 bytes of a refusal") << 500 << qsizetype{2097153} << false;
    QTest::newRow("2097153 bytes of a redirect") << 302 << qsizetype{2097153} << false;
}

void TestFetchBounds::gives2MiBToTheAccountService()
{
    QFETCH(int, status);
    QFETCH(qsizetype, size);
    QFETCH(bool, isTaken);
    const HostileServer server(authority().issue(), {answerOf(status, size, Framing::Length)});
    selectProfile(server.origin(), authority().pemPath());
    const LauncherWindow window;
    const ModalPlayer player;
    const auto outcome = startApi(window, u"/v1/status"_s);
    if (isTaken) {
        QTRY_COMPARE(outcome->successes, 1);
        QCOMPARE(outcome->body, QByteArray(size, 'x'));
    } else {
        QTRY_COMPARE(player.texts(), QStringList(kResponseBound));
        QCOMPARE(outcome->successes, 0);
    }
}

VOK_WINDOW_TEST_MAIN(TestFetchBounds)
#include "test_fetch_bounds.moc"
