/// The writing half of what the program only ever reads.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <string>

namespace vok::test_support
{

/// The bytes of `value`, the lowest one first.
template <std::unsigned_integral T> constexpr std::array<char, sizeof(T)> littleEndianBytes(T value)
{
    std::array<char, sizeof(T)> bytes{};
    for (std::size_t i = 0; i < sizeof(T); ++i)
        bytes[i] = static_cast<char>(static_cast<unsigned char>(value >> 8 * i));
    return bytes;
}

/// Appends `value` to `bytes`, its lowest byte first.
template <std::unsigned_integral T> void appendLittleEndian(std::string& bytes, T value)
{
    const auto field = littleEndianBytes(value);
    bytes.append(field.data(), field.size());
}

/// Writes `value` over the bytes of `bytes` that begin at `offset`. They have to be there.
template <std::unsigned_integral T> void overwriteLittleEndian(std::string& bytes, std::size_t offset, T value)
{
    const auto field = littleEndianBytes(value);
    bytes.replace(offset, field.size(), field.data(), field.size());
}

} // namespace vok::test_support
