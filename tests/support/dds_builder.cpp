#include "support/dds_builder.h"

#include "support/little_endian.h"
#include "support/random.h"

#include <algorithm>
#include <bit>

namespace vok::test_support
{
namespace
{

constexpr std::uint32_t kHeaderBytes = 128;
constexpr std::uint32_t kRequiredFlags = 0x1007;
constexpr std::uint32_t kMipMapCountFlag = 0x20000;
constexpr std::uint32_t kTextureCapability = 0x1000;
constexpr std::uint32_t kMipCapabilities = 0x400008;

struct PixelFormat
{
    std::uint32_t flags = 0;
    std::uint32_t fourCc = 0;
    std::uint32_t bitCount = 0;
    std::uint32_t red = 0;
    std::uint32_t green = 0;
    std::uint32_t blue = 0;
    std::uint32_t alpha = 0;
    std::uint32_t blockBytes = 0;
};

constexpr PixelFormat blocks(char version, std::uint32_t blockBytes)
{
    return {
        .flags = 4,
        .fourCc = 0x00545844U | static_cast<std::uint32_t>(static_cast<unsigned char>(version)) << 24,
        .blockBytes = blockBytes};
}

constexpr PixelFormat pixelFormat(DdsFormat format)
{
    switch (format) {
    case DdsFormat::Dxt1:
        return blocks('1', 8);
    case DdsFormat::Dxt3:
        return blocks('3', 16);
    case DdsFormat::Dxt5:
        return blocks('5', 16);
    case DdsFormat::Rgb16:
        return {.flags = 0x40, .bitCount = 16, .red = 0xf800, .green = 0x07e0, .blue = 0x001f};
    case DdsFormat::Rgb24:
        return {.flags = 0x40, .bitCount = 24, .red = 0xff0000, .green = 0xff00, .blue = 0xff};
    case DdsFormat::Rgba32:
        return {.flags = 0x41, .bitCount = 32, .red = 0xff0000, .green = 0xff00, .blue = 0xff, .alpha = 0xff000000};
    case DdsFormat::Luminance8:
        return {.flags = 0x20000, .bitCount = 8, .red = 0xff};
    }
    return {};
}

std::uint64_t levelBytes(const PixelFormat& format, std::uint32_t width, std::uint32_t height)
{
    if (format.blockBytes != 0)
        return (std::uint64_t{width} + 3) / 4 * ((std::uint64_t{height} + 3) / 4) * format.blockBytes;
    return (std::uint64_t{width} * format.bitCount + 7) / 8 * height;
}

} // namespace

DdsBuilder::DdsBuilder(DdsFormat format, std::uint32_t width, std::uint32_t height)
    : m_format(format)
    , m_width(width)
    , m_height(height)
{
}

DdsBuilder& DdsBuilder::mips(std::uint32_t count)
{
    m_mips = count;
    return *this;
}

DdsBuilder& DdsBuilder::allMips()
{
    return mips(static_cast<std::uint32_t>(std::bit_width(std::max(m_width, m_height))));
}

DdsBuilder& DdsBuilder::seed(std::uint64_t seed)
{
    m_seed = seed;
    return *this;
}

DdsBuilder& DdsBuilder::withField(std::uint32_t offset, std::uint32_t value)
{
    m_fields[offset] = value;
    return *this;
}

std::uint64_t DdsBuilder::size() const
{
    std::uint64_t bytes = kHeaderBytes;
    std::uint32_t width = m_width;
    std::uint32_t height = m_height;
    for (std::uint32_t level = 0; level < m_mips; ++level) {
        bytes += levelBytes(pixelFormat(m_format), width, height);
        width = std::max(width / 2, 1U);
        height = std::max(height / 2, 1U);
    }
    return bytes;
}

std::string DdsBuilder::build() const
{
    std::string image = header();
    Random(m_seed).appendBytes(image, size() - image.size());
    return image;
}

std::string DdsBuilder::header() const
{
    const PixelFormat format = pixelFormat(m_format);
    const bool chain = m_mips > 1;
    std::map<std::uint32_t, std::uint32_t> fields{
        {4, 124},
        {8, kRequiredFlags | (chain ? kMipMapCountFlag : 0)},
        {12, m_height},
        {16, m_width},
        {28, chain ? m_mips : 0},
        {76, 32},
        {80, format.flags},
        {84, format.fourCc},
        {88, format.bitCount},
        {92, format.red},
        {96, format.green},
        {100, format.blue},
        {104, format.alpha},
        {108, kTextureCapability | (chain ? kMipCapabilities : 0)},
    };
    for (const auto& [offset, value] : m_fields)
        fields[offset] = value;
    std::string bytes = "DDS ";
    bytes.resize(kHeaderBytes, '\0');
    for (const auto& [offset, value] : fields)
        overwriteLittleEndian(bytes, offset, value);
    return bytes;
}

} // namespace vok::test_support
