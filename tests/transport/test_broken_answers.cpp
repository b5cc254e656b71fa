#include "support/hostile_exchange.h"

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using namespace vok::test_support;

class TestBrokenAnswers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void tellsABrokenConnection_data();
    void tellsABrokenConnection();
    void refusesWhatIsNoAnswer_data();
    void refusesWhatIsNoAnswer();
    void tellsARefusalOfWhateverStatus_data();
    void tellsARefusalOfWhateverStatus();
    void takesWhatStillIsAnAnswer_data();
    void takesWhatStillIsAnAnswer();
    void dropsWhatFollowsAnAnswer_data();
    void dropsWhatFollowsAnAnswer();
};

namespace
{

constexpr int kTimeoutMs = 60000;

TestAuthority authority()
{
    return TestAuthority(u"Test CA"_s);
}

QByteArray lengthLine(qint64 length)
{
    return "Content-Length: " + QByteArray::number(length);
}

const QByteArray kChunked = hostile::head(200, {"Transfer-Encoding: chunked"});
const QByteArray kGood = hostile::head(200, {lengthLine(2)}) + "{}";

HostileEnd endsOf(const HostileServer& server)
{
    return endsOf(server, authority().pemPath(), kTimeoutMs);
}

} // namespace

void TestBrokenAnswers::tellsABrokenConnection_data()
{
    QTest::addColumn<HostileAnswer>("answer");
    QTest::addColumn<int>("status");
    const auto rows = [](const char* where, int status, const QByteArray& bytes) {
        QTest::addRow("closed %s", where) << hostile::sentAndClosed(bytes) << status;
        QTest::addRow("cut off %s", where) << hostile::sentAndCut(bytes) << status;
    };
    rows("in the status line", 0, "HTTP/1.1 20");
    rows("after the status line", 0, "HTTP/1.1 200 OK\r\n");
    rows("in a header", 0, "HTTP/1.1 200 OK\r\nContent-Le");
    rows("after the head", 200, hostile::head(200, {lengthLine(10)}));
    rows("in the body", 200, hostile::head(200, {lengthLine(10)}) + "123456789");
    rows("in the body of a refusal", 403, hostile::head(403, {lengthLine(10)}) + "123");
    rows("in the size of a chunk", 200, kChunked + "ff");
    rows("in a chunk", 200, kChunked + "ff\r\n123");
    rows("between chunks", 200, kChunked + "3\r\n123\r\n");
}

void TestBrokenAnswers::tellsABrokenConnection()
{
    QFETCH(HostileAnswer, answer);
    QFETCH(int, status);
    const HostileServer server(authority().issue(), {answer});
    const auto [end, next] = endsOf(server);
    QCOMPARE(end.failure, u"Sunucu isteği reddetti (%1): Connection closed"_s.arg(status));
    QCOMPARE(next.failure, QString());
    QCOMPARE(next.body, QByteArray("{}"));
}

void TestBrokenAnswers::refusesWhatIsNoAnswer_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const QByteArray& answer, const QString& reason) {
        QTest::newRow(name) << answer << reason;
    };
    row("no HTTP at all", "hello\r\n\r\n", u"bad version"_s);
    row("another version of HTTP", "HTTP/2 200 OK\r\n\r\n", u"bad version"_s);
    row("status that is no number", "HTTP/1.1 abc OK\r\n\r\n", u"bad status"_s);
    for (const int status : {-200, 0, 99, 99999})
        row(qPrintable(u"status %1"_s.arg(status)), hostile::head(status), u"bad status"_s);
    row("header line without a colon", "HTTP/1.1 200 OK\r\nX\r\nContent-Length: 0\r\n\r\n", u"bad field"_s);
    row("negative length", hostile::head(200, {"Content-Length: -1"}) + "{}", u"bad Content-Length"_s);
    row("length that is no number", hostile::head(200, {"Content-Length: many"}) + "{}", u"bad Content-Length"_s);
    row("two lengths", hostile::head(200, {lengthLine(7), lengthLine(2)}) + "{}", u"multiple Content-Length"_s);
    row("NUL in a header", hostile::head(200, {QByteArray("X: a\0b", 6), lengthLine(2)}) + "{}", u"bad value"_s);
    row("line ends without CR", "HTTP/1.1 200 OK\nContent-Length: 2\n\n{}", u"bad reason"_s);
    row("length beside chunks",
        hostile::head(200, {lengthLine(7), "Transfer-Encoding: chunked"}) + "2\r\n{}\r\n0\r\n\r\n",
        u"bad Transfer-Encoding"_s);
    row("head of 64 KiB and more", hostile::head(200, {"X: " + QByteArray(65536, 'x'), lengthLine(2)}) + "{}",
        u"header limit exceeded"_s);
}

void TestBrokenAnswers::refusesWhatIsNoAnswer()
{
    QFETCH(QByteArray, answer);
    QFETCH(QString, reason);
    const HostileServer server(authority().issue(), {hostile::sent(answer)});
    const auto [end, next] = endsOf(server);
    QCOMPARE(end.failure, u"Sunucu isteği reddetti (0): Invalid HTTP answer: "_s + reason);
    QCOMPARE(next.failure, QString());
    QCOMPARE(next.body, QByteArray("{}"));
}

void TestBrokenAnswers::tellsARefusalOfWhateverStatus_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("reason");
    const QString replied = u"Error transferring %1/v1/status - server replied: Whatever"_s;
    QTest::newRow("101") << 101 << u"Unknown error"_s;
    for (const int status : {400, 402, 403, 404, 409, 418, 429, 500, 503, 599, 600, 999})
        QTest::addRow("%d", status) << status << replied;
    QTest::newRow("401") << 401 << u"Host requires authentication"_s;
    QTest::newRow("407") << 407 << u"Proxy requires authentication"_s;
}

void TestBrokenAnswers::tellsARefusalOfWhateverStatus()
{
    QFETCH(int, status);
    QFETCH(QString, reason);
    const HostileServer server(authority().issue(), {hostile::sent(hostile::head(status, {lengthLine(2)}) + "{}")});
    const auto [end, next] = endsOf(server);
    QCOMPARE(end.failure, u"Sunucu isteği reddetti (%1): "_s.arg(status) + reason.replace(u"%1"_s, server.origin()));
    QCOMPARE(next.failure, QString());
    QCOMPARE(next.body, QByteArray("{}"));
}

void TestBrokenAnswers::takesWhatStillIsAnAnswer_data()
{
    QTest::addColumn<HostileAnswer>("answer");
    QTest::addColumn<QByteArray>("body");
    const QByteArray good = "{}";
    const auto row = [](const char* name, const QByteArray& bytes, const QByteArray& body) {
        QTest::newRow(name) << hostile::sent(bytes) << body;
    };
    for (const int status : {100, 102, 103, 199})
        row(qPrintable(u"%1 before the final answer"_s.arg(status)), hostile::head(status) + kGood, good);
    row("100 header lines", hostile::head(200, QList<QByteArray>(99, "X: y") + QList<QByteArray>{lengthLine(2)}) + good,
        good);
    row("1000 header lines",
        hostile::head(200, QList<QByteArray>(999, "X: y") + QList<QByteArray>{lengthLine(2)}) + good, good);
    row("60 KiB of one header", hostile::head(200, {"X: " + QByteArray(61440, 'x'), lengthLine(2)}) + good, good);
    row("Location of no redirect", hostile::head(200, {"Location: /else", lengthLine(2)}) + good, good);
    row("encoding that changes nothing", hostile::head(200, {"Content-Encoding: Identity", lengthLine(2)}) + good,
        good);
    row("204", hostile::head(204), {});
    QTest::newRow("end of the connection for a length")
        << hostile::sentAndClosed(hostile::head(200, {"Connection: close"}) + "{}") << good;
}

void TestBrokenAnswers::takesWhatStillIsAnAnswer()
{
    QFETCH(HostileAnswer, answer);
    const HostileServer server(authority().issue(), {answer});
    const auto [end, next] = endsOf(server);
    QCOMPARE(end.failure, QString());
    QTEST(end.body, "body");
    QCOMPARE(next.failure, QString());
    QCOMPARE(next.body, QByteArray("{}"));
}

void TestBrokenAnswers::dropsWhatFollowsAnAnswer_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("more body than was announced") << kGood + QByteArray(100, 'x');
    QTest::newRow("two answers at once") << kGood + hostile::head(200, {lengthLine(5)}) + "false";
    QTest::newRow("answer after the last chunk")
        << kChunked + hostile::chunk("{}") + hostile::chunk({}) + hostile::head(200, {lengthLine(5)}) + "false";
}

void TestBrokenAnswers::dropsWhatFollowsAnAnswer()
{
    QFETCH(QByteArray, bytes);
    const HostileServer server(authority().issue(), {hostile::sent(bytes)});
    const auto [end, next] = endsOf(server);
    QCOMPARE(end.failure, QString());
    QCOMPARE(end.body, QByteArray("{}"));
    QCOMPARE(next.failure, QString());
    QCOMPARE(next.body, QByteArray("{}"));
    QCOMPARE(server.connections(), 2);
}

VOK_WINDOW_TEST_MAIN(TestBrokenAnswers)
#include "test_broken_answers.moc"
