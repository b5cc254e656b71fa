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
    QTest::newRow("no HTTP at all") << hostile::sentAndClosed("hello\r\n\r\n") << 0;
    QTest::newRow("another version of HTTP") << hostile::sentAndClosed("HTTP/2 200 OK\r\n\r\n") << 0;
    QTest::newRow("status that is no number") << hostile::sentAndClosed("HTTP/1.1 abc OK\r\n\r\n") << 0;
}

// The answer is given more than once, because an unanswered request may be sent again.
void TestBrokenAnswers::tellsABrokenConnection()
{
    QFETCH(HostileAnswer, answer);
    QFETCH(int, status);
    const HostileServer server(authority().issue(), QList<HostileAnswer>(status == 0 ? 4 : 1, answer));
    const auto [end, next] = endsOf(server);
    QCOMPARE(end.failure, u"Sunucu isteği reddetti (%1): Connection closed"_s.arg(status));
    QCOMPARE(next.failure, QString());
    QCOMPARE(next.body, QByteArray("{}"));
}

void TestBrokenAnswers::tellsARefusalOfWhateverStatus_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("reason");
    const QString replied = u"Error transferring %1/v1/status - server replied: Whatever"_s;
    const QString unknown = u"Unknown error"_s;
    for (const int status : {-200, 0, 99, 101, 102, 103, 199})
        QTest::addRow("%d", status) << status << unknown;
    for (const int status : {400, 402, 403, 404, 409, 418, 429, 500, 503, 599, 600, 999, 99999})
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
    row("100 before the final answer", hostile::head(100) + kGood, good);
    row("100 header lines", hostile::head(200, QList<QByteArray>(99, "X: y") + QList<QByteArray>{lengthLine(2)}) + good,
        good);
    row("64 KiB of one header", hostile::head(200, {"X: " + QByteArray(65536, 'x'), lengthLine(2)}) + good, good);
    row("NUL in a header", hostile::head(200, {QByteArray("X: a\0b", 6), lengthLine(2)}) + good, good);
    row("line ends without CR", "HTTP/1.1 200 OK\nContent-Length: 2\n\n" + good, good);
    row("Location of no redirect", hostile::head(200, {"Location: /else", lengthLine(2)}) + good, good);
    row("length beside chunks",
        hostile::head(200, {lengthLine(7), "Transfer-Encoding: chunked"}) + hostile::chunk(good) + hostile::chunk({}),
        good);
    row("unknown encoding", hostile::head(200, {"Content-Encoding: x-none", lengthLine(2)}) + good, good);
    row("204", hostile::head(204), {});
    QTest::newRow("end of the connection for a length")
        << hostile::sentAndClosed(hostile::head(200, {"Connection: close"}) + "{}") << good;
    QTest::newRow("endless trailer") << hostile::endless(
        kChunked + hostile::chunk(good) + "0\r\n", "X: " + QByteArray(1000, 'y') + "\r\n")
                                     << good;
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
