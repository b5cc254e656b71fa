#include "accounts/server_profile.h"
#include "support/failure_of.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace vok;
using namespace vok::test_support;

class TestServerProfile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesCompactJson_data();
    void writesCompactJson();
    void readsBackWhatItHasWritten_data();
    void readsBackWhatItHasWritten();
    void readsWhatIsNoProfileAsEmpty_data();
    void readsWhatIsNoProfileAsEmpty();
    void readsEachFieldByItself();
    void trimsNames_data();
    void trimsNames();
    void refusesNames_data();
    void refusesNames();
    void completesAddresses_data();
    void completesAddresses();
    void refusesAddresses_data();
    void refusesAddresses();
};

namespace
{

void addProfiles()
{
    QTest::addColumn<QString>("auth");
    QTest::addColumn<QString>("ca");
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("both") << u"https://localhost:7443"_s << u"/srv/ca.pem"_s
                          << QByteArray("{\"auth\":\"https://localhost:7443\",\"ca\":\"/srv/ca.pem\"}");
    QTest::newRow("no CA") << u"https://a.example:7443"_s << QString()
                           << QByteArray("{\"auth\":\"https://a.example:7443\",\"ca\":\"\"}");
    QTest::newRow("Turkish letters, quotes and backslashes")
        << u"https://ışık.example:1"_s << u"C:\\\"İ\".pem"_s
        << QByteArray("{\"auth\":\"https://ışık.example:1\",\"ca\":\"C:\\\\\\\"İ\\\".pem\"}");
}

} // namespace

void TestServerProfile::writesCompactJson_data()
{
    addProfiles();
}

void TestServerProfile::writesCompactJson()
{
    QFETCH(QString, auth);
    QFETCH(QString, ca);
    QTEST(serialiseProfile({auth, ca}), "json");
}

void TestServerProfile::readsBackWhatItHasWritten_data()
{
    addProfiles();
}

void TestServerProfile::readsBackWhatItHasWritten()
{
    QFETCH(QByteArray, json);
    const ServerProfile profile = parseProfile(json);
    QTEST(profile.auth, "auth");
    QTEST(profile.ca, "ca");
}

void TestServerProfile::readsWhatIsNoProfileAsEmpty_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("cut off") << QByteArray("{\"auth\":\"https://a.example:7443\",\"ca\":\"\"");
    QTest::newRow("no JSON") << QByteArray("https://a.example:7443");
    QTest::newRow("zero bytes") << QByteArray(5, '\0');
    QTest::newRow("not UTF-8") << QByteArray("{\"auth\":\"\xff\xfe\"}");
    QTest::newRow("array") << QByteArray("[\"auth\",\"ca\"]");
    QTest::newRow("empty object") << QByteArray("{}");
    QTest::newRow("other types") << QByteArray("{\"auth\":7443,\"ca\":[\"a\"]}");
    QTest::newRow("null") << QByteArray("{\"auth\":null,\"ca\":null}");
    QTest::newRow("a thousand objects deep") << QByteArray("{\"auth\":").repeated(1000);
    QTest::newRow("too deep for the parser") << QByteArray("{\"auth\":").repeated(100000);
}

void TestServerProfile::readsWhatIsNoProfileAsEmpty()
{
    QFETCH(QByteArray, json);
    const ServerProfile profile = parseProfile(json);
    QCOMPARE(profile.auth, QString());
    QCOMPARE(profile.ca, QString());
}

void TestServerProfile::readsEachFieldByItself()
{
    QCOMPARE(parseProfile("{\"auth\":\"x\",\"ca\":1}").auth, u"x"_s);
    QCOMPARE(parseProfile("{\"auth\":1,\"ca\":\"y\"}").ca, u"y"_s);
}

void TestServerProfile::trimsNames_data()
{
    QTest::addColumn<QString>("entered");
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << u"Benim"_s << u"Benim"_s;
    QTest::newRow("blanks around") << u"  Benim sunucum\t"_s << u"Benim sunucum"_s;
    QTest::newRow("one character") << u"x"_s << u"x"_s;
    QTest::newRow("backslash") << u"a\\b"_s << u"a\\b"_s;
    QTest::newRow("other scripts") << u"Işık 世界 \U0001F3F0"_s << u"Işık 世界 \U0001F3F0"_s;
}

void TestServerProfile::trimsNames()
{
    QFETCH(QString, entered);
    QTEST(profileNameOf(entered), "name");
}

void TestServerProfile::refusesNames_data()
{
    QTest::addColumn<QString>("entered");
    QTest::newRow("empty") << QString();
    QTest::newRow("blanks only") << u" \t\u00A0\u3000"_s;
    QTest::newRow("slash") << u"/"_s;
    QTest::newRow("slash within") << u"a/b"_s;
    QTest::newRow("slash at the end") << u"a/"_s;
}

void TestServerProfile::refusesNames()
{
    QFETCH(QString, entered);
    QCOMPARE(failureOf([&] { profileNameOf(entered); }), u"Sunucu adı boş olamaz ve / içeremez"_s);
}

void TestServerProfile::completesAddresses_data()
{
    QTest::addColumn<QString>("entered");
    QTest::addColumn<QString>("origin");
    const auto row = [](const char* name, const QString& entered, const QString& origin) {
        QTest::newRow(name) << entered << origin;
    };
    row("bare host", u"a.example"_s, u"https://a.example:7443"_s);
    row("host and port", u"a.example:9000"_s, u"https://a.example:9000"_s);
    row("scheme and host", u"https://a.example"_s, u"https://a.example:7443"_s);
    row("all three", u"https://a.example:7443"_s, u"https://a.example:7443"_s);
    row("blanks around", u" \ta.example:9000 "_s, u"https://a.example:9000"_s);
    row("port 443 stays", u"a.example:443"_s, u"https://a.example:443"_s);
    row("port 443 behind the scheme stays", u"https://a.example:443"_s, u"https://a.example:443"_s);
    row("smallest port", u"a.example:0"_s, u"https://a.example:0"_s);
    row("largest port", u"a.example:65535"_s, u"https://a.example:65535"_s);
    row("colon without a port", u"a.example:"_s, u"https://a.example:7443"_s);
    row("slash at the end", u"a.example/"_s, u"https://a.example:7443"_s);
    row("port and slash at the end", u"https://a.example:9000/"_s, u"https://a.example:9000"_s);
    row("capitals", u"HTTPS://A.Example"_s, u"https://a.example:7443"_s);
    row("name of this computer", u"localhost"_s, u"https://localhost:7443"_s);
    row("IPv4", u"192.168.1.20:7443"_s, u"https://192.168.1.20:7443"_s);
    row("IPv6", u"[::1]"_s, u"https://[::1]:7443"_s);
    row("IPv6 and port", u"https://[FE80::1]:9000"_s, u"https://[fe80::1]:9000"_s);
    row("IPv6 with a zone", u"[fe80::1%25eth0]"_s, u"https://[fe80::1%25eth0]:7443"_s);
    row("label of 63 characters", QString(63, u'a') + u".example"_s,
        u"https://"_s + QString(63, u'a') + u".example:7443"_s);
    row("Turkish letters", u"ışık.example"_s, u"https://xn--k-ekaa7p.example:7443"_s);
    row("no user before the sign", u"https://@a.example"_s, u"https://a.example:7443"_s);
}

void TestServerProfile::completesAddresses()
{
    QFETCH(QString, entered);
    QFETCH(QString, origin);
    QCOMPARE(authOriginOf(entered), origin);
    QCOMPARE(authOriginOf(origin), origin);
}

void TestServerProfile::refusesAddresses_data()
{
    QTest::addColumn<QString>("entered");
    const auto row = [](const char* name, const QString& entered) { QTest::newRow(name) << entered; };
    row("empty", QString());
    row("blanks", u" \t"_s);
    row("scheme alone", u"https://"_s);
    row("no scheme before the slashes", u"://a.example"_s);
    row("http", u"http://a.example"_s);
    row("http with port", u"http://a.example:7443"_s);
    row("ftp", u"ftp://a.example"_s);
    row("one slash behind the scheme", u"https:/a.example"_s);
    row("path", u"a.example/v1"_s);
    row("two slashes at the end", u"https://a.example//"_s);
    row("escaped slash", u"a.example/%2F"_s);
    row("query", u"a.example?x=1"_s);
    row("empty query", u"a.example?"_s);
    row("fragment", u"a.example#x"_s);
    row("empty fragment", u"a.example#"_s);
    row("user", u"ayşe@a.example"_s);
    row("user and password", u"https://u:p@a.example"_s);
    row("password alone", u"https://:p@a.example"_s);
    row("port above the largest", u"a.example:65536"_s);
    row("negative port", u"a.example:-1"_s);
    row("port in letters", u"a.example:abc"_s);
    row("two ports", u"a.example:7443:7443"_s);
    row("port alone", u":7443"_s);
    row("blank within", u"a .example"_s);
    row("escaped letter", u"%41.example"_s);
    row("escaped zero", u"a%00.example"_s);
    row("backslash", u"a.example\\b"_s);
    row("IPv6 without brackets", u"::1"_s);
    row("label of 64 characters", QString(64, u'a') + u".example"_s);
    row("empty label", u"a..example"_s);
    row("line break", u"a.example\nb"_s);
}

void TestServerProfile::refusesAddresses()
{
    QFETCH(QString, entered);
    QCOMPARE(
        failureOf([&] { authOriginOf(entered); }),
        u"Adres: sunucu veya sunucu:port (hesap servisi, varsayılan 7443)"_s);
}

QTEST_APPLESS_MAIN(TestServerProfile)
#include "test_server_profile.moc"
