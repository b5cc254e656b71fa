/// DDS images for tests: real ones, whose pixels a program can show, and such as have one field of the header changed.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace vok::test_support
{

enum class DdsFormat
{
    Dxt1,
    Dxt3,
    Dxt5,
    Rgb16,
    Rgb24,
    Rgba32,
    Luminance8,
};

/// Builds one image. The same settings give the same bytes everywhere.
class DdsBuilder
{
public:
    DdsBuilder(DdsFormat format, std::uint32_t width, std::uint32_t height);

    /// Levels of the mip chain, 1 to all of them; a chain of one has no mip fields in its header.
    DdsBuilder& mips(std::uint32_t count);
    /// Every level there can be, down to one pixel.
    DdsBuilder& allMips();
    /// Chooses the picture.
    DdsBuilder& seed(std::uint64_t seed);
    /// Writes `value` over the 32-bit field at `offset` of the header, whatever belongs there.
    DdsBuilder& withField(std::uint32_t offset, std::uint32_t value);

    /// The length of what build() gives, without the work.
    std::uint64_t size() const;
    std::string build() const;

private:
    std::string header() const;

    DdsFormat m_format;
    std::uint32_t m_width;
    std::uint32_t m_height;
    std::uint32_t m_mips = 1;
    std::uint64_t m_seed = 0;
    std::map<std::uint32_t, std::uint32_t> m_fields;
};

} // namespace vok::test_support
