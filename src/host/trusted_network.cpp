#include "host/trusted_network.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>

#include <utility>

namespace vok
{
namespace
{

void closeSideDoors(QNetworkRequest& request)
{
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    // The services speak HTTP/1.1, and Qt 6.4's HTTP/2 lacks the mends of published faults.
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
}

} // namespace

QNetworkReply* TrustedNetwork::send(QNetworkRequest request, const QByteArray& method, const QByteArray& body)
{
    closeSideDoors(request);
    const QList<QSslCertificate> trusted = request.sslConfiguration().caCertificates();
    if (trusted != m_trusted)
        forgetConnections();
    if (m_manager == nullptr) {
        m_manager = new QNetworkAccessManager(this);
        m_trusted = trusted;
    }
    QNetworkReply* reply = m_manager->sendCustomRequest(request, method, body);
    // Queued: within the signal the reply is still among its manager's children.
    connect(reply, &QObject::destroyed, this, &TrustedNetwork::dropUnused, Qt::QueuedConnection);
    return reply;
}

void TrustedNetwork::forgetConnections()
{
    if (m_manager != nullptr)
        m_retired.append(std::exchange(m_manager, nullptr));
    dropUnused();
}

void TrustedNetwork::dropUnused()
{
    m_retired.removeIf([](QNetworkAccessManager* manager) {
        if (manager->findChild<QNetworkReply*>() != nullptr)
            return false;
        manager->deleteLater();
        return true;
    });
}

} // namespace vok
