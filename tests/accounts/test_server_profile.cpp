#include "accounts/server_profile.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace vok;

class TestServerProfile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesCompactJson_data();
    void writesCompactJson();
};

void TestServerProfile::writesCompactJson_data()
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

void TestServerProfile::writesCompactJson()
{
    QFETCH(QString, auth);
    QFETCH(QString, ca);
    QTEST(serialiseProfile({auth, ca}), "json");
}

QTEST_APPLESS_MAIN(TestServerProfile)
#include "test_server_profile.moc"
