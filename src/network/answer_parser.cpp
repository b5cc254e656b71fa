#include "network/answer_parser.h"

#include <array>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <optional>
#include <stdexcept>

namespace vok
{
namespace
{

namespace http = boost::beast::http;

constexpr std::size_t kPieceBytes = 16384;

QByteArray bytesOf(boost::beast::string_view text)
{
    return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
}

bool isInformational(int status)
{
    return status >= 100 && status <= 199 && status != 101;
}

} // namespace

struct AnswerParser::State
{
    explicit State(bool answerHasBody)
        : hasBody(answerHasBody)
    {
        beginAnswer();
    }

    void beginAnswer()
    {
        parser.emplace();
        parser->header_limit(static_cast<std::uint32_t>(kLargestHeadBytes));
        // How much a body may hold is for its reader to say.
        parser->body_limit(boost::none);
        parser->skip(!hasBody);
    }

    const bool hasBody;
    std::optional<http::response_parser<http::buffer_body>> parser;
    std::array<char, kPieceBytes> piece{};
    qsizetype headBytes = 0; ///< of the informational answers so far
};

AnswerParser::AnswerParser(bool hasBody)
    : m_state(std::make_unique<State>(hasBody))
{
}

AnswerParser::~AnswerParser() = default;

qsizetype AnswerParser::feed(QByteArrayView input, QByteArray& body, qsizetype room)
{
    auto& parser = *m_state->parser;
    const bool isInHead = !parser.is_header_done();
    auto& out = parser.get().body();
    const std::size_t space = std::min(m_state->piece.size(), static_cast<std::size_t>(room));
    out.data = m_state->piece.data();
    out.size = space;
    out.more = true;

    boost::system::error_code error;
    const std::size_t taken =
        parser.put(boost::asio::const_buffer(input.data(), static_cast<std::size_t>(input.size())), error);
    body.append(m_state->piece.data(), static_cast<qsizetype>(space - out.size));
    if (error && error != http::error::need_more && error != http::error::need_buffer)
        throw std::runtime_error(error.message());

    const auto used = static_cast<qsizetype>(taken);
    // All but the body comes in lines, and a line is taken whole or not at all.
    if (error == http::error::need_more && input.size() - used > kLargestHeadBytes)
        throw std::runtime_error("Oversized header");
    if (isInHead && parser.is_header_done() && isInformational(status())) {
        m_state->headBytes += used;
        if (m_state->headBytes > kLargestHeadBytes)
            throw std::runtime_error("Oversized header");
        m_state->beginAnswer();
    }
    return used;
}

bool AnswerParser::end()
{
    // The parser takes the end before any byte for a whole answer.
    if (!hasHead())
        return false;
    boost::system::error_code error;
    m_state->parser->put_eof(error);
    return !error;
}

bool AnswerParser::hasHead() const
{
    return m_state->parser->is_header_done();
}

bool AnswerParser::isComplete() const
{
    return m_state->parser->is_done();
}

int AnswerParser::status() const
{
    return static_cast<int>(m_state->parser->get().result_int());
}

QByteArray AnswerParser::reason() const
{
    return bytesOf(m_state->parser->get().reason());
}

QList<std::pair<QByteArray, QByteArray>> AnswerParser::headers() const
{
    QList<std::pair<QByteArray, QByteArray>> all;
    for (const auto& field : m_state->parser->get())
        all.emplaceBack(bytesOf(field.name_string()), bytesOf(field.value()));
    return all;
}

} // namespace vok
