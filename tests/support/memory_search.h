/// Looks for a secret in all memory of this process, freed memory included.
#pragma once

#include <QByteArray>
#include <QFile>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <vector>

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
    std::uint64_t begin;
    std::uint64_t end;
};

/// What this process can write to. Reservations of a sanitizer, of which hardly a page exists, are left out.
inline std::vector<Range> writableMemory()
{
    constexpr std::uint64_t kLargest = std::uint64_t{1} << 30;
    QFile maps(QStringLiteral("/proc/self/maps"));
    if (!maps.open(QIODevice::ReadOnly))
        qFatal("the memory of this process cannot be listed");
    std::vector<Range> ranges;
    const QByteArrayList lines = maps.readAll().split('\n');
    for (const QByteArray& line : lines) {
        const QByteArrayList words = line.simplified().split(' ');
        if (words.size() < 5 || !words.at(1).startsWith("rw"))
            continue;
        const QByteArrayList ends = words.constFirst().split('-');
        const Range range{ends.value(0).toULongLong(nullptr, 16), ends.value(1).toULongLong(nullptr, 16)};
        if (range.end - range.begin <= kLargest)
            ranges.push_back(range);
    }
    return ranges;
}

} // namespace memory_search_detail

/// How often `token` stands in this process's memory.
inline int occurrencesInMemory(const HiddenToken& token)
{
    constexpr std::uint64_t kOverlap = HiddenToken::kBytes - 1;
    static std::array<char, 1 << 20> block;
    const int memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    if (memory < 0)
        qFatal("the memory of this process cannot be read");
    int found = 0;
    for (const auto& [begin, end] : memory_search_detail::writableMemory()) {
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
