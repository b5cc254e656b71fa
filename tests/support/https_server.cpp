#include "support/https_server.h"

#include <QJsonDocument>
#include <QSslCipher>
#include <QSslSocket>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace vok::test_support
{
namespace
{

constexpr const char* kLineEnd = "\r\n";
constexpr QByteArrayView kHeadEnd("\r\n\r\n");

QByteArray nameOf(const QByteArray& headerLine)
{
    return headerLine.left(headerLine.indexOf(':')).trimmed().toLower();
}

QByteArray reasonOf(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 302:
        return "Found";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 500:
        return "Internal Server Error";
    default:
        return "Whatever";
    }
}

} // namespace

QByteArray HttpRequest::header(const QByteArray& name) const
{
    for (const QByteArray& line : headerLines)
        if (nameOf(line) == name.toLower())
            return line.sliced(line.indexOf(':') + 1).trimmed();
    return {};
}

bool HttpRequest::hasHeader(const QByteArray& name) const
{
    return headerNames().contains(name.toLower());
}

QList<QByteArray> HttpRequest::headerNames() const
{
    QList<QByteArray> names;
    for (const QByteArray& line : headerLines)
        names.append(nameOf(line));
    return names;
}

QJsonObject HttpRequest::json() const
{
    return QJsonDocument::fromJson(body).object();
}

std::optional<HttpRequest> takeRequest(QByteArray& buffer)
{
    const qsizetype headEnd = buffer.indexOf(kHeadEnd);
    if (headEnd < 0)
        return std::nullopt;
    HttpRequest request;
    for (const QByteArray& line : buffer.first(headEnd).split('\n'))
        request.headerLines.append(line.endsWith('\r') ? line.chopped(1) : line);
    const QList<QByteArray> requestLine = request.headerLines.takeFirst().split(' ');
    request.method = requestLine.value(0);
    request.target = requestLine.value(1);
    const qsizetype bodyStart = headEnd + kHeadEnd.size();
    const qsizetype bodySize = request.header("content-length").toLongLong();
    if (buffer.size() - bodyStart < bodySize)
        return std::nullopt;
    request.body = buffer.sliced(bodyStart, bodySize);
    buffer.remove(0, bodyStart + bodySize);
    return request;
}

HttpAnswer json(int status, const QJsonObject& object)
{
    return {
        status, QJsonDocument(object).toJson(QJsonDocument::Compact), {{"Content-Type", "application/json"}}, false};
}

HttpAnswer held(HttpAnswer answer)
{
    answer.isHeld = true;
    return answer;
}

QByteArray wireBytes(const HttpAnswer& answer)
{
    QByteArray bytes = "HTTP/1.1 " + QByteArray::number(answer.status) + ' ' + reasonOf(answer.status) + kLineEnd;
    bytes += "Content-Length: " + QByteArray::number(answer.body.size()) + kLineEnd;
    for (const auto& [name, value] : answer.headers)
        bytes += name + ": " + value + kLineEnd;
    return bytes + kLineEnd + answer.body;
}

HttpsServer::HttpsServer(const ServerIdentity& identity, Handler handler)
    : TlsServer(configurationOf(identity), [this](QSslSocket& socket) { serve(socket); })
    , m_handler(std::move(handler))
{
}

void HttpsServer::release()
{
    for (const HeldAnswer& answer : std::exchange(m_held, {}))
        if (answer.socket != nullptr)
            answer.socket->write(answer.bytes);
}

void HttpsServer::serve(QSslSocket& socket)
{
    const auto buffer = std::make_shared<QByteArray>();
    const auto take = [this, &socket, buffer, connection = handshakes()] {
        buffer->append(socket.readAll());
        while (auto request = takeRequest(*buffer)) {
            request->connection = connection;
            request->protocol = socket.sessionProtocol();
            m_requests.append(*request);
            answer(socket, *request);
        }
    };
    QObject::connect(&socket, &QSslSocket::readyRead, &socket, take);
    take();
}

void HttpsServer::answer(QSslSocket& socket, const HttpRequest& request)
{
    const HttpAnswer answer = m_handler ? m_handler(request) : json(200, {});
    if (answer.isHeld)
        m_held.append({&socket, wireBytes(answer)});
    else
        socket.write(wireBytes(answer));
}

} // namespace vok::test_support
