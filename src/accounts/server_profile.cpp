#include "accounts/server_profile.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok
{
namespace
{

constexpr int kAccountServicePort = 7443;
const QString kHttps = u"https"_s;

bool isHttpsOrigin(const QUrl& url)
{
    const QString path = url.path(QUrl::FullyDecoded);
    return url.isValid() && url.scheme() == kHttps && !url.host(QUrl::FullyDecoded).isEmpty()
           && url.userInfo().isEmpty() && (path.isEmpty() || path == "/"_L1) && !url.hasQuery() && !url.hasFragment();
}

} // namespace

ServerProfile parseProfile(const QByteArray& bytes)
{
    const QJsonObject object = QJsonDocument::fromJson(bytes).object();
    return {object.value("auth"_L1).toString(), object.value("ca"_L1).toString()};
}

QByteArray serialiseProfile(const ServerProfile& profile)
{
    const QJsonObject object{{u"auth"_s, profile.auth}, {u"ca"_s, profile.ca}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QString profileNameOf(const QString& entered)
{
    QString name = entered.trimmed();
    if (name.isEmpty() || name.contains(u'/'))
        throw std::runtime_error("Sunucu adı boş olamaz ve / içeremez");
    return name;
}

QString authOriginOf(const QString& entered)
{
    QString address = entered.trimmed();
    if (!address.contains("://"_L1))
        address.prepend("https://"_L1);
    const QUrl url(address, QUrl::StrictMode);
    if (!isHttpsOrigin(url))
        throw std::runtime_error("Adres: sunucu veya sunucu:port (hesap servisi, varsayılan 7443)");
    QUrl origin;
    origin.setScheme(kHttps);
    origin.setHost(url.host(QUrl::FullyDecoded));
    origin.setPort(url.port(kAccountServicePort));
    return origin.toString();
}

} // namespace vok
