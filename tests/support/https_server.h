/// An HTTPS server for tests that answers as it is told and remembers what it was asked.
#pragma once

#include "support/tls_server.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QPointer>
#include <QSsl>

#include <functional>
#include <optional>
#include <utility>

namespace vok::test_support
{

/// One request as it came over the wire.
struct HttpRequest
{
    QByteArray method;
    QByteArray target;             ///< path and query
    QList<QByteArray> headerLines; ///< without their line ends, in their order
    QByteArray body;
    int connection = 0; ///< number of the connection that it came over, from 1
    QSsl::SslProtocol protocol = QSsl::UnknownProtocol;

    /// The value of the first header called `name`, in whatever case; empty where there is none.
    QByteArray header(const QByteArray& name) const;
    bool hasHeader(const QByteArray& name) const;
    /// The names of all headers, in lower case and in their order.
    QList<QByteArray> headerNames() const;
    QJsonObject json() const;
};

/// Takes the next complete request from the front of `buffer`, or nothing while one is still on its way.
std::optional<HttpRequest> takeRequest(QByteArray& buffer);

/// One answer; Content-Length is added.
struct HttpAnswer
{
    int status = 200;
    QByteArray body = {};
    QList<std::pair<QByteArray, QByteArray>> headers = {};
    bool isHeld = false; ///< sent only when the test releases it
};

/// `object` as the body of an answer.
HttpAnswer json(int status, const QJsonObject& object);

/// `answer`, to be sent when the test releases it.
HttpAnswer held(HttpAnswer answer);

/// The bytes of `answer` on the wire.
QByteArray wireBytes(const HttpAnswer& answer);

/// Speaks HTTP/1.1 over TLS and keeps connections alive, so that it can be seen whether they are used again.
class HttpsServer : public TlsServer
{
public:
    using Handler = std::function<HttpAnswer(const HttpRequest& request)>;

    explicit HttpsServer(const ServerIdentity& identity, Handler handler = {});

    /// Answers from now on. Without a handler every request gets 200 and "{}".
    void setHandler(Handler handler) { m_handler = std::move(handler); }

    /// All requests that have arrived whole.
    const QList<HttpRequest>& requests() const { return m_requests; }
    const HttpRequest& lastRequest() const { return m_requests.constLast(); }

    /// Answers that wait for their release, and their release.
    qsizetype heldAnswers() const { return m_held.size(); }
    void release();

private:
    struct HeldAnswer
    {
        QPointer<QSslSocket> socket;
        QByteArray bytes;
    };

    void serve(QSslSocket& socket);
    void answer(QSslSocket& socket, const HttpRequest& request);

    Handler m_handler;
    QList<HttpRequest> m_requests;
    QList<HeldAnswer> m_held;
};

} // namespace vok::test_support
