/// Cuts the output of a child process into lines that are safe to show: bounded, and without the secret that the child
/// was given.
#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

namespace vok::launcher_client
{

/// Longest line in bytes, without its newline. A child that never writes one must not grow the launcher's memory.
constexpr qsizetype kLongestLineBytes = 65536;

/// The incomplete line of one channel. Lines are redacted whole, because a secret may come in two reads. What waits in
/// the buffer may be a secret: it is overwritten with zeros before it is dropped.
class LineSplitter
{
public:
    using LineHandler = std::function<void(const QString& line)>;

    LineSplitter();
    ~LineSplitter();
    LineSplitter(const LineSplitter&) = delete;
    LineSplitter& operator=(const LineSplitter&) = delete;
    LineSplitter(LineSplitter&&) = delete;
    LineSplitter& operator=(LineSplitter&&) = delete;

    /// Takes the next bytes of the channel and hands each line that they complete to `lineHandler`, decoded as UTF-8,
    /// without one trailing carriage return, and with "[REDACTED]" for each occurrence of `secret` (empty: nothing to
    /// hide). `isFinal` completes a last line without a newline. Returns false where a line exceeds kLongestLineBytes;
    /// the buffer is then empty, and the lines before it are handed out.
    [[nodiscard]] bool feed(QByteArrayView chunk, QByteArrayView secret, bool isFinal, const LineHandler& lineHandler);

    /// Overwrites and drops the incomplete line.
    void discard();

private:
    void emitLine(QByteArrayView secret, const LineHandler& lineHandler);

    QByteArray m_buffer;

    friend class TestLineSplitter; // sees that the buffer is zero
};

} // namespace vok::launcher_client
