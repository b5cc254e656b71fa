/// Which URLs the launcher's HTTPS requests may go to. First URLs and redirect targets pass the same tests, so that a
/// session never leaves the account service that it belongs to.
#pragma once

#include <QUrl>

namespace vok
{

struct TransferBudget;

/// `text` as the URL of an HTTPS request: scheme https, a host, neither user nor password nor fragment. Throws
/// std::runtime_error for anything else.
QUrl parseHttpsUrl(const QString& text);

/// `text` as the base of an account service: as parseHttpsUrl, and with neither path nor query. Throws
/// std::runtime_error for anything else.
QUrl parseAuthOrigin(const QString& text);

/// Whether `url` may be reached within the operation of `budget`: it has the scheme, host and port of the operation's
/// first URL or, where the budget says so, lies on port 443 of a release host.
bool originAllowed(const TransferBudget& budget, const QUrl& url);

} // namespace vok
