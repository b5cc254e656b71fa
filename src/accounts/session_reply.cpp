#include "accounts/session_reply.h"

#include "accounts/secret_bytes.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace vok
{
namespace
{

bool isTokenByte(char byte)
{
    return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'f');
}

bool isSessionToken(const QByteArray& text)
{
    return text.size() == kSessionTokenBytes && std::all_of(text.cbegin(), text.cend(), isTokenByte);
}

} // namespace

QByteArray parseSessionReply(const QByteArray& answer)
{
    QString session = QJsonDocument::fromJson(answer).object().value("session"_L1).toString();
    QByteArray token = session.toUtf8();
    session.fill(QChar::Null);
    if (!isSessionToken(token))
        overwrite(token);
    return token;
}

} // namespace vok
