#include "client/world_status.h"
#include "support/failure_of.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_client;
using namespace vok::test_support;

class TestWorldStatus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsThePort_data();
    void readsThePort();
    void refuses_data();
    void refuses();
};

void TestWorldStatus::readsThePort_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<int>("port");
    const auto row = [](const char* name, const char* status, int port) {
        QTest::newRow(name) << QByteArray(status) << port;
    };
    row("no world", R"({"online":true})", 7000);
    row("no port", R"({"online":true,"world":{}})", 7000);
    row("world that is no object", R"({"online":true,"world":"7001"})", 7000);
    row("lowest", R"({"online":true,"world":{"world_port":1}})", 1);
    row("another", R"({"online":true,"world":{"world_port":7001}})", 7001);
    row("highest", R"({"online":true,"world":{"world_port":65535}})", 65535);
    row("written as a real number", R"({"online":true,"world":{"world_port":7.001e3}})", 7001);
    row("further fields", R"({"online":true,"host":"elsewhere","world":{"host":"elsewhere","world_port":7001}})", 7001);
}

void TestWorldStatus::readsThePort()
{
    QFETCH(QByteArray, status);
    QTEST(parseWorldPort(status), "port");
}

void TestWorldStatus::refuses_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QString>("message");
    const QString offline = u"Dünya sunucusu çevrimdışı"_s;
    for (const char* status :
         {"", "{}", "[true]", "no JSON", R"({"online":false})", R"({"online":"true"})", R"({"online":1})",
          R"({"online":null})", R"({"online":false,"world":{"world_port":0}})"})
        QTest::newRow(status) << QByteArray(status) << offline;
    const QString port = u"Server reported an invalid world port"_s;
    for (const char* named :
         {"0", "-1", "65536", "70000", "7000.5", "4294974296", "18446744073709558616", "1e300", R"("7000")", "null",
          "true", "[7000]"})
        QTest::newRow(named) << R"({"online":true,"world":{"world_port":)" + QByteArray(named) + "}}" << port;
}

void TestWorldStatus::refuses()
{
    QFETCH(QByteArray, status);
    QTEST(failureOf([&] { parseWorldPort(status); }), "message");
}

QTEST_APPLESS_MAIN(TestWorldStatus)
#include "test_world_status.moc"
