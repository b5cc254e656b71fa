#include "transport/transfer.h"

namespace vok
{
namespace
{

constexpr qint64 kBytesBeyondLimit = 393216; ///< what the redirects and refusals of one operation may cost besides
constexpr qint64 kStagedBytesPerMs = 128;    ///< slowest rate at which a staged download is waited for

} // namespace

std::shared_ptr<TransferBudget> newBudget(const QUrl& origin, qint64 limit, std::chrono::milliseconds time)
{
    auto budget = std::make_shared<TransferBudget>();
    budget->deadline = QDeadlineTimer(time, Qt::CoarseTimer);
    budget->limit = limit + kBytesBeyondLimit;
    budget->origin = origin;
    return budget;
}

std::chrono::milliseconds hopTime(std::chrono::milliseconds time, qint64 limit, bool isStaged)
{
    return isStaged ? time + std::chrono::milliseconds(limit / kStagedBytesPerMs) : time;
}

} // namespace vok
