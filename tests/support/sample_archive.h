/// The archives of the sample game.
#pragma once

#include "support/random.h"

#include <cstdint>
#include <iosfwd>
#include <string_view>

namespace vok::test_support
{

/// An archive this small still has its nested directories and a file in them.
constexpr std::uint64_t kSmallestSampleArchiveBytes = 8192;

/// Writes a valid archive of exactly `bytes` bytes, at least 8192 and less than 4 GiB, whose root is called `root`:
/// images for "textures" and "lightmaps", images and other data for "objects", and data alone for every other name.
void writeSampleArchive(std::ostream& stream, std::string_view root, std::uint64_t bytes, Random& random);

} // namespace vok::test_support
