#include "accounts/session_reply.h"

#include "accounts/secret_bytes.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace vok
{
namespace
{

constexpr int kMarkBytes = 16;

bool isTokenByte(char byte)
{
    return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'f');
}

bool isSessionToken(QByteArrayView text)
{
    return text.size() == kSessionTokenBytes && std::all_of(text.begin(), text.end(), isTokenByte);
}

// Sixteen letters that no server can foresee and that are no part of a token.
QByteArray freshMark()
{
    QByteArray mark = QByteArray::number(QRandomGenerator::system()->generate64(), 16).rightJustified(kMarkBytes, '0');
    for (char& digit : mark)
        digit = static_cast<char>('g' + QByteArrayView("0123456789abcdef").indexOf(digit));
    return mark;
}

// Overwrites each string that looks like a token with `mark` and the place where it stands.
QByteArray masked(const QByteArray& answer, const QByteArray& mark)
{
    QByteArray result = ownedCopy(answer);
    qsizetype begin = 0;
    for (qsizetype quote = answer.indexOf('"'); quote >= 0; quote = answer.indexOf('"', begin)) {
        begin = quote + 1;
        const QByteArrayView rest = QByteArrayView(answer).sliced(begin);
        if (rest.size() > kSessionTokenBytes && rest[kSessionTokenBytes] == '"'
            && isSessionToken(rest.first(kSessionTokenBytes)))
            result.replace(
                begin, kSessionTokenBytes,
                mark + QByteArray::number(begin).rightJustified(kSessionTokenBytes - kMarkBytes, '0'));
    }
    return result;
}

} // namespace

QByteArray parseSessionReply(const QByteArray& answer)
{
    // The JSON parser gives the memory of the strings that it has read back as they are, so it gets none that matters.
    const QByteArray mark = freshMark();
    QString session = QJsonDocument::fromJson(masked(answer, mark)).object().value("session"_L1).toString();
    if (session.startsWith(QLatin1StringView(mark)))
        return ownedCopy(QByteArrayView(answer).sliced(session.sliced(kMarkBytes).toLongLong(), kSessionTokenBytes));

    // A token that is spelt with escapes is a token all the same.
    QByteArray token = session.toUtf8();
    session.fill(QChar::Null);
    if (!isSessionToken(token))
        overwrite(token);
    return token;
}

} // namespace vok
