/// The bounds of an HTTPS operation and the state of one hop of it.
#pragma once

#include <QByteArray>
#include <QDeadlineTimer>
#include <QSaveFile>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>

namespace vok
{

/// Shared by all hops of one operation.
struct TransferBudget
{
    QDeadlineTimer deadline;                     ///< wall deadline of the whole operation
    qint64 received = 0;                         ///< body bytes read so far, thrown away ones included
    qint64 limit = 0;                            ///< most of `received`
    QUrl origin;                                 ///< URL of the first hop
    bool allowReleaseHosts = false;              ///< measure hops by the release hosts instead of by `origin`
    std::function<void(const QString&)> onError; ///< takes the operation's failure; empty: the window tells it
};

/// The budget of an operation that begins at `origin` and takes `time`, whose answers may have `limit` body bytes.
std::shared_ptr<TransferBudget> newBudget(const QUrl& origin, qint64 limit, std::chrono::milliseconds time);

/// Wall time of one hop: `time`, and for a staged download of up to `limit` bytes as much more as a slow line needs.
std::chrono::milliseconds hopTime(std::chrono::milliseconds time, qint64 limit, bool isStaged);

/// One hop, from its request to its end.
struct Download
{
    QByteArray body;                 ///< unused where there is a file
    std::unique_ptr<QSaveFile> file; ///< null: the body stays in memory
    qint64 received = 0;             ///< body bytes of this hop
    QString error;                   ///< the first one; once set, nothing more is read
    QUrl redirect;                   ///< the accepted next hop, or empty
    QDeadlineTimer deadline;         ///< wall deadline of this hop
};

} // namespace vok
