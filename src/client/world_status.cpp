#include "client/world_status.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok::launcher_client
{
namespace
{

constexpr int kUsualWorldPort = 7000;
constexpr int kHighestPort = 65535;

} // namespace

int parseWorldPort(const QByteArray& status)
{
    const QJsonObject answer = QJsonDocument::fromJson(status).object();
    if (!answer.value("online"_L1).toBool())
        throw std::runtime_error("Dünya sunucusu çevrimdışı");
    const QJsonObject world = answer.value("world"_L1).toObject();
    const QJsonValue named = world.value("world_port"_L1);
    if (named.isUndefined())
        return kUsualWorldPort;
    // What is no whole number comes out as 0: a port that was named and cannot be understood is not guessed.
    const int port = named.toInt(0);
    if (port < 1 || port > kHighestPort)
        throw std::runtime_error("Server reported an invalid world port");
    return port;
}

} // namespace vok::launcher_client
