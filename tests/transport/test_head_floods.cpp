#include "support/hostile_exchange.h"

using namespace Qt::Literals::StringLiterals;
using namespace vok::test_support;

class TestHeadFloods : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void keepsTheMemoryFlat_data();
    void keepsTheMemoryFlat();
    void sendsNoPostTwice_data();
    void sendsNoPostTwice();
    void takesNoAnswerFromBeforeTheRequest();
    void refusesWhatIsPacked();
};

namespace
{

TestAuthority authority()
{
    return TestAuthority(u"Test CA"_s);
}

} // namespace

void TestHeadFloods::keepsTheMemoryFlat_data()
{
    const QByteArray block(16384, 'x');
    const QByteArray chunked = hostile::head(200, {"Transfer-Encoding: chunked"});
    QTest::addColumn<HostileAnswer>("answer");
    const auto row = [](const char* name, const HostileAnswer& answer) { QTest::newRow(name) << answer; };
    row("status line", hostile::endless("HTTP/1.1 200 ", block));
    row("header line", hostile::endless("HTTP/1.1 200 OK\r\nX: ", block));
    row("header lines", hostile::endless("HTTP/1.1 200 OK\r\n", QByteArray("X: y\r\n").repeated(1000)));
    row("size of a chunk", hostile::endless(chunked + "1;", block));
    row("chunks of one byte", hostile::endless(chunked, hostile::chunk("x").repeated(1000)));
    row("trailer", hostile::endless(chunked + hostile::chunk("{}") + "0\r\n", QByteArray("X: y\r\n").repeated(1000)));
    row("informational answers", hostile::endless({}, hostile::head(100).repeated(100)));
    row("blank lines", hostile::endless({}, QByteArray("\r\n").repeated(1000)));
}

void TestHeadFloods::keepsTheMemoryFlat()
{
    QFETCH(HostileAnswer, answer);
    const HostileServer server(authority().issue(), {answer});
    const auto [end, next] = endsOf(server, authority().pemPath(), 2000);
    qInfo(
        "%lld ms, %lld KiB taken, at most %lld KiB more", end.elapsedMs, server.bytesTaken() / 1024,
        end.grownBytes / 1024);
    QVERIFY(!end.failure.isEmpty());
    QVERIFY(end.grownBytes < qint64{24} << 20);
    QCOMPARE(next.body, QByteArray("{}"));
}

void TestHeadFloods::sendsNoPostTwice_data()
{
    QTest::addColumn<HostileAnswer>("answer");
    QTest::newRow("closed at once") << hostile::sentAndClosed({});
    QTest::newRow("closed within the head") << hostile::sentAndClosed("HTTP/1.1 200 OK\r\nConte");
    QTest::newRow("cut off within the head") << hostile::sentAndCut("HTTP/1.1 200 OK\r\nConte");
    QTest::newRow("no HTTP") << hostile::sent("hello\r\n\r\n");
}

// A second registration or a second use of a reset code is refused although the first has succeeded.
void TestHeadFloods::sendsNoPostTwice()
{
    QFETCH(HostileAnswer, answer);
    const HostileServer server(authority().issue(), QList<HostileAnswer>(10, answer));
    const LauncherWindow window;
    const auto outcome =
        startFetch(window, {.url = server.url(), .caFile = authority().pemPath(), .method = "POST", .body = "{}"});
    QTRY_COMPARE(outcome->ends(), 1);
    QCOMPARE(server.requests().size(), 1);
}

void TestHeadFloods::takesNoAnswerFromBeforeTheRequest()
{
    using namespace std::chrono_literals;
    const QByteArray good = hostile::head(200, {"Content-Length: 2"}) + "{}";
    const QByteArray unasked = hostile::head(200, {"Content-Length: 5"}) + "false";
    const HostileServer server(authority().issue(), {hostile::sentInTwo(good, unasked, 50ms)});
    selectProfile(server.origin(), authority().pemPath());
    const LauncherWindow window;
    const auto first = startApi(window, u"/v1/status"_s);
    QTRY_COMPARE(first->successes, 1);
    QTest::qWait(150);
    const auto second = startApi(window, u"/v1/next"_s);
    QTRY_COMPARE(second->successes, 1);
    QCOMPARE(second->body, QByteArray("{}"));
}

void TestHeadFloods::refusesWhatIsPacked()
{
    const QByteArray head = hostile::head(200, {"Content-Encoding: gzip", "Content-Length: 2"});
    const HostileServer server(authority().issue(), {hostile::sent(head + "{}")});
    const auto [end, next] = endsOf(server, authority().pemPath(), 60000);
    QVERIFY2(!end.failure.isEmpty(), end.body.toHex().constData());
}

VOK_WINDOW_TEST_MAIN(TestHeadFloods)
#include "test_head_floods.moc"
