/// A game folder that anybody may have: it is laid out like the original game's and holds nothing of it.
#pragma once

#include <cstdint>
#include <filesystem>

namespace vok::test_support
{

constexpr std::uint64_t kSmallestSampleBytes = std::uint64_t{1} << 20;
constexpr std::uint64_t kLargestSampleBytes = std::uint64_t{1} << 37;
constexpr std::uint64_t kFewestSampleEntries = 50;
constexpr std::uint64_t kMostSampleEntries = 200000;

struct SampleGameOptions
{
    /// Sum of the sizes of all files, 1 MiB to 128 GiB.
    std::uint64_t bytes = std::uint64_t{16} << 20;
    std::uint64_t seed = 1;
    /// Files and directories below app/base, 50 to 200000. With 0 there are as many as such a game would have: some
    /// hundred for 2 GiB.
    std::uint64_t entries = 0;
};

/// What was written below app/base.
struct SampleGameTotals
{
    std::uint64_t files = 0;
    std::uint64_t directories = 0;
    std::uint64_t bytes = 0;
};

/// Writes a game folder into `directory`, which is created or empty: archives, loose files, nested and empty folders,
/// with names in Turkish. The same options give the same bytes on every machine. Memory use does not grow with the
/// size. Throws std::invalid_argument for options out of range, std::runtime_error where `directory` holds something or
/// cannot be written; what was written by then stays.
SampleGameTotals writeSampleGame(const std::filesystem::path& directory, const SampleGameOptions& options);

} // namespace vok::test_support
