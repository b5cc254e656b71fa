#include "accounts/server_profile.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::Literals::StringLiterals;

namespace vok
{
namespace
{

const QString kAuth = u"auth"_s;
const QString kCa = u"ca"_s;

} // namespace

QByteArray serialiseProfile(const ServerProfile& profile)
{
    const QJsonObject object{{kAuth, profile.auth}, {kCa, profile.ca}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

ServerProfile parseProfile(const QByteArray& json)
{
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    return {object.value(kAuth).toString(), object.value(kCa).toString()};
}

} // namespace vok
