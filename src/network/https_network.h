/// The way to the network for HTTPS requests to servers that may wish us harm.
#pragma once

#include <QNetworkAccessManager>

namespace vok
{

/// Sends each request once, over a connection of its own that ends with the answer. Qt's own connections are kept by
/// host and port alone, so that a request pinned to one CA travels over what another CA has opened; they send a request
/// again where no answer comes, take an answer from before its request, and keep a head of any length in memory.
///
/// A request is sent with sendCustomRequest, as it stands and over HTTP/1.1. Nothing is added from an earlier exchange:
/// there are no cookies, no credentials, no cache, and nothing is followed or unpacked.
class HttpsNetwork : public QNetworkAccessManager
{
    Q_OBJECT

protected:
    QNetworkReply* createRequest(Operation operation, const QNetworkRequest& request, QIODevice* body) override;
};

} // namespace vok
