/// Numbers that look random and are the same on every machine, which the standard library's distributions are not.
#pragma once

#include "support/little_endian.h"

#include <cstdint>
#include <string>

namespace vok::test_support
{

/// A sequence of 64-bit numbers that its seed determines (the generator known as SplitMix64).
class Random
{
public:
    explicit Random(std::uint64_t seed)
        : m_state(seed)
    {
    }

    std::uint64_t next()
    {
        m_state += 0x9e3779b97f4a7c15;
        std::uint64_t mixed = m_state;
        mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111eb;
        return mixed ^ (mixed >> 31);
    }

    /// A number below `bound`, which is not zero. Small bounds keep the numbers as good as even.
    std::uint64_t below(std::uint64_t bound) { return next() % bound; }

    void appendBytes(std::string& bytes, std::uint64_t count)
    {
        const std::size_t end = bytes.size() + count;
        bytes.reserve(end + sizeof(std::uint64_t));
        while (bytes.size() < end)
            appendLittleEndian(bytes, next());
        bytes.resize(end);
    }

private:
    std::uint64_t m_state;
};

} // namespace vok::test_support
