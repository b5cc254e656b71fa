/// The output of a child process, read in bounded pieces and handed on in lines that are safe to show.
#pragma once

#include "client/line_splitter.h"

#include <QByteArray>
#include <QProcess>

namespace vok::launcher_client
{

/// What is kept of one process's output between its signals. The secret is overwritten with zeros before it is dropped.
struct Output
{
    explicit Output(QByteArrayView hidden);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    Output(Output&&) = delete;
    Output& operator=(Output&&) = delete;

    LineSplitter stdoutLine;
    LineSplitter stderrLine;
    QByteArray secret; ///< bytes to hide; empty: nothing to hide; shared with nobody
    bool dead = false; ///< the process was killed for its output; nothing more is read
};

/// Reads what `process` has ready on `channel` and hands each complete line to `lineHandler`. `isFinal` completes a
/// last line without a newline. Returns false where a line is longer than kLongestLineBytes. Memory use is constant.
[[nodiscard]] bool drain(
    QProcess& process, QProcess::ProcessChannel channel, Output& output, bool isFinal,
    const LineSplitter::LineHandler& lineHandler);

/// Kills `process` for its output: from now on it is dead, and what it still says is thrown away unread.
void killForOutput(QProcess& process, Output& output);

} // namespace vok::launcher_client
