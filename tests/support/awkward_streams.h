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
        : bytes_(std::move(bytes))
        , end_(end)
    {
    }

    std::size_t given() const { return next_; }

protected:
    int_type underflow() override
    {
        if (next_ == bytes_.size()) {
            if (end_ == End::Throwing)
                throw std::runtime_error("the device is gone");
            return traits_type::eof();
        }
        present_ = bytes_[next_++];
        setg(&present_, &present_, &present_ + 1);
        return traits_type::to_int_type(present_);
    }

private:
    std::string bytes_;
    End end_;
    std::size_t next_ = 0;
    char present_ = 0;
};

/// Holds `bytes` but claims to be `claimedLength` bytes long and lets itself be positioned anywhere.
class BoastingBuffer : public std::streambuf
{
public:
    BoastingBuffer(std::string bytes, std::streamoff claimedLength)
        : bytes_(std::move(bytes))
        , claimedLength_(claimedLength)
    {
        setg(bytes_.data(), bytes_.data(), bytes_.data() + bytes_.size());
    }

    /// From now on only the length can be asked for.
    void refusePositions() { refusesPositions_ = true; }

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction, std::ios_base::openmode mode) override
    {
        if (direction == std::ios_base::end)
            return seekpos(claimedLength_ + offset, mode);
        if (direction == std::ios_base::cur && offset == 0)
            return position_;
        return off_type{-1};
    }

    pos_type seekpos(pos_type position, std::ios_base::openmode) override
    {
        if (refusesPositions_ && position != pos_type(claimedLength_))
            return off_type{-1};
        position_ = position;
        const auto held = static_cast<off_type>(bytes_.size());
        setg(bytes_.data(), bytes_.data() + std::min<off_type>(position_, held), bytes_.data() + held);
        return position;
    }

private:
    std::string bytes_;
    off_type claimedLength_;
    off_type position_ = 0;
    bool refusesPositions_ = false;
};

} // namespace vok::test_support
