#include "support/sample_archive.h"

#include "support/archive_builder.h"
#include "support/dds_builder.h"

#include <algorithm>
#include <array>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace vok::test_support
{
namespace
{

// The original tool wrote names in the Turkish code page; these are "şehir", "doğa", "İnsan" and "kışla" there.
constexpr std::array<std::string_view, 4> kDirectories{
    "\xfe"
    "ehir",
    "do\xf0"
    "a",
    "\xdd"
    "nsan",
    "k\xfd\xfela"};
constexpr std::string_view kNestedDirectory = "ayr\xfdnt\xfd";
constexpr std::uint32_t kSmallestSide = 64;
constexpr std::uint64_t kMostDataBytes = 1048576;

struct Content
{
    std::uint64_t bytes = 0;
    std::uint64_t seed = 0;
    std::optional<DdsBuilder> image;
};

/// Plans an archive file by file until all of its bytes are spoken for. The contents are made only while they are
/// written.
class Plan
{
public:
    Plan(std::string_view root, std::uint64_t bytes, Random& random)
        : m_root(root)
        , m_random(random)
        , m_builder(root)
        , m_left(bytes - m_builder.indexBytes() - kDirectories.size() * 2 * kArchiveDirectoryBytes)
    {
        for (std::size_t directory = 0; directory < kDirectories.size(); ++directory) {
            const std::uint64_t share = m_left / (kDirectories.size() - directory);
            m_builder.enter(kDirectories[directory]);
            addFiles(share / 2);
            m_builder.enter(kNestedDirectory);
            addFiles(share - share / 2);
            if (directory + 1 == kDirectories.size())
                addRest();
            m_builder.leave().leave();
        }
    }

    void write(std::ostream& stream) const
    {
        const std::string index = m_builder.index();
        stream.write(index.data(), static_cast<std::streamsize>(index.size()));
        for (const Content& content : m_contents) {
            std::string bytes;
            if (content.image)
                bytes = content.image->build();
            else
                Random(content.seed).appendBytes(bytes, content.bytes);
            stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        }
    }

private:
    void addFiles(std::uint64_t share)
    {
        while (const std::optional<Content> content = contentWithin(share)) {
            add(*content);
            share -= content->bytes + kArchiveFileBytes;
        }
    }

    void addRest() { add({m_left - kArchiveFileBytes, m_random.next(), std::nullopt}); }

    void add(const Content& content)
    {
        const std::string number = std::to_string(10000 + m_contents.size());
        const std::string name = (content.image ? "resim_" : "veri_") + number + (content.image ? ".dds" : ".bin");
        m_builder.fileOfSize(name, static_cast<std::uint32_t>(content.bytes));
        m_contents.push_back(content);
        m_left -= content.bytes + kArchiveFileBytes;
    }

    /// Something that takes no more than `share` with its record, and leaves enough for the record of the last file.
    std::optional<Content> contentWithin(std::uint64_t share)
    {
        const std::uint64_t most = std::min(share, m_left - kArchiveFileBytes);
        if (most <= kArchiveFileBytes + 512)
            return std::nullopt;
        const bool image =
            m_root == "textures" || m_root == "lightmaps" || (m_root == "objects" && m_random.below(2) == 0);
        return image ? imageWithin(most - kArchiveFileBytes) : dataWithin(most - kArchiveFileBytes);
    }

    std::optional<Content> imageWithin(std::uint64_t most)
    {
        constexpr std::array kTextureFormats{DdsFormat::Dxt1, DdsFormat::Dxt3, DdsFormat::Dxt5, DdsFormat::Rgba32};
        constexpr std::array kLightmapFormats{DdsFormat::Dxt1, DdsFormat::Rgb16};
        const std::uint64_t choice = m_random.next();
        const DdsFormat format = m_root == "lightmaps" ? kLightmapFormats[choice % kLightmapFormats.size()]
                                                       : kTextureFormats[choice % kTextureFormats.size()];
        const std::uint64_t seed = m_random.next();
        for (auto side = static_cast<std::uint32_t>(kSmallestSide << m_random.below(6)); side >= 4; side /= 2) {
            const DdsBuilder image = DdsBuilder(format, side, side).allMips().seed(seed);
            if (image.size() <= most)
                return Content{image.size(), seed, image};
        }
        return std::nullopt;
    }

    Content dataWithin(std::uint64_t most)
    {
        return {1 + m_random.below(std::min(most, kMostDataBytes)), m_random.next(), std::nullopt};
    }

    const std::string_view m_root;
    Random& m_random;
    ArchiveBuilder m_builder;
    std::vector<Content> m_contents;
    std::uint64_t m_left;
};

} // namespace

void writeSampleArchive(std::ostream& stream, std::string_view root, std::uint64_t bytes, Random& random)
{
    Plan(root, bytes, random).write(stream);
}

} // namespace vok::test_support
