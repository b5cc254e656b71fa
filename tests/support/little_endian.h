/// The writing half of what the program only ever reads.
#pragma once

#include <concepts>
#include <cstddef>
#include <string>

namespace vok::test_support
{

/// Appends `value` to `bytes`, its lowest byte first.
template <std::unsigned_integral T> void appendLittleEndian(std::string& bytes, T value)
{
    for (std::size_t i = 0; i < sizeof(T); ++i)
        bytes.push_back(static_cast<char>(static_cast<unsigned char>(value >> 8 * i)));
}

/// Writes `value` over the bytes of `bytes` that begin at `offset`. They have to be there.
template <std::unsigned_integral T> void overwriteLittleEndian(std::string& bytes, std::size_t offset, T value)
{
    std::string field;
    appendLittleEndian(field, value);
    bytes.replace(offset, field.size(), field);
}

} // namespace vok::test_support
