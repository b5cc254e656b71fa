/// The way to the network for HTTPS requests: nothing that one request leaves behind may serve another trust.
#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSslCertificate>

class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;

namespace vok
{

/// Sends requests and keeps connections alive between those that trust the same certificates. QNetworkAccessManager
/// finds a kept connection by host and port alone, so that a request pinned to one CA would travel over a connection
/// that another CA has opened. Here every change of the trusted certificates begins with a manager of its own.
class TrustedNetwork : public QObject
{
    Q_OBJECT

public:
    /// Sends `request` with its TLS configuration. Whatever the request says, it carries and keeps no cookies and no
    /// remembered credentials, follows no redirect by itself and speaks HTTP/1.1. The reply is the caller's to
    /// deleteLater; it goes with this object at the latest.
    QNetworkReply* send(QNetworkRequest request, const QByteArray& method, const QByteArray& body);

    /// Drops every connection that no running request uses, and those of running ones as soon as they have ended.
    void forgetConnections();

private:
    void dropUnused();

    QNetworkAccessManager* m_manager = nullptr; ///< null: the next request opens connections of its own
    QList<QNetworkAccessManager*> m_retired;    ///< no new requests; each goes with its last reply
    QList<QSslCertificate> m_trusted;           ///< the certificates that m_manager's connections were opened under
};

} // namespace vok
