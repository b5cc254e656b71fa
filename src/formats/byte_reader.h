/// Little-endian integers out of bytes that nobody vouches for.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <type_traits>

namespace vok::launcher_formats
{

/// The unsigned little-endian integer of type `T` that begins at `offset` of `bytes`. Throws std::out_of_range where it
/// is not wholly inside: a reader tests first and has a message of its own, so reaching that text is its author's
/// error.
template <typename T> constexpr T littleEndian(std::string_view bytes, std::size_t offset = 0)
{
    static_assert(std::is_unsigned_v<T>);
    if (offset > bytes.size() || bytes.size() - offset < sizeof(T))
        throw std::out_of_range("read behind the end of a field");
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        value = static_cast<T>(
            value | static_cast<T>(static_cast<T>(static_cast<unsigned char>(bytes[offset + i])) << 8 * i));
    return value;
}

} // namespace vok::launcher_formats
