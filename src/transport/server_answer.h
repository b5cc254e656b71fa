/// What an answer of the account service means before anybody reads its body as a success.
#pragma once

#include <QByteArray>
#include <QString>

namespace vok
{

inline bool isSuccess(int status)
{
    return status >= 200 && status <= 299;
}

inline bool isRedirect(int status)
{
    return status >= 300 && status <= 399;
}

/// The text to show for a refused request: the server's own `error.message` in `body`, where that is a text, else one
/// made of `status` (0: there was no answer) and `networkError`.
QString refusalText(const QByteArray& body, int status, const QString& networkError);

} // namespace vok
