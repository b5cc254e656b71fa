#include "support/largest_archive.h"

#include "support/archive_builder.h"
#include "support/little_endian.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string>

namespace vok::test_support
{
namespace
{

constexpr std::uint64_t kMostFilesInDirectory = 65535;
constexpr std::uint16_t kSubdirectories = 7;
// With one byte more in each name the expanded paths would pass 64 MiB.
constexpr std::size_t kLongestNameBytes = 124;

std::string nameOf(std::uint64_t record, NameShape shape)
{
    constexpr std::uint64_t kOddMultiplier = 2654435761;
    const std::uint64_t number = shape == NameShape::Shuffled ? record * kOddMultiplier % (1ULL << 32) : record;
    const std::string digits = std::to_string(number);
    const std::size_t width = shape == NameShape::Longest ? kLongestNameBytes : std::size_t{16};
    return std::string(width - digits.size() - 4, '0') + digits + ".dds";
}

void appendDirectory(std::string& bytes, std::string_view name, std::uint16_t subdirectories, std::uint64_t files)
{
    bytes += archiveNameField(name, 64);
    appendLittleEndian(bytes, subdirectories);
    appendLittleEndian(bytes, static_cast<std::uint16_t>(files));
}

} // namespace

void writeLargestArchive(const std::filesystem::path& path, NameShape shape)
{
    std::ofstream archive(path, std::ios::binary | std::ios::trunc);
    std::string bytes = "QOMB";
    appendLittleEndian(bytes, std::uint16_t{1});
    std::uint64_t record = 0;
    for (std::uint16_t directory = 0; directory <= kSubdirectories; ++directory) {
        const std::uint64_t files = std::min(kMostFilesInDirectory, kLargestArchiveRecords - record);
        const bool root = directory == 0;
        appendDirectory(
            bytes, root ? "textures" : std::string(1, 'd') + std::to_string(directory), root ? kSubdirectories : 0,
            files);
        for (const std::uint64_t end = record + files; record < end; ++record) {
            bytes += archiveNameField(nameOf(record, shape), 128);
            appendLittleEndian(bytes, static_cast<std::uint32_t>(kLargestArchiveBytes));
            appendLittleEndian(bytes, std::uint32_t{0});
        }
        archive.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        bytes.clear();
    }
    archive.close();
    if (!archive)
        throw std::runtime_error("cannot write " + path.string());
}

} // namespace vok::test_support
