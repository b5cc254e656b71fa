#include "app/launcher.h"
#include "app/whole_file.h"
#include "transport/hop.h"
#include "transport/server_answer.h"
#include "transport/tls_trust.h"
#include "transport/url_policy.h"

#include <QNetworkReply>
#include <QNetworkRequest>

#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok
{

/// What a redirect carries over to the next hop.
struct Launcher::Exchange
{
    QString caFile;
    QByteArray method;
    QByteArray body;
    qint64 limit = 0;
    QString stagePath;
    AnswerHandler done;
    int redirects = 0;
    std::shared_ptr<TransferBudget> budget;
};

namespace
{

constexpr int kMostRedirects = 5;

std::unique_ptr<QSaveFile> openStage(const QString& path)
{
    if (path.isEmpty())
        return nullptr;
    auto file = std::make_unique<QSaveFile>(path);
    if (!file->open(QIODevice::WriteOnly))
        throw std::runtime_error("Cannot stage HTTPS download");
    return file;
}

/// The text of a hop's failure, or an empty one for a success.
QString failureOf(Hop& hop)
{
    Download& download = hop.download();
    const QNetworkReply& reply = hop.reply();
    if (!download.error.isEmpty())
        return download.error;
    if (reply.error() != QNetworkReply::NoError || !isSuccess(hop.status()))
        return refusalText(download.body, hop.status(), reply.errorString());
    if (download.file != nullptr && !commitFlushed(*download.file))
        return u"Cannot commit staged HTTPS file"_s;
    return {};
}

} // namespace

void Launcher::fetch(
    const QUrl& url, const QString& caFile, const QByteArray& method, const QByteArray& body, bool auth,
    long long limit, const QString& stagePath, AnswerHandler done, int redirects,
    std::shared_ptr<TransferBudget> budget)
{
    const std::chrono::milliseconds time(requestTimeoutMs);
    const QUrl target = parseHttpsUrl(url.toString());
    if (budget == nullptr)
        budget = newBudget(target, limit, time);
    if (!originAllowed(*budget, target))
        throw std::runtime_error("HTTPS origin refused");
    if (budget->deadline.hasExpired())
        throw std::runtime_error("HTTPS operation wall deadline exceeded");

    QNetworkRequest request(target);
    request.setSslConfiguration(tlsConfiguration(caFile));
    request.setTransferTimeout(requestTimeoutMs);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setRawHeader("User-Agent", "VOK-native-launcher/2");
    request.setRawHeader("Accept", "application/json");
    if (!body.isEmpty())
        request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
    if (auth) {
        requireSession();
        request.setRawHeader("Authorization", "Bearer " + sessionToken);
    }

    std::unique_ptr<QSaveFile> stage = openStage(stagePath);
    const HopRules rules{
        .limit = limit,
        .mayRedirect = !auth && method == "GET" && redirects < kMostRedirects,
        .time = hopTime(time, limit, stage != nullptr),
    };

    QNetworkReply* reply = network.sendCustomRequest(request, method, body);
    activeReplies.append(reply);
    auto* hop = new Hop(*reply, rules, budget, std::move(stage));
    const Exchange exchange{
        .caFile = caFile,
        .method = method,
        .body = body,
        .limit = limit,
        .stagePath = stagePath,
        .done = std::move(done),
        .redirects = redirects,
        .budget = std::move(budget),
    };
    connect(hop, &Hop::ended, this, [this, hop, exchange] { guarded([&] { finishHop(*hop, exchange); }); });
}

void Launcher::finishHop(Hop& hop, const Exchange& exchange)
{
    QNetworkReply& reply = hop.reply();
    activeReplies.removeOne(&reply);
    reply.deleteLater();

    Download& download = hop.download();
    QString failure;
    try {
        if (const QUrl next = hop.nextHop(); !next.isEmpty()) {
            download.file.reset();
            fetch(
                next, exchange.caFile, exchange.method, exchange.body, false, exchange.limit, exchange.stagePath,
                exchange.done, exchange.redirects + 1, exchange.budget);
            return;
        }
        failure = failureOf(hop);
        if (failure.isEmpty())
            exchange.done(download.body);
    } catch (const std::exception& error) {
        failure = QString::fromUtf8(error.what());
    }
    if (failure.isEmpty())
        return;
    if (exchange.budget->onError)
        exchange.budget->onError(failure);
    else // Queued behind the reply's end: a message box may stand for an hour, and the reply holds what it carried.
        QMetaObject::invokeMethod(
            this, [this, failure] { reportFailure(failure); }, Qt::QueuedConnection);
}

} // namespace vok
