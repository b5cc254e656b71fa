/// Reads one HTTP/1.1 answer out of the bytes of a connection, in memory that no server can make grow.
#pragma once

#include <QByteArray>
#include <QList>

#include <memory>
#include <utility>

namespace vok
{

/// Most bytes of all heads of one answer, those of informational answers included, and of any line of its framing.
constexpr qsizetype kLargestHeadBytes = 65536;

/// The parser of one answer. Informational answers before it are skipped; what follows it is not looked at.
class AnswerParser
{
public:
    /// `hasBody`: false for the answer to a HEAD.
    explicit AnswerParser(bool hasBody = true);
    ~AnswerParser();
    AnswerParser(const AnswerParser&) = delete;
    AnswerParser& operator=(const AnswerParser&) = delete;
    AnswerParser(AnswerParser&&) = delete;
    AnswerParser& operator=(AnswerParser&&) = delete;

    /// Takes bytes from the front of `input` and returns how many; the rest must be given again, with more behind it.
    /// Body bytes are appended to `body`, at most `room` of them. Returns at the end of the head at the latest. Throws
    /// std::runtime_error where the bytes are no answer, or exceed kLargestHeadBytes outside of the body.
    qsizetype feed(QByteArrayView input, QByteArray& body, qsizetype room);

    /// The connection has ended. Returns whether the answer has too.
    [[nodiscard]] bool end();

    bool hasHead() const;
    bool isComplete() const;

    // Valid once there is a head.
    int status() const;
    QByteArray reason() const;
    QList<std::pair<QByteArray, QByteArray>> headers() const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace vok
