/// The archive with the longest list of files that an index may hold.
#pragma once

#include <cstdint>
#include <filesystem>

namespace vok::test_support
{

constexpr std::uint64_t kLargestArchiveRecords = 493443;
constexpr std::uint64_t kLargestArchiveBytes = 67108798;

/// What the names in the index are like; every one is used once.
enum class NameShape
{
    Rising,
    Shuffled,
    Longest,
};

/// Writes a valid archive of 493443 empty files in eight directories to `path`. One more record would leave the 64 MiB
/// that an index may take. Throws std::runtime_error where it cannot be written.
void writeLargestArchive(const std::filesystem::path& path, NameShape shape = NameShape::Rising);

} // namespace vok::test_support
