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

/// Characters of a session token that nothing else in memory holds. Only the numbers that they follow from are kept,
/// so that the search does not find itself.
class HiddenToken
{
public:
    static constexpr qsizetype kBytes = 64;

    HiddenToken()
    {
        std::random_device device;
        for (std::uint32_t& number : m_numbers)
            number = device();
    }

    char at(qsizetype index) const
    {
        const auto place = static_cast<std::size_t>(index);
        return "0123456789abcdef"[(m_numbers[place / 8] >> (4 * (place % 8))) & 15U];
    }

    /// The token between `before` and `after`, in the only buffer that is made for it.
    QByteArray within(QByteArrayView before, QByteArrayView after) const
    {
        QByteArray text;
        text.reserve(before.size() + kBytes + after.size());
        text.append(before);
        for (qsizetype index = 0; index < kBytes; ++index)
            text.append(at(index));
        return text.append(after);
    }

    bool isAt(const char* place) const
    {
        for (qsizetype index = 0; index < kBytes; ++index)
            if (place[index] != at(index))
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
/// Reservations of a sanitizer, of which hardly a page exists, are left out.
inline Range writableRange(std::string_view line)
{
    constexpr std::uint64_t kLargest = std::uint64_t{1} << 30;
    Range range;
    const auto first = std::from_chars(line.data(), line.data() + line.size(), range.begin, 16);
    const auto last = std::from_chars(first.ptr + 1, line.data() + line.size(), range.end, 16);
    const bool isWritable = std::string_view(last.ptr, 3) == " rw";
    return isWritable && range.end - range.begin <= kLargest ? range : Range{};
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

/// How often `token` stands in this process's memory. Takes no memory from the heap, because that would be the memory
/// just freed, which is to be looked at.
inline int occurrencesInMemory(const HiddenToken& token)
{
    constexpr std::uint64_t kOverlap = HiddenToken::kBytes - 1;
    static std::array<char, 1 << 20> block;
    const int memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    if (memory < 0)
        qFatal("the memory of this process cannot be read");
    int found = 0;
    for (std::string_view list = memory_search_detail::memoryList(); !list.empty();) {
        const std::string_view line = list.substr(0, list.find('\n'));
        list.remove_prefix(std::min(line.size() + 1, list.size()));
        const auto [begin, end] = memory_search_detail::writableRange(line);
        for (std::uint64_t at = begin; at < end; at += block.size() - kOverlap) {
            const std::uint64_t wanted = std::min<std::uint64_t>(block.size(), end - at);
            block.fill('\0'); // else the block would find the copy in itself
            const ssize_t got = pread(memory, block.data(), wanted, static_cast<off_t>(at));
            for (ssize_t place = 0; place + HiddenToken::kBytes <= got; ++place)
                found += token.isAt(block.data() + place) ? 1 : 0;
        }
    }
    block.fill('\0');
    close(memory);
    return found;
}

} // namespace vok::test_support
