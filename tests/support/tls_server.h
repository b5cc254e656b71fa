/// The TLS side of servers that tests talk to, in the test's own process and thread.
#pragma once

#include "support/certificates.h"

#include <QSslConfiguration>
#include <QSslServer>
#include <QString>
#include <QUrl>

#include <functional>

class QSslSocket;

namespace vok::test_support
{

/// Listens on a port of 127.0.0.1 that the system gives, and hands over each connection once its handshake is done.
/// The socket belongs to the server and goes when it has been closed.
class TlsServer
{
public:
    using Visitor = std::function<void(QSslSocket& socket)>;

    TlsServer(const QSslConfiguration& configuration, Visitor visitor);
    ~TlsServer() = default;
    Q_DISABLE_COPY_MOVE(TlsServer)

    /// What a well-meaning server of today would use to show `identity`.
    static QSslConfiguration configurationOf(const ServerIdentity& identity);

    quint16 port() const { return m_server.serverPort(); }
    /// "https://127.0.0.1:PORT", or with another name of this machine.
    QString origin(const QString& host = QStringLiteral("127.0.0.1")) const;
    QUrl url(const QString& path = QStringLiteral("/"), const QString& host = QStringLiteral("127.0.0.1")) const;

    /// Connections whose handshake has begun, and those of them whose handshake has come to a good end.
    int connections() const { return m_connections; }
    int handshakes() const { return m_handshakes; }

    /// Drops every connection without a word.
    void abortConnections();

private:
    QSslServer m_server;
    Visitor m_visitor;
    int m_connections = 0;
    int m_handshakes = 0;
};

} // namespace vok::test_support
