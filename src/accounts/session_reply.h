/// The account service's answer to a login.
#pragma once

#include <QByteArray>

namespace vok
{

/// Characters of a session token, each of them 0-9 or a-f.
constexpr qsizetype kSessionTokenBytes = 64;

/// The token in `session` of the JSON object `answer`, in a buffer that nobody shares; empty where that is no session
/// token.
QByteArray parseSessionReply(const QByteArray& answer);

} // namespace vok
