#include "support/hostile_server.h"

#include <QHostAddress>
#include <QRegularExpression>
#include <QSslSocket>
#include <QTimer>

#include <sys/prctl.h>
#include <zlib.h>

#include <algorithm>
#include <csignal>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace vok::test_support
{
namespace
{

constexpr qint64 kMostUnsentBytes = 65536;
constexpr int kToolTimeoutMs = 30000;
constexpr int kGzipWindow = 15 + 16;

/// Writes `block` until enough of it is on its way.
void fill(QSslSocket& socket, const QByteArray& block)
{
    while (socket.state() == QAbstractSocket::ConnectedState
           && socket.bytesToWrite() + socket.encryptedBytesToWrite() < kMostUnsentBytes)
        socket.write(block);
}

// No cipher that TLS 1.1 can use is left at the distribution's security level.
QStringList oldTls()
{
    return {u"-tls1_1"_s, u"-cipher"_s, u"DEFAULT@SECLEVEL=0"_s};
}

} // namespace

namespace hostile
{

QByteArray head(int status, const QList<QByteArray>& headerLines)
{
    QByteArray bytes = "HTTP/1.1 " + QByteArray::number(status) + " Whatever\r\n";
    for (const QByteArray& line : headerLines)
        bytes += line + "\r\n";
    return bytes + "\r\n";
}

QByteArray redirectTo(const QByteArray& location)
{
    return head(302, {"Location: " + location, "Content-Length: 0"});
}

QByteArray chunk(const QByteArray& content)
{
    return QByteArray::number(content.size(), 16) + "\r\n" + content + "\r\n";
}

QByteArray gzippedZeros(qint64 zeros)
{
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, kGzipWindow, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY) != Z_OK)
        qFatal("zlib cannot be set up");
    QByteArray input(65536, '\0');
    QByteArray output(65536, '\0');
    QByteArray packed;
    do {
        const qint64 step = std::min<qint64>(zeros, input.size());
        zeros -= step;
        stream.next_in = reinterpret_cast<Bytef*>(input.data());
        stream.avail_in = static_cast<uInt>(step);
        do {
            stream.next_out = reinterpret_cast<Bytef*>(output.data());
            stream.avail_out = static_cast<uInt>(output.size());
            deflate(&stream, zeros == 0 ? Z_FINISH : Z_NO_FLUSH);
            packed += output.first(output.size() - static_cast<qsizetype>(stream.avail_out));
        } while (stream.avail_out == 0);
    } while (zeros > 0);
    deflateEnd(&stream);
    return packed;
}

HostileAnswer sent(const QByteArray& bytes)
{
    return [bytes](QSslSocket& socket) { socket.write(bytes); };
}

HostileAnswer sentAndClosed(const QByteArray& bytes)
{
    return [bytes](QSslSocket& socket) {
        socket.write(bytes);
        socket.disconnectFromHost();
    };
}

HostileAnswer sentAndCut(const QByteArray& bytes)
{
    return [bytes](QSslSocket& socket) {
        QObject::connect(&socket, &QSslSocket::encryptedBytesWritten, &socket, [&socket] {
            if (socket.bytesToWrite() == 0 && socket.encryptedBytesToWrite() == 0)
                socket.abort();
        });
        socket.write(bytes);
    };
}

HostileAnswer sentInTwo(const QByteArray& start, const QByteArray& rest, std::chrono::milliseconds pause)
{
    return [start, rest, pause](QSslSocket& socket) {
        socket.write(start);
        QTimer::singleShot(pause, &socket, [&socket, rest] { socket.write(rest); });
    };
}

HostileAnswer dripped(const QByteArray& start, const QByteArray& drops, std::chrono::milliseconds interval)
{
    return [start, drops, interval](QSslSocket& socket) {
        socket.write(start);
        auto* tap = new QTimer(&socket);
        QObject::connect(tap, &QTimer::timeout, &socket, [&socket, drops, next = qsizetype{0}]() mutable {
            socket.write(drops.sliced(next, 1));
            socket.flush();
            next = (next + 1) % drops.size();
        });
        tap->start(interval);
    };
}

HostileAnswer endless(const QByteArray& start, const QByteArray& block)
{
    return [start, block](QSslSocket& socket) {
        socket.write(start);
        QObject::connect(
            &socket, &QSslSocket::encryptedBytesWritten, &socket, [&socket, block] { fill(socket, block); });
        fill(socket, block);
    };
}

} // namespace hostile

HostileServer::HostileServer(const ServerIdentity& identity, QList<HostileAnswer> answers)
    : TlsServer(configurationOf(identity), [this](QSslSocket& socket) { serve(socket); })
    , m_answers(std::move(answers))
{
}

void HostileServer::serve(QSslSocket& socket)
{
    const auto buffer = std::make_shared<QByteArray>();
    const auto take = [this, &socket, buffer, connection = handshakes()] {
        buffer->append(socket.readAll());
        while (auto request = takeRequest(*buffer)) {
            request->connection = connection;
            m_requests.append(*request);
            if (m_answers.isEmpty())
                socket.write(wireBytes(json(200, {})));
            else
                m_answers.takeFirst()(socket);
        }
    };
    QObject::connect(
        &socket, &QSslSocket::encryptedBytesWritten, &socket, [this](qint64 bytes) { m_bytesTaken += bytes; });
    QObject::connect(&socket, &QSslSocket::readyRead, &socket, take);
    take();
}

PlainServer::PlainServer(Manner manner, const QByteArray& greeting)
{
    QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this, manner, greeting] {
        while (QTcpSocket* socket = m_server.nextPendingConnection()) {
            ++m_connections;
            QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket, manner, greeting] {
                m_received += socket->readAll();
                if (manner == Manner::Answers)
                    socket->write(greeting);
                else if (manner == Manner::HangsUp)
                    socket->disconnectFromHost();
            });
        }
    });
    if (!m_server.listen(QHostAddress::LocalHost))
        qFatal("a test server cannot listen: %s", qPrintable(m_server.errorString()));
}

QString PlainServer::origin() const
{
    return u"https://127.0.0.1:%1"_s.arg(m_server.serverPort());
}

OldTlsServer::OldTlsServer(const ServerIdentity& identity)
{
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    const QStringList arguments{u"s_server"_s, u"-accept"_s,    u"127.0.0.1:0"_s,
                                u"-www"_s,     u"-cert"_s,      identity.certificatePath,
                                u"-key"_s,     identity.keyPath};
    m_process.start(u"openssl"_s, arguments + oldTls());
    static const QRegularExpression accepting(
        u"^ACCEPT (127\\.0\\.0\\.1:\\d+)$"_s, QRegularExpression::MultilineOption);
    QString output;
    while (m_address.isEmpty() && m_process.waitForReadyRead(kToolTimeoutMs)) {
        output += QString::fromUtf8(m_process.readAllStandardOutput());
        m_address = accepting.match(output).captured(1);
    }
    if (m_address.isEmpty())
        qFatal("openssl s_server: %s", m_process.readAllStandardError().constData());
}

OldTlsServer::~OldTlsServer()
{
    m_process.kill();
    m_process.waitForFinished();
}

QString OldTlsServer::origin() const
{
    return u"https://"_s + m_address;
}

QString OldTlsServer::protocolOfLenientClient() const
{
    QProcess client;
    client.setProcessChannelMode(QProcess::MergedChannels);
    client.start(u"openssl"_s, QStringList{u"s_client"_s, u"-brief"_s, u"-connect"_s, m_address} + oldTls());
    client.closeWriteChannel();
    if (!client.waitForFinished(kToolTimeoutMs))
        qFatal("openssl s_client does not end");
    static const QRegularExpression protocol(u"Protocol version: (\\S+)"_s);
    return protocol.match(QString::fromUtf8(client.readAll())).captured(1);
}

} // namespace vok::test_support
