/// Stream buffers that behave like files in trouble.
#pragma once

#include <algorithm>
#include <ios>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>

namespace vok::test_support
{

/// Gives its bytes out one at a time and never says how many are left, like a pipe. It cannot be positioned.
class TricklingBuffer : public std::streambuf
{
public:
    enum class End
    {
        Quiet,
        Throwing,
    };

    explicit TricklingBuffer(std::string bytes, End end = End::Quiet)
        : m_bytes(std::move(bytes))
        , m_end(end)
    {
    }

    std::size_t given() const { return m_next; }

protected:
    int_type underflow() override
    {
        if (m_next == m_bytes.size()) {
            if (m_end == End::Throwing)
                throw std::runtime_error("the device is gone");
            return traits_type::eof();
        }
        m_present = m_bytes[m_next++];
        setg(&m_present, &m_present, &m_present + 1);
        return traits_type::to_int_type(m_present);
    }

private:
    std::string m_bytes;
    End m_end;
    std::size_t m_next = 0;
    char m_present = 0;
};

/// Does not say what it holds before the first byte was asked for, then has all of it ready.
class HesitantBuffer : public std::streambuf
{
public:
    explicit HesitantBuffer(std::string bytes)
        : m_bytes(std::move(bytes))
    {
    }

    std::size_t given() const { return static_cast<std::size_t>(gptr() - eback()); }

protected:
    int_type underflow() override
    {
        if (eback() != nullptr)
            return traits_type::eof();
        setg(m_bytes.data(), m_bytes.data(), m_bytes.data() + m_bytes.size());
        return traits_type::to_int_type(m_bytes.front());
    }

private:
    std::string m_bytes;
};

/// Holds `bytes` but claims to be `claimedLength` bytes long and lets itself be positioned anywhere.
class BoastingBuffer : public std::streambuf
{
public:
    BoastingBuffer(std::string bytes, std::streamoff claimedLength)
        : m_bytes(std::move(bytes))
        , m_claimedLength(claimedLength)
    {
        setg(m_bytes.data(), m_bytes.data(), m_bytes.data() + m_bytes.size());
    }

    /// From now on only the length can be asked for.
    void refusePositions() { m_refusesPositions = true; }

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction, std::ios_base::openmode mode) override
    {
        if (direction == std::ios_base::end)
            return seekpos(m_claimedLength + offset, mode);
        if (direction == std::ios_base::cur && offset == 0)
            return m_position;
        return off_type{-1};
    }

    pos_type seekpos(pos_type position, std::ios_base::openmode) override
    {
        if (m_refusesPositions && position != pos_type(m_claimedLength))
            return off_type{-1};
        m_position = position;
        const auto held = static_cast<off_type>(m_bytes.size());
        setg(m_bytes.data(), m_bytes.data() + std::min<off_type>(m_position, held), m_bytes.data() + held);
        return position;
    }

private:
    std::string m_bytes;
    off_type m_claimedLength;
    off_type m_position = 0;
    bool m_refusesPositions = false;
};

} // namespace vok::test_support
