/// Looks for a secret in all memory of this process, freed memory included.
#pragma once

#include <QByteArray>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <random>
#include <string_view>

namespace vok::test_support
{

/// 64 characters out of 0-9 and a-f that nothing else in memory holds. Only the numbers that they follow from are kept,
/// so that the search does not find itself.
class HiddenSecret
{
public:
    static constexpr int kLength = 64;
    static constexpr std::uint64_t kWidest = 128; ///< bytes of its longest spelling

    HiddenSecret()
    {
        std::random_device device;
        for (std::uint32_t& number : m_numbers)
            number = device();
    }

    char at(int index) const
    {
        const auto place = static_cast<std::size_t>(index);
        return "0123456789abcdef"[(m_numbers[place / 8] >> (4 * (place % 8))) & 15U];
    }

    /// The secret between `before` and `after`, in the only buffer that is made for it.
    QByteArray within(QByteArrayView before, QByteArrayView after) const
    {
        QByteArray text;
        text.reserve(before.size() + kLength + after.size());
        text.append(before);
        for (int index = 0; index < kLength; ++index)
            text.append(at(index));
        return text.append(after);
    }

    /// Whether it stands at `place` in characters of `width` bytes, of which all but the first are zero.
    bool isAt(const char* place, int width) const
    {
        for (int index = 0; index < kLength; ++index, place += width)
            if (place[0] != at(index) || place[width - 1] != (width == 1 ? at(index) : '\0'))
                return false;
        return true;
    }

private:
    std::array<std::uint32_t, 8> m_numbers{};
};

namespace memory_search_detail
{

struct Range
{
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

/// The range that `line` of the kernel's list stands for where this process can write to it, else an empty one.
inline Range writableRange(std::string_view line)
{
    Range range;
    const auto first = std::from_chars(line.data(), line.data() + line.size(), range.begin, 16);
    const auto last = std::from_chars(first.ptr + 1, line.data() + line.size(), range.end, 16);
    return std::string_view(last.ptr, 3) == " rw" ? range : Range{};
}

/// The kernel's list of this process's memory.
inline std::string_view memoryList()
{
    static std::array<char, 1 << 20> text;
    const int file = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    std::size_t size = 0;
    for (ssize_t got = 1; file >= 0 && got > 0 && size < text.size(); size += static_cast<std::size_t>(got))
        got = std::max<ssize_t>(read(file, text.data() + size, text.size() - size), 0);
    close(file);
    if (size == 0 || size == text.size())
        qFatal("the memory of this process cannot be listed");
    return {text.data(), size};
}

} // namespace memory_search_detail

/// How often `secret` stands in this process's memory, as bytes or as UTF-16. Takes no memory from the heap, because
/// that would be the memory just freed, which is to be looked at.
inline int occurrencesInMemory(const HiddenSecret& secret)
{
    static std::array<char, 1 << 20> block;
    const int memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    if (memory < 0)
        qFatal("the memory of this process cannot be read");
    int found = 0;
    for (std::string_view list = memory_search_detail::memoryList(); !list.empty();) {
        const std::string_view line = list.substr(0, list.find('\n'));
        list.remove_prefix(std::min(line.size() + 1, list.size()));
        const auto [begin, end] = memory_search_detail::writableRange(line);
        // Neighbouring blocks overlap by the longest spelling, and each counts what begins before the overlap.
        constexpr std::uint64_t kStep = block.size() - HiddenSecret::kWidest;
        for (std::uint64_t at = begin; at < end; at += kStep) {
            const std::uint64_t wanted = std::min<std::uint64_t>(block.size(), end - at);
            block.fill('\0'); // else the block would find the copy in itself
            const ssize_t got = pread(memory, block.data(), wanted, static_cast<off_t>(at));
            const ssize_t beginnings = std::min<ssize_t>(got, kStep);
            for (ssize_t place = 0; place < beginnings; ++place)
                for (const int width : {1, 2})
                    if (got - place >= ssize_t{width} * HiddenSecret::kLength
                        && secret.isAt(block.data() + place, width))
                        ++found;
        }
    }
    block.fill('\0');
    close(memory);
    return found;
}

} // namespace vok::test_support
