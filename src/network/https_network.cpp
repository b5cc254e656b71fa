#include "network/https_network.h"

#include "network/https_reply.h"

namespace vok
{

QNetworkReply* HttpsNetwork::createRequest(Operation operation, const QNetworkRequest& request, QIODevice* body)
{
    return new HttpsReply(operation, request, body != nullptr ? body->readAll() : QByteArray(), this);
}

} // namespace vok
