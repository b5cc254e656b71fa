#include "accounts/server_profile.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace vok;

class TestServerProfile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesCompactJson();
    void readsWhatItWrites_data();
    void readsWhatItWrites();
    void readsWhatIsMissingAsEmpty_data();
    void readsWhatIsMissingAsEmpty();
};

void TestServerProfile::writesCompactJson()
{
    QCOMPARE(
        serialiseProfile({u"https://localhost:7443"_s, u"/srv/ca.pem"_s}),
        QByteArray("{\"auth\":\"https://localhost:7443\",\"ca\":\"/srv/ca.pem\"}"));
}

void TestServerProfile::readsWhatItWrites_data()
{
    QTest::addColumn<QString>("auth");
    QTest::addColumn<QString>("ca");
    QTest::newRow("both") << u"https://a.example:7443"_s << u"/a/b.pem"_s;
    QTest::newRow("no CA") << u"https://a.example:7443"_s << QString();
    QTest::newRow("Turkish letters, quotes and backslashes") << u"https://ışık.example:1"_s << u"C:\\\"İ\".pem"_s;
}

void TestServerProfile::readsWhatItWrites()
{
    QFETCH(QString, auth);
    QFETCH(QString, ca);
    const ServerProfile read = parseProfile(serialiseProfile({auth, ca}));
    QCOMPARE(read.auth, auth);
    QCOMPARE(read.ca, ca);
}

void TestServerProfile::readsWhatIsMissingAsEmpty_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("no profile") << QByteArray();
    QTest::newRow("no JSON") << QByteArray("auth");
    QTest::newRow("cut short") << QByteArray("{\"auth\":\"https://a.example:1");
    QTest::newRow("an array") << QByteArray("[\"auth\",\"ca\"]");
    QTest::newRow("other keys") << QByteArray("{\"Auth\":\"a\",\"CA\":\"b\"}");
    QTest::newRow("other types") << QByteArray("{\"auth\":1,\"ca\":[\"b\"]}");
    QTest::newRow("no UTF-8") << QByteArray("{\"auth\":\"\xff\xfe\"}");
}

void TestServerProfile::readsWhatIsMissingAsEmpty()
{
    QFETCH(QByteArray, json);
    const ServerProfile read = parseProfile(json);
    QCOMPARE(read.auth, QString());
    QCOMPARE(read.ca, QString());
}

QTEST_APPLESS_MAIN(TestServerProfile)
#include "test_server_profile.moc"
