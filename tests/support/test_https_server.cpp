#include "support/https_server.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace vok::test_support;

class TestHttpsServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordsWhatItWasAskedAndAnswersAsTold();
    void keepsConnectionsAlive();
    void holdsAnAnswerUntilItIsReleased();
    void showsCertificatesOfEveryKind_data();
    void showsCertificatesOfEveryKind();
    void givesTheSameIdentityForTheSameWish();
};

namespace
{

QNetworkRequest requestTo(const QUrl& url, const TestAuthority& trusted)
{
    QNetworkRequest request(url);
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setCaCertificates({trusted.certificate()});
    request.setSslConfiguration(tls);
    return request;
}

std::unique_ptr<QNetworkReply> waited(QNetworkReply* reply)
{
    QSignalSpy finished(reply, &QNetworkReply::finished);
    if (!reply->isFinished() && !finished.wait())
        qFatal("no end of a reply");
    return std::unique_ptr<QNetworkReply>(reply);
}

} // namespace

void TestHttpsServer::recordsWhatItWasAskedAndAnswersAsTold()
{
    const TestAuthority ca(u"Test CA"_s);
    HttpsServer server(ca.issue(), [](const HttpRequest&) { return json(403, {{u"a"_s, 1}}); });
    QNetworkAccessManager manager;
    QNetworkRequest request = requestTo(server.url(u"/v1/login?x=1"_s), ca);
    request.setRawHeader("X-Test", "yes: it is");
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    const auto reply = waited(manager.post(request, R"({"b":2})"));
    QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 403);
    QCOMPARE(reply->readAll(), QByteArray(R"({"a":1})"));
    QCOMPARE(server.requests().size(), 1);
    const HttpRequest& seen = server.lastRequest();
    QCOMPARE(seen.method, QByteArray("POST"));
    QCOMPARE(seen.target, QByteArray("/v1/login?x=1"));
    QCOMPARE(seen.header("x-tEST"), QByteArray("yes: it is"));
    QVERIFY(seen.hasHeader("Host") && !seen.hasHeader("Cookie"));
    QCOMPARE(seen.json(), QJsonObject({{u"b"_s, 2}}));
    QVERIFY(seen.protocol >= QSsl::TlsV1_2);
}

void TestHttpsServer::keepsConnectionsAlive()
{
    const TestAuthority ca(u"Test CA"_s);
    HttpsServer server(ca.issue());
    QNetworkAccessManager manager;
    for (int round = 0; round < 3; ++round)
        QCOMPARE(waited(manager.get(requestTo(server.url(), ca)))->readAll(), QByteArray("{}"));
    QCOMPARE(server.connections(), 1);
    QCOMPARE(server.handshakes(), 1);
    QCOMPARE(server.lastRequest().connection, 1);
    server.abortConnections();
    QCOMPARE(waited(manager.get(requestTo(server.url(), ca)))->readAll(), QByteArray("{}"));
    QCOMPARE(server.handshakes(), 2);
    QCOMPARE(server.lastRequest().connection, 2);
}

void TestHttpsServer::holdsAnAnswerUntilItIsReleased()
{
    const TestAuthority ca(u"Test CA"_s);
    HttpsServer server(ca.issue(), [](const HttpRequest&) { return held(json(200, {})); });
    QNetworkAccessManager manager;
    QNetworkReply* reply = manager.get(requestTo(server.url(), ca));
    QTRY_COMPARE(server.heldAnswers(), 1);
    QVERIFY(!reply->isFinished());
    server.release();
    QCOMPARE(waited(reply)->readAll(), QByteArray("{}"));
    QCOMPARE(server.heldAnswers(), 0);
}

void TestHttpsServer::showsCertificatesOfEveryKind_data()
{
    const TestAuthority ca(u"Test CA"_s);
    QTest::addColumn<ServerIdentity>("identity");
    QTest::addColumn<QString>("host");
    QTest::addColumn<QNetworkReply::NetworkError>("error");
    const auto row = [](const char* name, const ServerIdentity& identity, QNetworkReply::NetworkError error,
                        const QString& host = u"127.0.0.1"_s) { QTest::newRow(name) << identity << host << error; };
    row("right, by address", ca.issue(), QNetworkReply::NoError);
    row("right, by name", ca.issue(), QNetworkReply::NoError, u"localhost"_s);
    row("through an intermediate", ca.intermediate(u"Between"_s).issue(), QNetworkReply::NoError);
    row("of another authority", TestAuthority(u"Other CA"_s).issue(), QNetworkReply::SslHandshakeFailedError);
    row("expired", ca.issue({.validity = Validity::Expired}), QNetworkReply::SslHandshakeFailedError);
    row("not yet valid", ca.issue({.validity = Validity::NotYet}), QNetworkReply::SslHandshakeFailedError);
    row("for another name", ca.issue({.names = {u"DNS:elsewhere.example"_s}}), QNetworkReply::SslHandshakeFailedError);
}

void TestHttpsServer::showsCertificatesOfEveryKind()
{
    QFETCH(ServerIdentity, identity);
    QFETCH(QString, host);
    HttpsServer server(identity);
    QNetworkAccessManager manager;
    const auto reply = waited(manager.get(requestTo(server.url(u"/"_s, host), TestAuthority(u"Test CA"_s))));
    QTEST(reply->error(), "error");
    QCOMPARE(server.requests().isEmpty(), reply->error() != QNetworkReply::NoError);
    QCOMPARE(server.connections(), 1);
}

void TestHttpsServer::givesTheSameIdentityForTheSameWish()
{
    const TestAuthority ca(u"Test CA"_s);
    QCOMPARE(TestAuthority(u"Test CA"_s).pemPath(), ca.pemPath());
    QCOMPARE(ca.issue().certificatePath, ca.issue().certificatePath);
    QVERIFY(ca.issue().certificatePath != TestAuthority(u"Other CA"_s).issue().certificatePath);
}

QTEST_GUILESS_MAIN(TestHttpsServer)
#include "test_https_server.moc"
