#include "network/https_reply.h"

#include <QMetaObject>
#include <QNetworkProxy>
#include <QUrl>

#include <algorithm>
#include <cstring>
#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok
{
namespace
{

constexpr qint64 kBodyBytes = 65536;
// A line of the answer's framing must fit, and a byte more, so that one that is too long is seen to be.
constexpr qint64 kInputBytes = 2 * kLargestHeadBytes;
constexpr int kHttpsPort = 443;

QByteArray methodOf(QNetworkAccessManager::Operation operation, const QNetworkRequest& request)
{
    switch (operation) {
    case QNetworkAccessManager::CustomOperation:
        return request.attribute(QNetworkRequest::CustomVerbAttribute).toByteArray();
    case QNetworkAccessManager::PostOperation:
        return "POST";
    case QNetworkAccessManager::PutOperation:
        return "PUT";
    case QNetworkAccessManager::HeadOperation:
        return "HEAD";
    case QNetworkAccessManager::DeleteOperation:
        return "DELETE";
    default:
        return "GET";
    }
}

QByteArray targetOf(const QUrl& url)
{
    const QByteArray path = url.path(QUrl::FullyEncoded).toLatin1();
    const QByteArray target = path.isEmpty() ? "/" : path;
    return url.hasQuery() ? target + '?' + url.query(QUrl::FullyEncoded).toLatin1() : target;
}

QByteArray headOf(const QByteArray& method, const QNetworkRequest& request, qsizetype bodyBytes)
{
    const QUrl url = request.url();
    QByteArray head = method + ' ' + targetOf(url) + " HTTP/1.1\r\n";
    head += "Host: " + url.authority(QUrl::FullyEncoded).toLatin1() + "\r\n";
    for (const QByteArray& name : request.rawHeaderList())
        head += name + ": " + request.rawHeader(name) + "\r\n";
    if (bodyBytes > 0 || method == "POST")
        head += "Content-Length: " + QByteArray::number(bodyBytes) + "\r\n";
    return head + "Accept-Encoding: identity\r\nConnection: close\r\n\r\n";
}

bool leadsElsewhere(int status)
{
    return (status >= 301 && status <= 303) || status == 307 || status == 308;
}

// In the words that Qt's own replies have for a refusal.
QString refusalOf(int status, const QUrl& url, const QByteArray& reason)
{
    if (status == 401)
        return u"Host requires authentication"_s;
    if (status == 407)
        return u"Proxy requires authentication"_s;
    return u"Error transferring %1 - server replied: %2"_s.arg(url.toString(), QString::fromLatin1(reason));
}

} // namespace

HttpsReply::HttpsReply(
    QNetworkAccessManager::Operation operation, const QNetworkRequest& request, QByteArray body, QObject* parent)
    : QNetworkReply(parent)
    , m_method(methodOf(operation, request))
    , m_parser(m_method != "HEAD")
{
    setRequest(request);
    setUrl(request.url());
    setOperation(operation);
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);

    // A proxy of the desktop's would be looked up in this thread, for as long as it likes to take, and the game client
    // knows none.
    m_socket.setProxy(QNetworkProxy::NoProxy);
    m_socket.setSslConfiguration(request.sslConfiguration());
    m_socket.setReadBufferSize(kInputBytes);
    connect(&m_socket, &QSslSocket::encrypted, this, [this, sent = std::move(body)] { sendRequest(sent); });
    connect(&m_socket, &QSslSocket::readyRead, this, &HttpsReply::receive);
    connect(&m_socket, &QSslSocket::errorOccurred, this, &HttpsReply::socketFailed);

    m_idle.setSingleShot(true);
    m_idle.setInterval(request.transferTimeout());
    connect(&m_idle, &QTimer::timeout, this, &HttpsReply::abort);
    if (request.transferTimeout() > 0)
        m_idle.start();

    const QUrl url = request.url();
    m_socket.connectToHostEncrypted(url.host(QUrl::FullyEncoded), static_cast<quint16>(url.port(kHttpsPort)));
}

void HttpsReply::abort()
{
    fail(OperationCanceledError, u"Operation canceled"_s);
}

qint64 HttpsReply::bytesAvailable() const
{
    return m_body.size() + QNetworkReply::bytesAvailable();
}

qint64 HttpsReply::readData(char* data, qint64 maxSize)
{
    const qsizetype size = std::min<qsizetype>(maxSize, m_body.size());
    std::memcpy(data, m_body.constData(), static_cast<std::size_t>(size));
    m_body.remove(0, size);
    if (!isFinished())
        QMetaObject::invokeMethod(this, &HttpsReply::receive, Qt::QueuedConnection);
    return size == 0 && isFinished() ? -1 : size;
}

void HttpsReply::sendRequest(const QByteArray& body)
{
    m_socket.write(headOf(m_method, request(), body.size()));
    m_socket.write(body);
}

void HttpsReply::receive()
{
    if (m_idle.isActive())
        m_idle.start();
    try {
        while (!isFinished() && takePiece()) {
        }
        // What there was no room for is still to be read; its reader comes back here.
        if (m_isClosed && !isFinished() && m_socket.bytesAvailable() == 0 && m_body.size() < kBodyBytes)
            endConnection();
    } catch (const std::exception& error) {
        fail(ProtocolFailure, u"Invalid HTTP answer: "_s + QString::fromUtf8(error.what()));
    }
}

/// Moves what has come of the answer into the body. False where there is nothing to move, or no room.
bool HttpsReply::takePiece()
{
    if (m_body.size() >= kBodyBytes)
        return false;
    const qsizetype before = m_input.size();
    m_input += m_socket.read(kInputBytes - before);
    if (m_input.isEmpty())
        return false;
    const bool hasGrown = m_input.size() > before;

    const qsizetype bodyBefore = m_body.size();
    const qsizetype taken = feedInput();
    m_input.remove(0, taken);
    if (m_parser.hasHead() && !m_isHeadPublished)
        publishHead();
    if (m_body.size() > bodyBefore && !isFinished())
        Q_EMIT readyRead();
    if (m_parser.isComplete() && !isFinished())
        finishAnswer();
    return taken > 0 || hasGrown;
}

/// Parses the input up to the end of the head, and then as far as there is room for the body: a body of tiny chunks is
/// told of once and not by the byte.
qsizetype HttpsReply::feedInput()
{
    const bool hadHead = m_parser.hasHead();
    qsizetype taken = 0;
    while (taken < m_input.size() && m_body.size() < kBodyBytes && m_parser.hasHead() == hadHead
           && !m_parser.isComplete()) {
        const qsizetype more = m_parser.feed(QByteArrayView(m_input).sliced(taken), m_body, kBodyBytes - m_body.size());
        if (more == 0)
            break;
        taken += more;
    }
    return taken;
}

void HttpsReply::publishHead()
{
    m_isHeadPublished = true;
    const int status = m_parser.status();
    setAttribute(QNetworkRequest::HttpStatusCodeAttribute, status);
    setAttribute(QNetworkRequest::HttpReasonPhraseAttribute, m_parser.reason());
    for (const auto& [name, value] : m_parser.headers())
        setRawHeader(name, value);
    if (leadsElsewhere(status))
        setAttribute(QNetworkRequest::RedirectionTargetAttribute, QUrl::fromEncoded(rawHeader("Location")));
    Q_EMIT metaDataChanged();
}

void HttpsReply::finishAnswer()
{
    const int status = m_parser.status();
    if (status < 400)
        finishAs(NoError, {});
    else
        finishAs(status < 500 ? UnknownContentError : UnknownServerError, refusalOf(status, url(), m_parser.reason()));
}

void HttpsReply::socketFailed(QAbstractSocket::SocketError error)
{
    if (isFinished())
        return;
    if (error == QAbstractSocket::SslHandshakeFailedError) {
        fail(SslHandshakeFailedError, u"SSL handshake failed: "_s + m_socket.errorString());
        return;
    }
    if (error == QAbstractSocket::HostNotFoundError) {
        fail(HostNotFoundError, u"Host %1 not found"_s.arg(url().host()));
        return;
    }
    if (error != QAbstractSocket::RemoteHostClosedError) {
        fail(UnknownNetworkError, m_socket.errorString());
        return;
    }
    m_isClosed = true;
    receive();
}

void HttpsReply::endConnection()
{
    if (m_parser.end())
        finishAnswer();
    else
        fail(RemoteHostClosedError, u"Connection closed"_s);
}

void HttpsReply::fail(NetworkError error, const QString& text)
{
    if (!isFinished())
        finishAs(error, text);
}

void HttpsReply::finishAs(NetworkError error, const QString& text)
{
    m_idle.stop();
    setFinished(true);
    m_socket.abort();
    if (error != NoError) {
        setError(error, text);
        Q_EMIT errorOccurred(error);
    }
    Q_EMIT finished();
}

} // namespace vok
