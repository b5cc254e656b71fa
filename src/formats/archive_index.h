/// The index of the original game's `QOMB` archives, read without trusting a byte of it. An archive that passes is laid
/// out exactly as the game's own tool lays it out: the index, then every file in index order without a gap up to the
/// last byte.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace vok::launcher_formats
{

/// The first bytes of every archive.
constexpr std::string_view kArchiveMagic = "QOMB";

/// One file of an archive. `path` begins with the name of the archive's root and has `/` between its components; its
/// bytes are the archive's own, in no particular code page.
struct ArchiveEntry
{
    std::string path;
    std::uint32_t offset = 0;
    std::uint32_t size = 0;
};

/// A whole, valid index. `entries` stand in index order, which is the order of their contents; `indexEnd` is where the
/// first content begins, `payloadEnd` where the last one ends, and that is the end of the archive.
struct ArchiveIndex
{
    std::uint64_t payloadEnd = 0;
    std::uint64_t indexEnd = 0;
    std::vector<ArchiveEntry> entries;
};

/// What an index may cost. `pathBytes` bounds the expanded paths of directories and files together, which names in deep
/// directories would otherwise multiply; a directory at level `depth`, the root being level 0, may hold no other.
struct ArchiveLimits
{
    std::uint64_t indexBytes = 67108864;
    std::uint64_t fileRecords = 493447;
    std::uint64_t pathBytes = 67108864;
    unsigned depth = 64;
};

/// The first bytes of an entry, as many as tell its type; those behind `length` are zero.
struct EntryPrefix
{
    std::array<char, 128> bytes{};
    std::size_t length = 0;
};

/// Reads and proves the index of the archive of `fileSize` bytes at whose start `stream` stands. The stream is read
/// once, forwards, never past `fileSize` or `limits.indexBytes`, and stands at no particular place afterwards. It has
/// to report faults by its state, not by exceptions. Memory beyond the result is a buffer of 64 KiB and what the names
/// of one directory take. Throws std::runtime_error for everything that is not a valid archive, the fault that stands
/// first in the index being told first.
ArchiveIndex readArchiveIndex(std::istream& stream, std::uint64_t fileSize, const ArchiveLimits& limits = {});

/// Reads the first 128 bytes of `entry`, or all of a shorter one. Throws std::runtime_error where `stream` does not
/// hold them.
EntryPrefix readEntryPrefix(std::istream& stream, const ArchiveEntry& entry);

/// Reads all of `entry`. Throws std::runtime_error, before any memory is taken, where it is larger than `maximumBytes`
/// or reaches past the end of `stream`, and where the bytes cannot be read.
std::vector<char> readEntry(std::istream& stream, const ArchiveEntry& entry, std::uint64_t maximumBytes);

} // namespace vok::launcher_formats
