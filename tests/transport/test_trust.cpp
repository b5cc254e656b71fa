#include "support/exchange.h"
#include "support/hostile_server.h"
#include "support/temp_tree.h"

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using namespace vok;
using namespace vok::test_support;

class TestTrust : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void trustsWhatTheAuthorityCertifies_data();
    void trustsWhatTheAuthorityCertifies();
    void refusesEveryOtherCertificate_data();
    void refusesEveryOtherCertificate();
    void trustsTheSystemWithoutACaFile();
    void trustsEveryAuthorityOfTheFile();
    void opensAConnectionForEachRequest();
    void travelsOnNoConnectionOfAnotherTrust_data();
    void travelsOnNoConnectionOfAnotherTrust();
    void recoversFromARefusal();
    void readsTheCaFileAnew();
    void keepsTwoTrustsApartAtOnce();
    void keepsTwoWindowsApart();
    void refusesOldProtocols();
    void refusesServersWithoutTls_data();
    void refusesServersWithoutTls();
};

namespace
{

const QString kHandshakeFailed = u"Sunucu isteği reddetti (0): SSL handshake failed: "_s;
const QString kDeadline = u"HTTPS operation wall deadline exceeded"_s;

const QString kUnknownIssuer = u"The issuer certificate of a locally looked up certificate could not be found"_s;

TestAuthority right()
{
    return TestAuthority(u"Test CA"_s);
}

TestAuthority wrong()
{
    return TestAuthority(u"Other CA"_s);
}

/// Whether `outcome` is the one refusal of a certificate for `reason`, in the words of Qt.
bool isRefused(const Outcome& outcome, const QString& reason)
{
    const bool is = outcome.successes == 0 && outcome.failures == QStringList(kHandshakeFailed + reason);
    if (!is)
        qWarning("%s", qPrintable(outcome.failures.join(u'|')));
    return is;
}

} // namespace

void TestTrust::trustsWhatTheAuthorityCertifies_data()
{
    QTest::addColumn<ServerIdentity>("identity");
    QTest::addColumn<QString>("host");
    QTest::newRow("address") << right().issue() << u"127.0.0.1"_s;
    QTest::newRow("name") << right().issue() << u"localhost"_s;
    QTest::newRow("through an intermediate") << right().intermediate(u"Between"_s).issue() << u"127.0.0.1"_s;
    QTest::newRow("through two") << right().intermediate(u"Between"_s).intermediate(u"Below"_s).issue()
                                 << u"127.0.0.1"_s;
}

void TestTrust::trustsWhatTheAuthorityCertifies()
{
    QFETCH(ServerIdentity, identity);
    QFETCH(QString, host);
    const HttpsServer server(identity);
    const LauncherWindow window;
    const auto outcome = startFetch(window, {.url = server.url(u"/"_s, host), .caFile = right().pemPath()});
    QTRY_COMPARE(outcome->ends(), 1);
    QCOMPARE(outcome->failures, QStringList());
    QCOMPARE(outcome->body, QByteArray("{}"));
}

void TestTrust::refusesEveryOtherCertificate_data()
{
    QTest::addColumn<ServerIdentity>("identity");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const ServerIdentity& identity, const QString& reason) {
        QTest::newRow(name) << identity << reason;
    };
    row("expired", right().issue({.validity = Validity::Expired}), u"The certificate has expired"_s);
    row("not yet valid", right().issue({.validity = Validity::NotYet}), u"The certificate is not yet valid"_s);
    row("another name", right().issue({.names = {u"DNS:elsewhere.example"_s}}),
        u"The host name did not match any of the valid hosts for this certificate"_s);
    row("another address", right().issue({.names = {u"IP:127.0.0.2"_s}}),
        u"The host name did not match any of the valid hosts for this certificate"_s);
    row("name for the address", right().issue({.names = {u"DNS:localhost"_s}}),
        u"The host name did not match any of the valid hosts for this certificate"_s);
    row("another authority", wrong().issue(), kUnknownIssuer);
    ServerIdentity broken = right().intermediate(u"Between"_s).issue();
    broken.chain.resize(1);
    row("missing intermediate", broken, kUnknownIssuer);
}

void TestTrust::refusesEveryOtherCertificate()
{
    QFETCH(ServerIdentity, identity);
    QFETCH(QString, reason);
    const HttpsServer server(identity);
    const LauncherWindow window;
    const auto outcome = startFetch(window, {.url = server.url(), .caFile = right().pemPath()});
    QTRY_COMPARE(outcome->ends(), 1);
    QVERIFY(isRefused(*outcome, reason));
    QCOMPARE(server.connections(), 1);
    QVERIFY(server.requests().isEmpty());
}

void TestTrust::trustsTheSystemWithoutACaFile()
{
    const HttpsServer server(right().issue());
    const HttpsServer elsewhere(right().issue());
    const LauncherWindow window;
    const auto pinned = startFetch(window, {.url = server.url(), .caFile = right().pemPath()});
    QTRY_COMPARE(pinned->successes, 1);
    const auto unpinned = startFetch(window, {.url = server.url()});
    QTRY_COMPARE(unpinned->ends(), 1);
    QVERIFY(isRefused(*unpinned, kUnknownIssuer));
    QCOMPARE(server.requests().size(), 1);

    // The system's trust is Qt's default configuration; with the authority in it the same request passes.
    QSslConfiguration system = QSslConfiguration::defaultConfiguration();
    const QSslConfiguration before = system;
    system.addCaCertificate(right().certificate());
    QSslConfiguration::setDefaultConfiguration(system);
    const auto trusted = startFetch(window, {.url = server.url()});
    // A profile with a CA file of its own does not get the system's trust on top.
    const auto foreign = startFetch(window, {.url = elsewhere.url(), .caFile = wrong().pemPath()});
    QSslConfiguration::setDefaultConfiguration(before);
    QTRY_COMPARE(trusted->successes, 1);
    QTRY_COMPARE(foreign->ends(), 1);
    QVERIFY(isRefused(*foreign, kUnknownIssuer));
    QVERIFY(elsewhere.requests().isEmpty());
}

void TestTrust::trustsEveryAuthorityOfTheFile()
{
    const TempTree tree;
    const QByteArray both = wrong().certificate().toPem() + "text between\n" + right().certificate().toPem();
    const QString caFile = tree.write(u"ca.pem"_s, both);
    const LauncherWindow window;
    for (const TestAuthority& authority : {right(), wrong()}) {
        const HttpsServer server(authority.issue());
        const auto outcome = startFetch(window, {.url = server.url(), .caFile = caFile});
        QTRY_COMPARE(outcome->successes, 1);
    }
}

void TestTrust::opensAConnectionForEachRequest()
{
    const HttpsServer server(right().issue());
    const LauncherWindow window;
    for (int round = 0; round < 3; ++round) {
        const auto outcome = startFetch(window, {.url = server.url(), .caFile = right().pemPath()});
        QTRY_COMPARE(outcome->successes, 1);
    }
    QCOMPARE(server.connections(), 3);
}

void TestTrust::travelsOnNoConnectionOfAnotherTrust_data()
{
    QTest::addColumn<QString>("second");
    QTest::newRow("another authority") << wrong().pemPath();
    QTest::newRow("the system's trust") << QString();
}

// The connection of the first request is still open when the second goes out, and the server would answer it.
void TestTrust::travelsOnNoConnectionOfAnotherTrust()
{
    QFETCH(QString, second);
    const HttpsServer server(right().issue());
    const LauncherWindow window;
    const auto pinned = startFetch(window, {.url = server.url(u"/1"_s), .caFile = right().pemPath()});
    QTRY_COMPARE(pinned->successes, 1);
    for (int round = 0; round < 2; ++round) {
        const auto foreign = startFetch(window, {.url = server.url(u"/2"_s), .caFile = second});
        QTRY_COMPARE(foreign->ends(), 1);
        QVERIFY(isRefused(*foreign, kUnknownIssuer));
        QCOMPARE(server.requests().size(), 1);
        QCOMPARE(server.connections(), 2 + round);
    }
    const auto again = startFetch(window, {.url = server.url(u"/3"_s), .caFile = right().pemPath()});
    QTRY_COMPARE(again->successes, 1);
    QCOMPARE(server.lastRequest().target, QByteArray("/3"));
}

void TestTrust::recoversFromARefusal()
{
    const HttpsServer server(right().issue());
    const LauncherWindow window;
    const auto refused = startFetch(window, {.url = server.url(), .caFile = wrong().pemPath()});
    QTRY_COMPARE(refused->ends(), 1);
    QVERIFY(isRefused(*refused, kUnknownIssuer));
    for (int round = 0; round < 2; ++round) {
        const auto outcome = startFetch(window, {.url = server.url(), .caFile = right().pemPath()});
        QTRY_COMPARE(outcome->successes, 1);
    }
}

void TestTrust::readsTheCaFileAnew()
{
    const TempTree tree;
    const QString caFile = tree.write(u"ca.pem"_s, right().certificate().toPem());
    const HttpsServer server(right().issue());
    const LauncherWindow window;
    const auto first = startFetch(window, {.url = server.url(), .caFile = caFile});
    QTRY_COMPARE(first->successes, 1);
    tree.write(u"ca.pem"_s, wrong().certificate().toPem());
    const auto second = startFetch(window, {.url = server.url(), .caFile = caFile});
    QTRY_COMPARE(second->ends(), 1);
    QVERIFY(isRefused(*second, kUnknownIssuer));
    QCOMPARE(server.requests().size(), 1);
}

void TestTrust::keepsTwoTrustsApartAtOnce()
{
    const auto holding = [](const HttpRequest& request) { return held({200, request.target}); };
    HttpsServer one(right().issue(), holding);
    HttpsServer other(wrong().issue(), holding);
    const LauncherWindow window;
    const auto first = startFetch(window, {.url = one.url(u"/1"_s), .caFile = right().pemPath()});
    const auto second = startFetch(window, {.url = other.url(u"/2"_s), .caFile = wrong().pemPath()});
    const auto third = startFetch(window, {.url = one.url(u"/3"_s), .caFile = right().pemPath()});
    const auto foreign = startFetch(window, {.url = one.url(u"/4"_s), .caFile = wrong().pemPath()});
    QCOMPARE(window.access.activeReplies().size(), 4);
    QTRY_COMPARE(foreign->ends(), 1);
    QVERIFY(isRefused(*foreign, kUnknownIssuer));
    QTRY_COMPARE(one.heldAnswers(), 2);
    QTRY_COMPARE(other.heldAnswers(), 1);
    other.release();
    QTRY_COMPARE(second->successes, 1);
    QCOMPARE(first->ends() + third->ends(), 0);
    one.release();
    QTRY_COMPARE(first->successes + third->successes, 2);
    QCOMPARE(first->body, QByteArray("/1"));
    QCOMPARE(second->body, QByteArray("/2"));
    QCOMPARE(third->body, QByteArray("/3"));
    QVERIFY(window.access.activeReplies().isEmpty());
}

void TestTrust::keepsTwoWindowsApart()
{
    const HttpsServer server(right().issue());
    const LauncherWindow one;
    const LauncherWindow other;
    const auto first = startFetch(one, {.url = server.url(), .caFile = right().pemPath()});
    QTRY_COMPARE(first->successes, 1);
    const auto second = startFetch(other, {.url = server.url(), .caFile = wrong().pemPath()});
    const auto third = startFetch(one, {.url = server.url(), .caFile = right().pemPath()});
    QTRY_COMPARE(second->ends(), 1);
    QVERIFY(isRefused(*second, kUnknownIssuer));
    QTRY_COMPARE(third->successes, 1);
    QCOMPARE(server.requests().size(), 2);
}

void TestTrust::refusesOldProtocols()
{
    const OldTlsServer server(right().issue());
    QCOMPARE(server.protocolOfLenientClient(), u"TLSv1.1"_s);
    const LauncherWindow window;
    const auto outcome = startFetch(window, {.url = QUrl(server.origin()), .caFile = right().pemPath()});
    QTRY_COMPARE(outcome->ends(), 1);
    QVERIFY2(outcome->failures.value(0).startsWith(kHandshakeFailed), qPrintable(outcome->failures.join(u'|')));
}

void TestTrust::refusesServersWithoutTls_data()
{
    QTest::addColumn<PlainServer::Manner>("manner");
    QTest::addColumn<QByteArray>("greeting");
    QTest::addColumn<QString>("failure");
    QTest::newRow("HTTP in the clear") << PlainServer::Manner::Answers
                                       << hostile::head(200, {"Content-Length: 2"}) + "{}" << kHandshakeFailed;
    QTest::newRow("noise") << PlainServer::Manner::Answers << QByteArray(70000, '\x16') << kHandshakeFailed;
    QTest::newRow("silence") << PlainServer::Manner::Silent << QByteArray() << kDeadline;
    QTest::newRow("hanging up") << PlainServer::Manner::HangsUp << QByteArray()
                                << u"Sunucu isteği reddetti (0): Connection closed"_s;
}

// Why a handshake fails is told in the words of OpenSSL, which differ between its releases.
void TestTrust::refusesServersWithoutTls()
{
    QFETCH(PlainServer::Manner, manner);
    QFETCH(QByteArray, greeting);
    QFETCH(QString, failure);
    const PlainServer server(manner, greeting);
    const LauncherWindow window;
    window.access.setRequestTimeoutMs(1500);
    const QUrl url(server.origin());
    const auto outcome =
        startFetch(window, {.url = url, .caFile = right().pemPath(), .budget = budgetOf(url, 1000, 1500ms)});
    QTRY_COMPARE(outcome->ends(), 1);
    QVERIFY2(outcome->failures.value(0).startsWith(failure), qPrintable(outcome->failures.join(u'|')));
    QVERIFY(!server.received().contains("HTTP/1.1"));

    window.access.setRequestTimeoutMs(60000);
    const HttpsServer good(right().issue());
    const auto next = startFetch(window, {.url = good.url(), .caFile = right().pemPath()});
    QTRY_COMPARE(next->successes, 1);
}

VOK_WINDOW_TEST_MAIN(TestTrust)
#include "test_trust.moc"
