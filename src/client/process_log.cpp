#include "client/process_log.h"

#include "accounts/secret_bytes.h"

#include <QScopeGuard>

namespace vok::launcher_client
{
namespace
{

constexpr qint64 kReadBytes = 65536;

} // namespace

Output::Output(QByteArrayView hidden)
    : secret(ownedCopy(hidden))
{
}

Output::~Output()
{
    overwrite(secret);
}

bool drain(
    QProcess& process, QProcess::ProcessChannel channel, Output& output, bool isFinal,
    const LineSplitter::LineHandler& lineHandler)
{
    LineSplitter& splitter = channel == QProcess::StandardOutput ? output.stdoutLine : output.stderrLine;
    // The secret may pass through it.
    QByteArray chunk(kReadBytes, Qt::Uninitialized);
    const auto forgetChunk = qScopeGuard([&] { overwrite(chunk); });
    process.setReadChannel(channel);
    while (process.bytesAvailable() > 0) {
        const qint64 count = process.read(chunk.data(), chunk.size());
        if (count <= 0)
            break;
        if (!splitter.feed(QByteArrayView(chunk).first(count), output.secret, false, lineHandler))
            return false;
        process.setReadChannel(channel);
    }
    return !isFinal || splitter.feed({}, output.secret, true, lineHandler);
}

void killForOutput(QProcess& process, Output& output)
{
    output.dead = true;
    output.stdoutLine.discard();
    output.stderrLine.discard();
    // Whoever inherited the pipes may go on writing into them, and nobody will ask QProcess for it.
    process.closeReadChannel(QProcess::StandardOutput);
    process.closeReadChannel(QProcess::StandardError);
    process.kill();
}

} // namespace vok::launcher_client
