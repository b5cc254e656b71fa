#include "support/tls_server.h"

#include <QHostAddress>
#include <QSslSocket>

using namespace Qt::Literals::StringLiterals;

namespace vok::test_support
{

TlsServer::TlsServer(const QSslConfiguration& configuration, Visitor visitor)
    : m_visitor(std::move(visitor))
{
    m_server.setSslConfiguration(configuration);
    QObject::connect(&m_server, &QSslServer::startedEncryptionHandshake, &m_server, [this](QSslSocket* socket) {
        ++m_connections;
        // Otherwise each handshake waits for an acknowledgement that the system delays.
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    });
    QObject::connect(&m_server, &QSslServer::pendingConnectionAvailable, &m_server, [this] {
        while (auto* socket = qobject_cast<QSslSocket*>(m_server.nextPendingConnection())) {
            ++m_handshakes;
            QObject::connect(socket, &QSslSocket::disconnected, socket, &QObject::deleteLater);
            m_visitor(*socket);
        }
    });
    if (!m_server.listen(QHostAddress::LocalHost))
        qFatal("a test server cannot listen: %s", qPrintable(m_server.errorString()));
}

QSslConfiguration TlsServer::configurationOf(const ServerIdentity& identity)
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificateChain(identity.chain);
    configuration.setPrivateKey(identity.key);
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    configuration.setProtocol(QSsl::TlsV1_2OrLater);
    return configuration;
}

QString TlsServer::origin(const QString& host) const
{
    return u"https://%1:%2"_s.arg(host).arg(port());
}

QUrl TlsServer::url(const QString& path, const QString& host) const
{
    return QUrl(origin(host) + path);
}

void TlsServer::abortConnections()
{
    for (QSslSocket* socket : m_server.findChildren<QSslSocket*>())
        socket->abort();
}

} // namespace vok::test_support
