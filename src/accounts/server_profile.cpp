#include "accounts/server_profile.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace vok
{

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

} // namespace vok
