#include "client/line_splitter.h"

#include <QStringList>

#include <algorithm>
#include <cstdlib>

using vok::launcher_client::LineSplitter;

namespace
{

struct Outcome
{
    QStringList lines;
    bool accepted = true;

    bool operator==(const Outcome&) const = default;
};

Outcome outcomeOf(QByteArrayView output, QByteArrayView secret, qsizetype chunkBytes)
{
    LineSplitter splitter;
    Outcome outcome;
    const auto collect = [&](const QString& line) { outcome.lines.append(line); };
    for (qsizetype done = 0; done < output.size() && outcome.accepted; done += chunkBytes) {
        const QByteArrayView chunk = output.sliced(done, std::min(chunkBytes, output.size() - done));
        outcome.accepted = splitter.feed(chunk, secret, false, collect);
    }
    outcome.accepted = outcome.accepted && splitter.feed({}, secret, true, collect);
    return outcome;
}

} // namespace

// The first byte is the length of the secret, the next the size of a read; the secret follows, then the output.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    const QByteArrayView rest(reinterpret_cast<const char*>(data) + 2, static_cast<qsizetype>(size) - 2);
    const QByteArrayView secret = rest.first(std::min<qsizetype>(data[0], rest.size()));
    const QByteArrayView output = rest.sliced(secret.size());
    // How the output was cut into reads must not show.
    if (outcomeOf(output, secret, data[1] + 1) != outcomeOf(output, secret, std::max<qsizetype>(output.size(), 1)))
        std::abort();
    return 0;
}
