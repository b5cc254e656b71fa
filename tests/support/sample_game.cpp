#include "support/sample_game.h"

#include "support/dds_builder.h"
#include "support/random.h"
#include "support/sample_archive.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vok::test_support
{
namespace
{

namespace fs = std::filesystem;

constexpr std::uint64_t kLargestArchiveShare = std::uint64_t{1} << 30;
constexpr std::uint64_t kMostFilesInZone = 100;
constexpr std::uint64_t kBlockBytes = 1048576;
constexpr std::string_view kFontNote =
    "Oyunun yazı tipleri bu klasöre konur: ğ, ı, İ, ş harfleri olan yazı tipleri seçin.\n";
constexpr std::array<std::string_view, 6> kZones{"İğneli Dağ", "Işıklı Ova",    "Şahin Geçidi",
                                                 "Çamlı Göl",  "Ürkünç Mağara", "Kışla Önü"};
constexpr std::array<std::string_view, 5> kFiles{"ağaç", "ışık", "İz", "şarkı", "yapı"};

struct ArchivePlan
{
    std::string_view root;
    std::string fileName;
    std::uint64_t bytes;
};

fs::path fromUtf8(std::string_view name)
{
    return std::u8string(name.begin(), name.end());
}

std::string numbered(std::string_view name, char separator, std::uint64_t number)
{
    const std::string digits = std::to_string(number);
    std::string result(name);
    result += separator;
    result.append(digits.size() < 4 ? 4 - digits.size() : 0, '0');
    return result += digits;
}

/// Few large archives with a quarter of the bytes, as in a game where the rest is music, maps and film.
std::vector<ArchivePlan> plannedArchives(std::uint64_t bytes)
{
    constexpr std::array<std::pair<std::string_view, std::uint64_t>, 4> kTenths{
        {{"textures", 5}, {"lightmaps", 2}, {"objects", 2}, {"sounds", 1}}};
    std::vector<ArchivePlan> archives;
    for (const auto& [root, tenths] : kTenths) {
        const std::uint64_t share = bytes / 4 / 10 * tenths;
        const std::uint64_t parts = (share + kLargestArchiveShare - 1) / kLargestArchiveShare;
        for (std::uint64_t part = 1; part <= parts; ++part) {
            const std::string name = parts == 1 ? std::string(root) : numbered(root, '_', part);
            archives.push_back({root, name + ".qomb", share / parts});
        }
    }
    return archives;
}

/// `count` sizes of up to 64 times each other that are `bytes` together.
std::vector<std::uint64_t> plannedSizes(std::uint64_t bytes, std::uint64_t count, Random& random)
{
    std::vector<std::uint64_t> sizes(count);
    std::uint64_t sum = 0;
    for (std::uint64_t& weight : sizes) {
        const std::uint64_t root = 1 + random.below(8);
        weight = root * root;
        sum += weight;
    }
    std::uint64_t weights = 0;
    std::uint64_t given = 0;
    for (std::uint64_t& size : sizes) {
        weights += size;
        size = bytes * weights / sum - given;
        given += size;
    }
    return sizes;
}

class Writer
{
public:
    Writer(const fs::path& directory, const SampleGameOptions& options)
        : m_base(directory / "app" / "base")
        , m_options(options)
        , m_random(options.seed)
    {
        fs::create_directories(m_base);
    }

    SampleGameTotals write()
    {
        writeArchives();
        addDirectory(fromUtf8("boş klasör"));
        addDirectory("fonts");
        addFile(fs::path("fonts") / fromUtf8("okubeni ş.txt"), [](std::ostream& stream) { stream << kFontNote; });
        const std::string cover = DdsBuilder(DdsFormat::Dxt5, 128, 128).allMips().seed(m_random.next()).build();
        addFile(fromUtf8("yükleme ekranı.dds"), [&](std::ostream& stream) { stream << cover; });
        addDirectory("haritalar");
        writeZones();
        return m_totals;
    }

private:
    void addDirectory(const fs::path& relative)
    {
        fs::create_directory(m_base / relative);
        ++m_totals.directories;
    }

    void addFile(const fs::path& relative, const std::function<void(std::ostream&)>& write)
    {
        std::ofstream stream(m_base / relative, std::ios::binary);
        write(stream);
        m_totals.bytes += static_cast<std::uint64_t>(std::max(std::streamoff(stream.tellp()), std::streamoff{0}));
        stream.close();
        if (!stream)
            throw std::runtime_error("cannot write " + (m_base / relative).string());
        ++m_totals.files;
    }

    void writeArchives()
    {
        for (const ArchivePlan& archive : plannedArchives(m_options.bytes)) {
            addFile(archive.fileName, [&](std::ostream& stream) {
                writeSampleArchive(stream, archive.root, archive.bytes, m_random);
            });
        }
    }

    /// What the archives and the few files at the top leave of bytes and entries.
    void writeZones()
    {
        const std::uint64_t entries = m_options.entries != 0 ? m_options.entries : 80 + m_options.bytes / 3145728;
        const std::uint64_t left = std::min(entries, kMostSampleEntries) - m_totals.files - m_totals.directories;
        const std::uint64_t zones = (left + kMostFilesInZone) / (kMostFilesInZone + 1);
        const std::uint64_t files = left - zones;
        const auto sizes = plannedSizes(m_options.bytes - m_totals.bytes, files, m_random);
        std::uint64_t file = 0;
        for (std::uint64_t zone = 0; zone < zones; ++zone) {
            const fs::path folder =
                fs::path("haritalar") / fromUtf8(numbered(kZones[zone % kZones.size()], ' ', zone + 1));
            addDirectory(folder);
            for (const std::uint64_t end = files * (zone + 1) / zones; file < end; ++file)
                writeLooseFile(folder, file, sizes[file]);
        }
    }

    void writeLooseFile(const fs::path& folder, std::uint64_t number, std::uint64_t bytes)
    {
        const std::string name = numbered(kFiles[number % kFiles.size()], '_', number + 1) + ".pak";
        addFile(folder / fromUtf8(name), [&](std::ostream& stream) {
            Random random(m_random.next());
            std::string block;
            for (std::uint64_t left = bytes; left > 0; left -= block.size()) {
                block.clear();
                random.appendBytes(block, std::min(left, kBlockBytes));
                stream.write(block.data(), static_cast<std::streamsize>(block.size()));
            }
        });
    }

    const fs::path m_base;
    const SampleGameOptions m_options;
    Random m_random;
    SampleGameTotals m_totals;
};

} // namespace

SampleGameTotals writeSampleGame(const fs::path& directory, const SampleGameOptions& options)
{
    if (options.bytes < kSmallestSampleBytes || options.bytes > kLargestSampleBytes)
        throw std::invalid_argument("the size of a sample game lies between 1 MiB and 128 GiB");
    if (options.entries != 0 && (options.entries < kFewestSampleEntries || options.entries > kMostSampleEntries))
        throw std::invalid_argument("the entries of a sample game lie between 50 and 200000");
    fs::create_directories(directory);
    if (!fs::is_empty(directory))
        throw std::runtime_error(directory.string() + " is not empty");
    return Writer(directory, options).write();
}

} // namespace vok::test_support
