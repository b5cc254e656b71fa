/// Servers that do what no server should: answers to show that a client cannot be made to grow, hang or follow.
#pragma once

#include "support/https_server.h"

#include <QProcess>
#include <QTcpServer>

#include <chrono>
#include <functional>

namespace vok::test_support
{

/// Deals with the asker at the other end of `socket`, whose request has arrived.
using HostileAnswer = std::function<void(QSslSocket& socket)>;

namespace hostile
{

/// Status line, header lines and the blank line that ends them. Nothing is added, not even a length.
QByteArray head(int status, const QList<QByteArray>& headerLines = {});

/// 302 to `location`, with an empty body.
QByteArray redirectTo(const QByteArray& location);

/// `content` as one chunk of a chunked body.
QByteArray chunk(const QByteArray& content);

/// A gzip stream that swells to `zeros` bytes, about a thousand times its size.
QByteArray gzippedZeros(qint64 zeros);

/// Sends `bytes` and leaves the connection open.
HostileAnswer sent(const QByteArray& bytes);

/// Sends `bytes` and closes the connection as TLS wants it.
HostileAnswer sentAndClosed(const QByteArray& bytes);

/// Sends `bytes` and cuts the connection off.
HostileAnswer sentAndCut(const QByteArray& bytes);

/// Sends `start` and, once the asker has had time to read it, `rest`.
HostileAnswer sentInTwo(const QByteArray& start, const QByteArray& rest, std::chrono::milliseconds pause);

/// Sends `start`, then the bytes of `drops` one by one, over and over.
HostileAnswer dripped(const QByteArray& start, const QByteArray& drops, std::chrono::milliseconds interval);

/// Sends `start`, then `block` over and over, as fast as it is read. Little is ever kept on the way.
HostileAnswer endless(const QByteArray& start, const QByteArray& block);

} // namespace hostile

/// Gives each request the next of its answers, and a harmless 200 with "{}" once they are used up.
class HostileServer : public TlsServer
{
public:
    HostileServer(const ServerIdentity& identity, QList<HostileAnswer> answers);

    const QList<HttpRequest>& requests() const { return m_requests; }
    /// Bytes that askers have taken so far, those below TLS not counted.
    qint64 bytesTaken() const { return m_bytesTaken; }

private:
    void serve(QSslSocket& socket);

    QList<HostileAnswer> m_answers;
    QList<HttpRequest> m_requests;
    qint64 m_bytesTaken = 0;
};

/// Speaks no TLS. What it does once something has arrived is its manner.
class PlainServer
{
public:
    enum class Manner
    {
        Silent,  ///< nothing, with the connection left open
        Answers, ///< sends the greeting
        HangsUp  ///< closes the connection
    };

    explicit PlainServer(Manner manner, const QByteArray& greeting = {});
    ~PlainServer() = default;
    Q_DISABLE_COPY_MOVE(PlainServer)

    QString origin() const;
    int connections() const { return m_connections; }
    /// All that has arrived. Its beginning is the first asker's TLS greeting, which shows what it offers.
    const QByteArray& received() const { return m_received; }

private:
    QTcpServer m_server;
    QByteArray m_received;
    int m_connections = 0;
};

/// Speaks TLS 1.1 and nothing else: the openssl tool's own server, which answers every GET with a page. It ends with
/// this object.
class OldTlsServer
{
public:
    explicit OldTlsServer(const ServerIdentity& identity);
    ~OldTlsServer();
    Q_DISABLE_COPY_MOVE(OldTlsServer)

    QString origin() const;
    /// The protocol that a client gets which takes everything, as the tool calls it.
    QString protocolOfLenientClient() const;

private:
    QProcess m_process;
    QString m_address;
};

} // namespace vok::test_support
