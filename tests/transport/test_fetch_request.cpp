#include "support/exchange.h"
#include "support/failure_of.h"
#include "support/hostile_server.h"
#include "support/modal_player.h"
#include "support/temp_tree.h"
#include "transport/tls_trust.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using namespace vok;
using namespace vok::test_support;

class TestFetchRequest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void asksForAPathWithNothingButItsHeaders();
    void sendsABodyAsJson();
    void sendsTheSessionWhereAskedTo();
    void refusesAtOnceWhatItCanTell_data();
    void refusesAtOnceWhatItCanTell();
    void asksNobodyWhereItRefusesAtOnce();
    void refusesTheSessionOfAnotherServer();
    void makesABudgetOfItsOwn();
    void offersNothingButHttp11();
    void keepsNoCookies();
    void keepsNoCredentials();
    void countsAsBusyForAsLongAsItLasts();

private:
    const TempTree tree;
};

namespace
{

const QString kMalformed = u"HTTPS URL with host and no credentials/fragment required"_s;
const QString kOriginRefused = u"HTTPS origin refused"_s;
const QString kTooLate = u"HTTPS operation wall deadline exceeded"_s;
const QString kUnreadableCa = u"Cannot read configured CA file"_s;
const QString kNoPem = u"Configured CA contains no PEM certificates"_s;
const QString kNoSession = u"Önce seçili sunucuya giriş yapın"_s;
const QString kNoStage = u"Cannot stage HTTPS download"_s;

// The four in the end are Qt's own.
const QList<QByteArray> kNamesWithoutBody{"host", "user-agent", "accept", "accept-encoding", "connection"};

TestAuthority authority()
{
    return TestAuthority(u"Test CA"_s);
}

QString caFile()
{
    return authority().pemPath();
}

QList<QByteArray> sorted(QList<QByteArray> names)
{
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

void TestFetchRequest::init()
{
    clearSettings();
}

void TestFetchRequest::asksForAPathWithNothingButItsHeaders()
{
    const HttpsServer server(authority().issue());
    const LauncherWindow window;
    const auto outcome = startFetch(window, {.url = server.url(u"/v1/status?x=1"_s), .caFile = caFile()});
    QTRY_COMPARE(outcome->ends(), 1);
    QCOMPARE(outcome->failures, QStringList());
    QCOMPARE(outcome->body, QByteArray("{}"));
    const HttpRequest& request = server.lastRequest();
    QCOMPARE(request.method, QByteArray("GET"));
    QCOMPARE(request.target, QByteArray("/v1/status?x=1"));
    QCOMPARE(request.body, QByteArray());
    QCOMPARE(sorted(request.headerNames()), sorted(kNamesWithoutBody));
    QCOMPARE(request.header("Host"), "127.0.0.1:" + QByteArray::number(server.port()));
    QCOMPARE(request.header("User-Agent"), QByteArray("VOK-native-launcher/2"));
    QCOMPARE(request.header("Accept"), QByteArray("application/json"));
    QCOMPARE(request.header("Accept-Encoding"), QByteArray("identity"));
    QCOMPARE(request.header("Connection"), QByteArray("close"));
    QVERIFY(request.protocol >= QSsl::TlsV1_2);
}

void TestFetchRequest::sendsABodyAsJson()
{
    const HttpsServer server(authority().issue());
    const LauncherWindow window;
    const auto outcome =
        startFetch(window, {.url = server.url(), .caFile = caFile(), .method = "POST", .body = R"({"a":"ğ"})"});
    QTRY_COMPARE(outcome->successes, 1);
    QCOMPARE(server.lastRequest().method, QByteArray("POST"));
    QCOMPARE(server.lastRequest().body, QByteArray(R"({"a":"ğ"})"));
    QCOMPARE(
        sorted(server.lastRequest().headerNames()),
        sorted(kNamesWithoutBody + QList<QByteArray>{"content-length", "content-type"}));
    QCOMPARE(server.lastRequest().header("Content-Type"), QByteArray("application/json"));
    QCOMPARE(server.lastRequest().header("Content-Length"), QByteArray("10"));
}

void TestFetchRequest::sendsTheSessionWhereAskedTo()
{
    const HttpsServer server(authority().issue());
    selectProfile(server.origin(), caFile());
    const LauncherWindow window;
    window.access.logIn(server.origin());
    const auto outcome = startFetch(window, {.url = server.url(), .caFile = caFile(), .auth = true});
    QTRY_COMPARE(outcome->successes, 1);
    QCOMPARE(server.lastRequest().header("Authorization"), "Bearer " + QByteArray(64, 'a'));
    const auto second = startFetch(window, {.url = server.url(), .caFile = caFile()});
    QTRY_COMPARE(second->successes, 1);
    QVERIFY(!server.lastRequest().hasHeader("Authorization"));
}

void TestFetchRequest::refusesAtOnceWhatItCanTell_data()
{
    QTest::addColumn<FetchCall>("call");
    QTest::addColumn<QString>("refusal");
    const auto row = [](const char* name, const FetchCall& call, const QString& refusal) {
        QTest::newRow(name) << call << refusal;
    };
    const QUrl url(u"https://127.0.0.1:1/"_s);
    const QUrl other(u"https://127.0.0.1:2/"_s);
    const QString missing = tree.path(u"missing/file"_s);
    row("no URL", {}, kMalformed);
    row("http", {.url = QUrl(u"http://127.0.0.1:1/"_s)}, kMalformed);
    row("fragment", {.url = QUrl(u"https://127.0.0.1:1/#"_s)}, kMalformed);
    row("another origin", {.url = url, .budget = budgetOf(other, 1, 1min)}, kOriginRefused);
    row("no time left", {.url = url, .budget = budgetOf(url, 1, 0ms)}, kTooLate);
    row("missing CA file", {.url = url, .caFile = missing}, kUnreadableCa);
    row("folder as CA file", {.url = url, .caFile = tree.path()}, kUnreadableCa);
    row("empty CA file", {.url = url, .caFile = tree.write(u"empty.pem"_s, {})}, kNoPem);
    row("CA file without a certificate", {.url = url, .caFile = tree.write(u"text.pem"_s, "no PEM")}, kNoPem);
    row("key as CA file", {.url = url, .caFile = authority().issue().keyPath}, kNoPem);
    row("no session", {.url = url, .auth = true}, kNoSession);
    row("stage in a missing folder", {.url = url, .stagePath = missing}, kNoStage);
    row("folder as stage", {.url = url, .stagePath = tree.makeDirectory(u"folder"_s)}, kNoStage);
    // Of several faults the first in the order of the tests is told.
    row("form before origin", {.url = QUrl(u"http://a"_s), .budget = budgetOf(other, 1, 0ms)}, kMalformed);
    row("origin before time", {.url = url, .budget = budgetOf(other, 1, 0ms)}, kOriginRefused);
    row("time before CA", {.url = url, .caFile = missing, .budget = budgetOf(url, 1, 0ms)}, kTooLate);
    row("CA before session", {.url = url, .caFile = missing, .auth = true}, kUnreadableCa);
    row("session before stage", {.url = url, .stagePath = missing, .auth = true}, kNoSession);
}

void TestFetchRequest::refusesAtOnceWhatItCanTell()
{
    QFETCH(FetchCall, call);
    const LauncherWindow window;
    const ModalPlayer player;
    QTEST(failureOf([&] { startFetch(window, call); }), "refusal");
    QVERIFY(window.access.activeReplies().isEmpty());
    QTest::qWait(20);
    QCOMPARE(player.seen.size(), 0);
}

void TestFetchRequest::asksNobodyWhereItRefusesAtOnce()
{
    const HttpsServer server(authority().issue());
    const LauncherWindow window;
    const QString missing = tree.path(u"missing/file"_s);
    const FetchCall calls[] = {
        {.url = server.url(), .budget = budgetOf(server.url(), 1, 0ms)},
        {.url = server.url(), .caFile = missing},
        {.url = server.url(), .caFile = caFile(), .auth = true},
        {.url = server.url(), .caFile = caFile(), .stagePath = missing}};
    for (const FetchCall& call : calls)
        QVERIFY(!failureOf([&] { startFetch(window, call); }).isEmpty());
    const auto outcome = startFetch(window, {.url = server.url(u"/asked"_s), .caFile = caFile()});
    QTRY_COMPARE(outcome->successes, 1);
    QCOMPARE(server.requests().size(), 1);
    QCOMPARE(server.lastRequest().target, QByteArray("/asked"));
}

void TestFetchRequest::refusesTheSessionOfAnotherServer()
{
    const HttpsServer server(authority().issue());
    selectProfile(server.origin(), caFile());
    const LauncherWindow window;
    window.access.logIn(u"https://elsewhere.example:7443"_s);
    const FetchCall call{.url = server.url(), .caFile = caFile(), .auth = true};
    QCOMPARE(failureOf([&] { startFetch(window, call); }), kNoSession);
    window.access.logIn(server.origin() + u'/');
    QCOMPARE(failureOf([&] { startFetch(window, call); }), kNoSession);
    window.access.clearSession();
    window.access.sessionAuth() = server.origin();
    QCOMPARE(failureOf([&] { startFetch(window, call); }), kNoSession);
    QCOMPARE(server.connections(), 0);
}

void TestFetchRequest::makesABudgetOfItsOwn()
{
    HttpsServer server(authority().issue());
    server.setHandler([](const HttpRequest&) { return json(403, {}); });
    const LauncherWindow window;
    const ModalPlayer player;
    window.access.fetch(
        server.url(), caFile(), "GET", {}, false, 100, {}, [](const QByteArray&) {}, 0, nullptr);
    QTRY_COMPARE(player.seen.size(), 1);
    const QString refusal =
        u"Sunucu isteği reddetti (403): Error transferring %1/ - server replied: Forbidden"_s.arg(server.origin());
    QCOMPARE(window.status(), refusal);
    QCOMPARE(window.logTexts().constLast(), refusal);
}

// HTTP/2 is offered in the clear, in the greeting that a server without TLS gets to see.
void TestFetchRequest::offersNothingButHttp11()
{
    const PlainServer server(PlainServer::Manner::HangsUp);
    QNetworkAccessManager ordinary;
    ordinary.get(QNetworkRequest(QUrl(server.origin())));
    QTRY_VERIFY(server.received().contains("\x02h2"));

    const PlainServer asked(PlainServer::Manner::HangsUp);
    const LauncherWindow window;
    const auto outcome = startFetch(window, {.url = QUrl(asked.origin()), .caFile = caFile()});
    QTRY_COMPARE(outcome->ends(), 1);
    QVERIFY(asked.received().startsWith('\x16'));
    QVERIFY(!asked.received().contains("\x02h2"));
}

void TestFetchRequest::keepsNoCookies()
{
    HttpsServer server(authority().issue());
    server.setHandler([](const HttpRequest& request) -> HttpAnswer {
        const std::pair<QByteArray, QByteArray> cookie("Set-Cookie", "a=b; Path=/; Secure; Max-Age=3600");
        if (request.target == "/redirect")
            return {302, {}, {cookie, {"Location", "/"}}};
        return {200, "{}", {cookie}};
    });

    QNetworkAccessManager ordinary;
    for (int round = 0; round < 2; ++round) {
        QNetworkRequest request(server.url());
        request.setSslConfiguration(tlsConfiguration(caFile()));
        const std::unique_ptr<QNetworkReply> reply(ordinary.get(request));
        QTRY_VERIFY(reply->isFinished());
        QCOMPARE(server.lastRequest().hasHeader("Cookie"), round == 1);
    }

    const LauncherWindow window;
    for (const QString& path : {u"/"_s, u"/redirect"_s, u"/"_s}) {
        const auto outcome = startFetch(window, {.url = server.url(path), .caFile = caFile()});
        QTRY_COMPARE(outcome->ends(), 1);
        QCOMPARE(outcome->failures, QStringList());
    }
    QCOMPARE(server.requests().size(), 2 + 4);
    for (const HttpRequest& request : server.requests().sliced(2))
        QVERIFY(!request.hasHeader("Cookie"));
}

void TestFetchRequest::keepsNoCredentials()
{
    HttpsServer server(authority().issue());
    server.setHandler([](const HttpRequest&) -> HttpAnswer {
        return {401, "{}", {{"WWW-Authenticate", "Basic realm=\"a\""}}};
    });
    const LauncherWindow window;
    const QString refusal = u"Sunucu isteği reddetti (401): Host requires authentication"_s;
    for (int round = 0; round < 2; ++round) {
        const auto outcome = startFetch(window, {.url = server.url(), .caFile = caFile()});
        QTRY_COMPARE(outcome->ends(), 1);
        QCOMPARE(outcome->failures, QStringList(refusal));
        QVERIFY(!server.lastRequest().hasHeader("Authorization"));
    }
    QCOMPARE(server.requests().size(), 2);
}

void TestFetchRequest::countsAsBusyForAsLongAsItLasts()
{
    HttpsServer server(authority().issue());
    server.setHandler([](const HttpRequest&) { return held(json(200, {})); });
    const LauncherWindow window;
    const auto outcome = startFetch(window, {.url = server.url(), .caFile = caFile()});
    QCOMPARE(window.access.activeReplies().size(), 1);
    QCOMPARE(
        failureOf([&] { window.access.startAssetWork(); }),
        u"Another installation/update or HTTPS request is active"_s);
    QTRY_COMPARE(server.heldAnswers(), 1);
    server.release();
    QTRY_COMPARE(outcome->successes, 1);
    QVERIFY(window.access.activeReplies().isEmpty());
    window.access.startAssetWork();
    QVERIFY(window.access.assetBusy());
}

VOK_WINDOW_TEST_MAIN(TestFetchRequest)
#include "test_fetch_request.moc"
