/// The writing half of what the program only ever reads.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <type_traits>

namespace vok::test_support
{

/// The bytes of `value`, the lowest one first.
template <typename T> constexpr std::array<char, sizeof(T)> littleEndianBytes(T value)
{
    static_assert(std::is_unsigned_v<T>);
    std::array<char, sizeof(T)> bytes{};
    for (std::size_t i = 0; i < sizeof(T); ++i)
        bytes[i] = static_cast<char>(static_cast<unsigned char>(value >> 8 * i));
    return bytes;
}

/// Appends `value` to `bytes`, its lowest byte first.
template <typename T> void appendLittleEndian(std::string& bytes, T value)
{
    const auto field = littleEndianBytes(value);
    bytes.append(field.data(), field.size());
}

/// Writes `value` over the bytes of `bytes` that begin at `offset`. They have to be there.
template <typename T> void overwriteLittleEndian(std::string& bytes, std::size_t offset, T value)
{
    const auto field = littleEndianBytes(value);
    bytes.replace(offset, field.size(), field.data(), field.size());
}

} // namespace vok::test_support
