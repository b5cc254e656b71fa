/// HTTPS exchanges of a window: how a test starts them, and what became of them.
#pragma once

#include "accounts/server_profile.h"
#include "support/launcher_window.h"
#include "transport/transfer.h"

#include <QJsonObject>
#include <QSettings>

#include <chrono>
#include <memory>

namespace vok::test_support
{

/// What is wanted of `fetch`, with the values of an ordinary request.
struct FetchCall
{
    QUrl url;
    QString caFile = {};
    QByteArray method = "GET";
    QByteArray body = {};
    qint64 limit = 2097152;
    QString stagePath = {};
    bool auth = false;
    int redirects = 0;
    std::shared_ptr<TransferBudget> budget = {}; ///< null: one like that of a first hop
};

/// How often an exchange was reported, and with what.
struct Outcome
{
    int successes = 0;
    QByteArray body;
    QStringList failures; ///< of exchanges with a budget; those without one are told by the window

    int ends() const { return successes + static_cast<int>(failures.size()); }
};

/// A budget for `limit` bytes of an operation that begins at `origin`.
inline std::shared_ptr<TransferBudget> budgetOf(const QUrl& origin, qint64 limit, std::chrono::milliseconds time)
{
    auto budget = std::make_shared<TransferBudget>();
    budget->deadline = QDeadlineTimer(time);
    budget->limit = limit;
    budget->origin = origin;
    return budget;
}

/// Starts `call`. Its failures go to the outcome, as far as they come later; what `fetch` throws passes through.
inline std::shared_ptr<Outcome> startFetch(const LauncherWindow& window, FetchCall call)
{
    constexpr qint64 kBeyondLimit = 393216;
    auto outcome = std::make_shared<Outcome>();
    if (call.budget == nullptr)
        call.budget = budgetOf(call.url, call.limit + kBeyondLimit, std::chrono::minutes(1));
    call.budget->onError = [outcome](const QString& failure) { outcome->failures.append(failure); };
    const auto done = [outcome](const QByteArray& body) {
        ++outcome->successes;
        outcome->body = QByteArray(body.constData(), body.size());
    };
    window.access.fetch(
        call.url, call.caFile, call.method, call.body, call.auth, call.limit, call.stagePath, done, call.redirects,
        call.budget);
    return outcome;
}

/// Asks the account service of the selected profile. Failures are the window's to tell.
inline std::shared_ptr<Outcome> startApi(
    const LauncherWindow& window, const QString& path, const QByteArray& method = "GET", const QJsonObject& body = {},
    bool auth = false)
{
    auto outcome = std::make_shared<Outcome>();
    window.access.api(path, method, body, auth, [outcome](const QByteArray& answer) {
        ++outcome->successes;
        outcome->body = QByteArray(answer.constData(), answer.size());
    });
    return outcome;
}

/// Writes the profile `name` into the store.
inline void storeProfile(const QString& auth, const QString& ca, const QString& name = QStringLiteral("Deneme"))
{
    QSettings().setValue(QStringLiteral("profiles/") + name, serialiseProfile({auth, ca}));
}

/// Lets windows that are opened from now on offer the profile "Deneme", and select it.
inline void selectProfile(const QString& auth, const QString& ca)
{
    storeProfile(auth, ca);
    QSettings().setValue(QStringLiteral("profileNames"), QStringList(QStringLiteral("Deneme")));
    QSettings().setValue(QStringLiteral("lastProfile"), QStringLiteral("Deneme"));
}

} // namespace vok::test_support
