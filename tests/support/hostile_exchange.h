/// What becomes of a window that asks a hostile server, and of its next request.
#pragma once

#include "support/exchange.h"
#include "support/hostile_server.h"
#include "support/modal_player.h"
#include "support/process_memory.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

namespace vok::test_support
{

/// After the end of an exchange; whoever reports again does it at once.
constexpr std::chrono::milliseconds kQuietTime(20);

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

/// Runs the event loop until `condition` holds, 30 seconds at most. Without the pauses of QTest's own waiting, in which
/// a server of this thread could not send what a client can take.
template <typename Condition> void runUntil(const Condition& condition)
{
    QEventLoop loop;
    QTimer look;
    const QDeadlineTimer latest(std::chrono::seconds(30));
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (condition() || latest.hasExpired())
            loop.quit();
    });
    look.start(5);
    loop.exec();
}

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
    runUntil([&] { return reports() > 0; });
    end.elapsedMs = clock.elapsed();
    end.grownBytes = memory.bytes();
    const QDeadlineTimer quiet(kQuietTime);
    runUntil([&] { return quiet.hasExpired(); });
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
