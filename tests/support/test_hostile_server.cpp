#include "support/hostile_server.h"

#include <QElapsedTimer>
#include <QSslSocket>
#include <QTest>

#include <zlib.h>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using namespace vok::test_support;

class TestHostileServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void givesEachRequestItsAnswerAndThenHarmlessOnes();
    void endsConnectionsAsTold_data();
    void endsConnectionsAsTold();
    void pausesBetweenTwoParts();
    void dripsOneByteAtATime();
    void goesOnForAsLongAsItIsRead();
    void packsZerosAThousandfold();
    void recordsTheGreetingWhereItSpeaksNoTls();
    void speaksTls11WhereAskedTo();
};

namespace
{

/// A client that believes anything and keeps all that it gets.
class Asker
{
public:
    explicit Asker(const TlsServer& server)
    {
        m_socket.setPeerVerifyMode(QSslSocket::VerifyNone);
        QObject::connect(&m_socket, &QSslSocket::readyRead, &m_socket, [this] {
            ++reads;
            received += m_socket.readAll();
        });
        QObject::connect(&m_socket, &QSslSocket::disconnected, &m_socket, [this] { isClosed = true; });
        m_socket.connectToHostEncrypted(u"127.0.0.1"_s, server.port());
        ask();
    }
    void ask() { m_socket.write("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"); }

    QByteArray received;
    int reads = 0;
    bool isClosed = false;

private:
    QSslSocket m_socket;
};

ServerIdentity identity()
{
    return TestAuthority(u"Test CA"_s).issue();
}

qint64 unpackedSize(QByteArray packed)
{
    z_stream stream{};
    inflateInit2(&stream, 15 + 16);
    stream.next_in = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_in = static_cast<uInt>(packed.size());
    QByteArray block(65536, 'x');
    int result = Z_OK;
    while (result == Z_OK) {
        stream.next_out = reinterpret_cast<Bytef*>(block.data());
        stream.avail_out = static_cast<uInt>(block.size());
        result = inflate(&stream, Z_NO_FLUSH);
        if (block.first(block.size() - static_cast<qsizetype>(stream.avail_out)).count('\0')
            != block.size() - static_cast<qsizetype>(stream.avail_out))
            return -1;
    }
    const auto total = static_cast<qint64>(stream.total_out);
    inflateEnd(&stream);
    return result == Z_STREAM_END ? total : -1;
}

} // namespace

void TestHostileServer::givesEachRequestItsAnswerAndThenHarmlessOnes()
{
    HostileServer server(identity(), {hostile::sent("first"), hostile::sent("second")});
    Asker asker(server);
    QTRY_COMPARE(asker.received, QByteArray("first"));
    asker.ask();
    QTRY_COMPARE(asker.received, QByteArray("firstsecond"));
    asker.ask();
    QTRY_VERIFY(asker.received.endsWith("\r\n\r\n{}"));
    QVERIFY(asker.received.startsWith("firstsecondHTTP/1.1 200 OK\r\nContent-Length: 2\r\n"));
    QCOMPARE(server.requests().size(), 3);
    QVERIFY(!asker.isClosed);
}

void TestHostileServer::endsConnectionsAsTold_data()
{
    QTest::addColumn<HostileAnswer>("answer");
    QTest::newRow("closed") << hostile::sentAndClosed("half an ans");
    QTest::newRow("cut") << hostile::sentAndCut("half an ans");
}

void TestHostileServer::endsConnectionsAsTold()
{
    QFETCH(HostileAnswer, answer);
    HostileServer server(identity(), {answer});
    const Asker asker(server);
    QTRY_VERIFY(asker.isClosed);
    QCOMPARE(asker.received, QByteArray("half an ans"));
}

void TestHostileServer::pausesBetweenTwoParts()
{
    HostileServer server(identity(), {hostile::sentInTwo("one", "two", 50ms)});
    const Asker asker(server);
    QTRY_COMPARE(asker.received, QByteArray("one"));
    QTRY_COMPARE(asker.received, QByteArray("onetwo"));
}

void TestHostileServer::dripsOneByteAtATime()
{
    HostileServer server(identity(), {hostile::dripped("start:", "ab", 5ms)});
    const Asker asker(server);
    QTRY_VERIFY(asker.received.startsWith("start:abababab"));
    QVERIFY(asker.reads >= 4);
}

void TestHostileServer::goesOnForAsLongAsItIsRead()
{
    HostileServer server(identity(), {hostile::endless("start:", QByteArray(1000, 'x'))});
    const Asker asker(server);
    QTRY_VERIFY(asker.received.size() > 4 << 20);
    QVERIFY(asker.received.startsWith("start:xxx"));
    QVERIFY(server.bytesTaken() >= asker.received.size());
}

void TestHostileServer::packsZerosAThousandfold()
{
    constexpr qint64 kZeros = qint64{64} << 20;
    const QByteArray packed = hostile::gzippedZeros(kZeros);
    QVERIFY2(packed.size() < kZeros / 900, qPrintable(QString::number(packed.size())));
    QCOMPARE(unpackedSize(packed), kZeros);
}

void TestHostileServer::recordsTheGreetingWhereItSpeaksNoTls()
{
    const PlainServer server(PlainServer::Manner::HangsUp);
    QSslSocket socket;
    QSslConfiguration tls = socket.sslConfiguration();
    tls.setAllowedNextProtocols({"h2"});
    socket.setSslConfiguration(tls);
    const QUrl url(server.origin());
    socket.connectToHostEncrypted(url.host(), static_cast<quint16>(url.port()));
    QTRY_COMPARE(socket.state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(server.connections(), 1);
    QVERIFY(server.received().startsWith('\x16'));
    QVERIFY(server.received().contains("\x02h2"));
}

void TestHostileServer::speaksTls11WhereAskedTo()
{
    const OldTlsServer server(identity());
    QCOMPARE(server.protocolOfLenientClient(), u"TLSv1.1"_s);
}

QTEST_GUILESS_MAIN(TestHostileServer)
#include "test_hostile_server.moc"
