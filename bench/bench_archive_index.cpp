// Reads the longest index there can be, 493443 records in 64 MiB, and tells what that costs beside reading the same
// bytes record by record and throwing them away.

#include "formats/archive_index.h"
#include "measure.h"
#include "support/largest_archive.h"

#include <QTemporaryDir>

#include <array>
#include <exception>
#include <iomanip>
#include <iostream>

using namespace vok::bench;
using namespace vok::launcher_formats;
using namespace vok::test_support;

namespace
{

constexpr int kRuns = 9;

ArchiveIndex readIndex(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    ArchiveIndex index = readArchiveIndex(stream, kLargestArchiveBytes);
    if (index.entries.size() != kLargestArchiveRecords)
        throw std::runtime_error("the index was not read whole");
    return index;
}

std::uint64_t readRecords(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    std::array<char, 136> record{};
    std::uint64_t bytes = 0;
    while (stream.read(record.data(), record.size()))
        bytes += record.size();
    if (bytes + record.size() <= kLargestArchiveBytes)
        throw std::runtime_error("the records were not read whole");
    return bytes;
}

void measure(const std::filesystem::path& path, const char* name, NameShape shape)
{
    writeLargestArchive(path, shape);
    readRecords(path);
    const double peakMiB = static_cast<double>(peakBytes([&] { return readIndex(path); })) / 1048576;
    const double indexMs = medianMs(kRuns, [&] { return readIndex(path); });
    const double recordsMs = medianMs(kRuns, [&] { return readRecords(path); });
    std::cout << std::fixed << std::setprecision(2) << name << ": index " << indexMs << " ms, 136-byte reads "
              << recordsMs << " ms, ratio " << indexMs / recordsMs << ", peak memory " << peakMiB << " MiB, "
              << peakMiB * 1048576 / static_cast<double>(kLargestArchiveBytes) << " times the index" << std::endl;
}

} // namespace

int main()
{
    try {
        const QTemporaryDir folder;
        const std::filesystem::path path = folder.filePath(QStringLiteral("largest")).toStdU16String();
        std::cout << kLargestArchiveRecords << " records, " << kLargestArchiveBytes << " bytes, medians of " << kRuns
                  << " runs\n";
        measure(path, "rising names", NameShape::Rising);
        measure(path, "shuffled names", NameShape::Shuffled);
        measure(path, "longest names", NameShape::Longest);
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << '\n';
        return 1;
    }
    return 0;
}
