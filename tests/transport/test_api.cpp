#include "support/exchange.h"
#include "support/failure_of.h"
#include "support/https_server.h"
#include "support/modal_player.h"
#include "support/temp_tree.h"

#include <QComboBox>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

class TestApi : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void asksTheSelectedProfile();
    void resolvesThePath_data();
    void resolvesThePath();
    void sendsCompactJson();
    void sendsTheSession();
    void refusesAtOnce_data();
    void refusesAtOnce();
    void readsTheCaBeforeTheSession();
    void tellsTheServersWords_data();
    void tellsTheServersWords();
    void tellsStatusAndReasonOtherwise_data();
    void tellsStatusAndReasonOtherwise();
    void tellsThatNobodyAnswers();
    void discardsAnswersForAnotherProfile_data();
    void discardsAnswersForAnotherProfile();
    void takesAnAnswerForAnUnchangedProfile();
    void tellsTheServersWordsWhateverTheProfile();
    void runsSeveralRequestsAtOnce();
    void tellsWhatTheReceiverThrows();

private:
    void refuseWith(int status, const QByteArray& body);

    std::unique_ptr<HttpsServer> m_server;
};

namespace
{

const QString kStale = u"Server profile changed; stale response discarded"_s;
const QString kMalformed = u"HTTPS URL with host and no credentials/fragment required"_s;
const QString kNoOrigin = u"Auth endpoint must be an HTTPS origin (no path/query)"_s;
const QString kNoSession = u"Önce seçili sunucuya giriş yapın"_s;
const QString kUnreadableCa = u"Cannot read configured CA file"_s;

TestAuthority authority()
{
    return TestAuthority(u"Test CA"_s);
}

} // namespace

void TestApi::init()
{
    clearSettings();
    m_server = std::make_unique<HttpsServer>(authority().issue());
    selectProfile(m_server->origin(), authority().pemPath());
}

void TestApi::cleanup()
{
    m_server.reset();
}

void TestApi::refuseWith(int status, const QByteArray& body)
{
    m_server->setHandler([=](const HttpRequest&) -> HttpAnswer { return {status, body}; });
}

void TestApi::asksTheSelectedProfile()
{
    const LauncherWindow window;
    const auto outcome = startApi(window, u"/v1/status"_s);
    QTRY_COMPARE(outcome->successes, 1);
    QCOMPARE(outcome->body, QByteArray("{}"));
    const HttpRequest& request = m_server->lastRequest();
    QCOMPARE(request.method, QByteArray("GET"));
    QCOMPARE(request.target, QByteArray("/v1/status"));
    QCOMPARE(request.body, QByteArray());
    QVERIFY(!request.hasHeader("Content-Type") && !request.hasHeader("Authorization"));
}

void TestApi::resolvesThePath_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("target");
    QTest::newRow("plain") << QString() << u"/v1/login"_s << QByteArray("/v1/login");
    QTest::newRow("origin with a slash") << u"/"_s << u"/v1/login"_s << QByteArray("/v1/login");
    QTest::newRow("query") << QString() << u"/v1/a?b=c"_s << QByteArray("/v1/a?b=c");
    QTest::newRow("blank") << QString() << u"/v1/a b"_s << QByteArray("/v1/a%20b");
}

void TestApi::resolvesThePath()
{
    QFETCH(QString, suffix);
    QFETCH(QString, path);
    selectProfile(m_server->origin() + suffix, authority().pemPath());
    const LauncherWindow window;
    const auto outcome = startApi(window, path);
    QTRY_COMPARE(outcome->successes, 1);
    QTEST(m_server->lastRequest().target, "target");
}

void TestApi::sendsCompactJson()
{
    const LauncherWindow window;
    const auto outcome =
        startApi(window, u"/v1/login"_s, "POST", {{u"username"_s, u"ğ x"_s}, {u"a"_s, QJsonObject{{u"b"_s, 1}}}});
    QTRY_COMPARE(outcome->successes, 1);
    QCOMPARE(m_server->lastRequest().method, QByteArray("POST"));
    QCOMPARE(m_server->lastRequest().body, QByteArray(R"({"a":{"b":1},"username":"ğ x"})"));
    QCOMPARE(m_server->lastRequest().header("Content-Type"), QByteArray("application/json"));
    const auto empty = startApi(window, u"/v1/logout"_s, "POST");
    QTRY_COMPARE(empty->successes, 1);
    QCOMPARE(m_server->lastRequest().body, QByteArray());
    QVERIFY(!m_server->lastRequest().hasHeader("Content-Type"));
}

void TestApi::sendsTheSession()
{
    const LauncherWindow window;
    window.access.logIn(m_server->origin());
    const auto outcome = startApi(window, u"/v1/logout"_s, "POST", {}, true);
    QTRY_COMPARE(outcome->successes, 1);
    QCOMPARE(m_server->lastRequest().header("Authorization"), "Bearer " + QByteArray(64, 'a'));
}

void TestApi::refusesAtOnce_data()
{
    QTest::addColumn<QString>("auth");
    QTest::addColumn<QString>("ca");
    QTest::addColumn<bool>("withSession");
    QTest::addColumn<QString>("refusal");
    const QString origin = u"https://127.0.0.1:1"_s;
    QTest::newRow("no address") << QString() << QString() << false << kMalformed;
    QTest::newRow("http") << u"http://127.0.0.1:1"_s << QString() << false << kMalformed;
    QTest::newRow("user") << u"https://user@127.0.0.1:1"_s << QString() << false << kMalformed;
    QTest::newRow("path") << origin + u"/v1"_s << QString() << false << kNoOrigin;
    QTest::newRow("query") << origin + u"?a"_s << QString() << false << kNoOrigin;
    QTest::newRow("missing CA") << origin << u"/nonexistent/ca.pem"_s << false << kUnreadableCa;
    QTest::newRow("missing CA and no session") << origin << u"/nonexistent/ca.pem"_s << true << kUnreadableCa;
    QTest::newRow("no session") << origin << QString() << true << kNoSession;
}

void TestApi::refusesAtOnce()
{
    QFETCH(QString, auth);
    QFETCH(QString, ca);
    QFETCH(bool, withSession);
    selectProfile(auth, ca);
    const LauncherWindow window;
    QTEST(failureOf([&] { startApi(window, u"/v1/status"_s, "GET", {}, withSession); }), "refusal");
    QVERIFY(window.access.activeReplies().isEmpty());
}

void TestApi::readsTheCaBeforeTheSession()
{
    const LauncherWindow window;
    storeProfile(m_server->origin(), u"/nonexistent/ca.pem"_s);
    QCOMPARE(failureOf([&] { startApi(window, u"/v1/status"_s); }), kUnreadableCa);
    QSettings().setValue(u"profiles/Deneme"_s, QByteArray("{ broken"));
    QCOMPARE(failureOf([&] { startApi(window, u"/v1/status"_s); }), kMalformed);
    QSettings().remove(u"profiles/Deneme"_s);
    QCOMPARE(failureOf([&] { startApi(window, u"/v1/status"_s); }), kMalformed);
    QCOMPARE(m_server->connections(), 0);
}

void TestApi::tellsTheServersWords_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("403") << 403;
    QTest::newRow("401") << 401;
    QTest::newRow("404") << 404;
    QTest::newRow("500") << 500;
    QTest::newRow("599") << 599;
}

void TestApi::tellsTheServersWords()
{
    QFETCH(int, status);
    refuseWith(status, R"({"error":{"code":7,"message":"Hesap kilitli: <b>%1</b>"},"a":1})");
    const LauncherWindow window;
    const ModalPlayer player;
    const auto outcome = startApi(window, u"/v1/login"_s, "POST", {{u"a"_s, 1}});
    QTRY_COMPARE(player.seen.size(), 1);
    QCOMPARE(window.status(), u"Hesap kilitli: <b>%1</b>"_s);
    QCOMPARE(window.logTexts().constLast(), u"Hesap kilitli: <b>%1</b>"_s);
    QCOMPARE(outcome->successes, 0);
}

void TestApi::tellsStatusAndReasonOtherwise_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("HTML") << QByteArray("<html><h1>Internal Server Error</h1></html>");
    QTest::newRow("message that is a number") << QByteArray(R"({"error":{"message":7}})");
    QTest::newRow("message that is empty") << QByteArray(R"({"error":{"message":""}})");
    QTest::newRow("message that is a list") << QByteArray(R"({"error":{"message":["a"]}})");
    QTest::newRow("no message") << QByteArray(R"({"error":{}})");
    QTest::newRow("error that is a text") << QByteArray(R"({"error":"a"})");
    QTest::newRow("message in the wrong place") << QByteArray(R"({"message":"a"})");
    QTest::newRow("list") << QByteArray(R"([{"error":{"message":"a"}}])");
    QTest::newRow("half of it") << QByteArray(R"({"error":{"message":"a"})");
    QTest::newRow("text after it") << QByteArray(R"({"error":{"message":"a"}} a)");
    QTest::newRow("no UTF-8") << QByteArray("{\"error\":{\"message\":\"\xff\"}}");
}

void TestApi::tellsStatusAndReasonOtherwise()
{
    QFETCH(QByteArray, body);
    refuseWith(500, body);
    const LauncherWindow window;
    const ModalPlayer player;
    const auto outcome = startApi(window, u"/v1/status"_s);
    QTRY_COMPARE(player.seen.size(), 1);
    QCOMPARE(
        window.status(),
        u"Sunucu isteği reddetti (500): Error transferring %1/v1/status - server replied: Internal Server Error"_s.arg(
            m_server->origin()));
    QCOMPARE(outcome->successes, 0);
}

void TestApi::tellsThatNobodyAnswers()
{
    m_server.reset();
    const LauncherWindow window;
    const ModalPlayer player;
    const auto outcome = startApi(window, u"/v1/status"_s);
    QTRY_COMPARE(player.seen.size(), 1);
    QCOMPARE(window.status(), u"Sunucu isteği reddetti (0): Connection refused"_s);
    QCOMPARE(outcome->successes, 0);
}

void TestApi::discardsAnswersForAnotherProfile_data()
{
    using Change = std::function<void(const LauncherWindow& window, const QString& origin)>;
    QTest::addColumn<Change>("change");
    QTest::newRow("another one is selected") << Change([](const LauncherWindow& window, const QString&) {
        window.find<QComboBox>("profiles").setCurrentText(u"Localhost"_s);
    });
    QTest::newRow("the address has changed") << Change([](const LauncherWindow&, const QString&) {
        storeProfile(u"https://elsewhere.example:7443"_s, authority().pemPath());
    });
    QTest::newRow("the address is spelt otherwise") << Change(
        [](const LauncherWindow&, const QString& origin) { storeProfile(origin + u'/', authority().pemPath()); });
    QTest::newRow("the CA has changed") << Change(
        [](const LauncherWindow&, const QString& origin) { storeProfile(origin, {}); });
    QTest::newRow("it is gone") << Change(
        [](const LauncherWindow&, const QString&) { QSettings().remove(u"profiles/Deneme"_s); });
    QTest::newRow("its JSON is broken") << Change(
        [](const LauncherWindow&, const QString&) { QSettings().setValue(u"profiles/Deneme"_s, QByteArray("{")); });
}

void TestApi::discardsAnswersForAnotherProfile()
{
    using Change = std::function<void(const LauncherWindow& window, const QString& origin)>;
    QFETCH(Change, change);
    m_server->setHandler([](const HttpRequest&) { return held(json(200, {})); });
    const LauncherWindow window;
    const ModalPlayer player;
    const auto outcome = startApi(window, u"/v1/login"_s, "POST", {{u"a"_s, 1}});
    QTRY_COMPARE(m_server->heldAnswers(), 1);
    change(window, m_server->origin());
    m_server->release();
    QTRY_COMPARE(player.seen.size(), 1);
    QCOMPARE(window.status(), kStale);
    QCOMPARE(outcome->successes, 0);
    QVERIFY(window.access.activeReplies().isEmpty());
}

void TestApi::takesAnAnswerForAnUnchangedProfile()
{
    m_server->setHandler([](const HttpRequest&) { return held(json(200, {})); });
    const LauncherWindow window;
    const auto outcome = startApi(window, u"/v1/status"_s);
    QTRY_COMPARE(m_server->heldAnswers(), 1);
    auto& profiles = window.find<QComboBox>("profiles");
    profiles.setCurrentText(u"Localhost"_s);
    profiles.setCurrentText(u"Deneme"_s);
    storeProfile(m_server->origin(), authority().pemPath());
    m_server->release();
    QTRY_COMPARE(outcome->successes, 1);
}

void TestApi::tellsTheServersWordsWhateverTheProfile()
{
    m_server->setHandler([](const HttpRequest&) { return held({403, R"({"error":{"message":"Hayır"}})"}); });
    const LauncherWindow window;
    const ModalPlayer player;
    const auto outcome = startApi(window, u"/v1/status"_s);
    QTRY_COMPARE(m_server->heldAnswers(), 1);
    window.find<QComboBox>("profiles").setCurrentText(u"Localhost"_s);
    m_server->release();
    QTRY_COMPARE(player.texts(), QStringList(u"Hayır"_s));
    QCOMPARE(outcome->successes, 0);
}

void TestApi::runsSeveralRequestsAtOnce()
{
    m_server->setHandler([](const HttpRequest& request) { return held({200, request.target}); });
    const LauncherWindow window;
    QList<std::shared_ptr<Outcome>> outcomes;
    for (int number = 0; number < 5; ++number)
        outcomes.append(startApi(window, u"/v1/"_s + QString::number(number)));
    QCOMPARE(window.access.activeReplies().size(), 5);
    QTRY_COMPARE(m_server->heldAnswers(), 5);
    m_server->release();
    for (int number = 0; number < 5; ++number) {
        QTRY_COMPARE(outcomes.at(number)->successes, 1);
        QCOMPARE(outcomes.at(number)->body, "/v1/" + QByteArray::number(number));
    }
    QVERIFY(window.access.activeReplies().isEmpty());
}

void TestApi::tellsWhatTheReceiverThrows()
{
    const LauncherWindow window;
    const ModalPlayer player;
    window.access.api(
        u"/v1/status"_s, "GET", {}, false, [](const QByteArray&) { throw std::runtime_error("Yanıt anlaşılmadı"); });
    QTRY_COMPARE(player.texts(), QStringList(u"Yanıt anlaşılmadı"_s));
    QCOMPARE(window.status(), u"Yanıt anlaşılmadı"_s);
    QVERIFY(window.access.activeReplies().isEmpty());
}

VOK_WINDOW_TEST_MAIN(TestApi)
#include "test_api.moc"
