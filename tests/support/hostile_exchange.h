/// What becomes of a window that asks a hostile server, and of its next request.
#pragma once

#include "support/exchange.h"
#include "support/hostile_server.h"
#include "support/modal_player.h"
#include "support/process_memory.h"

#include <QElapsedTimer>

namespace vok::test_support
{

/// How an exchange ended.
struct ExchangeEnd
{
    QString failure; ///< as the player was told; empty: a success. "Reported n times" where n is not 1
    QByteArray body; ///< of a success
    qint64 elapsedMs = 0;
    qint64 grownBytes = 0; ///< most memory that was taken at once meanwhile
};

struct HostileEnd
{
    ExchangeEnd hostile;
    ExchangeEnd next; ///< of the request after it
};

/// Lets `window` ask for `path` and waits for the end, and for reports that nobody wants.
inline ExchangeEnd endOf(const LauncherWindow& window, const QString& path)
{
    ExchangeEnd end;
    const ModalPlayer player;
    const PeakGrowth memory;
    QElapsedTimer clock;
    clock.start();
    const auto outcome = startApi(window, path);
    const auto reports = [&] { return outcome->successes + player.seen.size(); };
    static_cast<void>(QTest::qWaitFor([&] { return reports() > 0; }));
    end.elapsedMs = clock.elapsed();
    end.grownBytes = memory.bytes();
    static_cast<void>(QTest::qWaitFor([&] { return reports() > 1; }, 30));
    end.failure = reports() == 1 ? player.texts().value(0) : QStringLiteral("Reported %1 times").arg(reports());
    end.body = outcome->body;
    return end;
}

/// Lets a window ask the account service `server` twice, at first with `requestTimeoutMs`.
inline HostileEnd endsOf(const HostileServer& server, const QString& caFile, int requestTimeoutMs)
{
    selectProfile(server.origin(), caFile);
    const LauncherWindow window;
    window.access.setRequestTimeoutMs(requestTimeoutMs);
    HostileEnd ends;
    ends.hostile = endOf(window, QStringLiteral("/v1/status"));
    window.access.setRequestTimeoutMs(60000);
    ends.next = endOf(window, QStringLiteral("/v1/next"));
    if (!window.access.activeReplies().isEmpty())
        ends.next.failure = QStringLiteral("Replies are left");
    return ends;
}

} // namespace vok::test_support
