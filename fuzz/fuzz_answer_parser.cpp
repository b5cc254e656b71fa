#include "network/answer_parser.h"

#include <QByteArray>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

using vok::AnswerParser;

namespace
{

/// What a whole answer holds. What is none may be refused or waited for, as the reads fall.
struct Outcome
{
    bool isWhole = false;
    int status = 0;
    QByteArray body = {};

    bool operator==(const Outcome&) const = default;
};

Outcome outcomeOf(QByteArrayView answer, qsizetype step, qsizetype room)
{
    AnswerParser parser;
    QByteArray input;
    Outcome outcome;
    try {
        for (qsizetype at = 0; at < answer.size() && !parser.isComplete(); at += step) {
            input += answer.sliced(at, std::min(step, answer.size() - at));
            for (qsizetype taken = 1; taken > 0 && !input.isEmpty() && !parser.isComplete();) {
                const qsizetype before = outcome.body.size();
                taken = parser.feed(input, outcome.body, room);
                if (taken > input.size() || outcome.body.size() - before > room)
                    std::abort();
                input.remove(0, taken);
            }
        }
    } catch (const std::runtime_error&) {
        return {};
    }
    outcome.isWhole = parser.isComplete() || parser.end();
    outcome.status = outcome.isWhole ? parser.status() : 0;
    return outcome.isWhole ? outcome : Outcome{};
}

} // namespace

// The first byte is the size of a read, the next the room for the body; the answer follows.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    const QByteArrayView answer(reinterpret_cast<const char*>(data) + 2, static_cast<qsizetype>(size) - 2);
    // How the answer was cut into reads must not show.
    if (outcomeOf(answer, data[0] + 1, data[1] + 1)
        != outcomeOf(answer, std::max<qsizetype>(answer.size(), 1), std::max<qsizetype>(answer.size(), 1)))
        std::abort();
    return 0;
}
