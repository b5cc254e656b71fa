#include "transport/url_policy.h"

#include "app/addresses.h"
#include "transport/transfer.h"

#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok
{
namespace
{

constexpr int kHttpsPort = 443;

QString hostOf(const QUrl& url)
{
    return url.host(QUrl::FullyDecoded);
}

bool isReleaseHost(const QString& host)
{
    return host == addresses::kReleaseApiHost || host == addresses::kReleaseWebHost
           || host.endsWith(addresses::kReleaseContentSuffix);
}

} // namespace

QUrl parseHttpsUrl(const QString& text)
{
    QUrl url(text, QUrl::TolerantMode);
    if (!url.isValid() || url.scheme() != "https"_L1 || hostOf(url).isEmpty() || !url.userInfo().isEmpty()
        || url.hasFragment())
        throw std::runtime_error("HTTPS URL with host and no credentials/fragment required");
    return url;
}

QUrl parseAuthOrigin(const QString& text)
{
    QUrl url = parseHttpsUrl(text);
    const QString path = url.path(QUrl::FullyDecoded);
    if (url.hasQuery() || (!path.isEmpty() && path != "/"_L1))
        throw std::runtime_error("Auth endpoint must be an HTTPS origin (no path/query)");
    return url;
}

bool originAllowed(const TransferBudget& budget, const QUrl& url)
{
    if (budget.allowReleaseHosts)
        return url.port(kHttpsPort) == kHttpsPort && isReleaseHost(hostOf(url));
    return url.scheme() == budget.origin.scheme() && hostOf(url) == hostOf(budget.origin)
           && url.port(kHttpsPort) == budget.origin.port(kHttpsPort);
}

} // namespace vok
