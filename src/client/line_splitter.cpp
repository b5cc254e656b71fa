#include "client/line_splitter.h"

#include "accounts/secret_bytes.h"

namespace vok::launcher_client
{
namespace
{

constexpr QByteArrayView kRedacted("[REDACTED]");

QByteArrayView withoutCarriageReturn(QByteArrayView line)
{
    return line.endsWith('\r') ? line.chopped(1) : line;
}

// Built beside the line and not within it: a replacement in place may move the buffer and leave the secret behind.
QString redacted(QByteArrayView line, QByteArrayView secret)
{
    QByteArray shown;
    for (qsizetype found = line.indexOf(secret); found >= 0; found = line.indexOf(secret)) {
        shown += line.first(found);
        shown += kRedacted;
        line = line.sliced(found + secret.size());
    }
    shown += line;
    return QString::fromUtf8(shown);
}

} // namespace

LineSplitter::LineSplitter()
{
    // With room for the longest line the buffer never moves, so no freed memory keeps an earlier state of it.
    m_buffer.reserve(kLongestLineBytes);
}

LineSplitter::~LineSplitter()
{
    discard();
}

bool LineSplitter::feed(QByteArrayView chunk, QByteArrayView secret, bool isFinal, const LineHandler& lineHandler)
{
    while (!chunk.isEmpty()) {
        const qsizetype newline = chunk.indexOf('\n');
        const QByteArrayView segment = newline < 0 ? chunk : chunk.first(newline);
        if (segment.size() > kLongestLineBytes - m_buffer.size()) {
            discard();
            return false;
        }
        m_buffer.append(segment.data(), segment.size());
        if (newline < 0)
            break;
        emitLine(secret, lineHandler);
        chunk = chunk.sliced(newline + 1);
    }
    if (isFinal && !m_buffer.isEmpty())
        emitLine(secret, lineHandler);
    return true;
}

void LineSplitter::discard()
{
    overwrite(m_buffer);
}

void LineSplitter::emitLine(QByteArrayView secret, const LineHandler& lineHandler)
{
    const QByteArrayView line = withoutCarriageReturn(m_buffer);
    const QString shown = secret.isEmpty() ? QString::fromUtf8(line) : redacted(line, secret);
    discard();
    lineHandler(shown);
}

} // namespace vok::launcher_client
