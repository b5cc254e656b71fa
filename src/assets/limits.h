/// The bounds of a store. Every one is tested before the memory for what it bounds is taken.
#pragma once

#include <QtGlobal>

namespace vok::launcher_assets
{

/// Passed along as data so that a test can come close to a bound without terabytes; the program uses the defaults
/// alone.
struct StoreLimits
{
    qint64 manifestBytes = 67108864;
    qint64 entries = 200000;
    qint64 fileBytes = 17179869184;
    qint64 totalBytes = 137438953472;
    /// Sum of the UTF-8 lengths of all relative paths.
    qint64 pathBytes = 67108864;
};

/// Levels of directories below the root of a tree, as many as a portable path has components.
constexpr int kDeepestLevel = 48;

} // namespace vok::launcher_assets
