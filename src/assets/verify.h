/// Measures a store against its manifest, and restores it from a source that proves to be the same data.
#pragma once

#include "assets/manifest.h"
#include "assets/report.h"
#include "assets/tree_scan.h"

#include <QString>

namespace vok::launcher_assets
{

/// What `inventory` lacks, has otherwise or has more than `manifest` says, compared by spelling.
Report compareInventory(const TreeInventory& inventory, const Manifest& manifest);

/// Reads the whole store and compares it, changing nothing. Throws std::runtime_error where the store is no store or
/// its tree is unsafe.
Report verifyTree(const QString& installation);

/// Restores damaged and missing files from `source`, which must hold every file of the manifest with its size and hash,
/// and reports what is true afterwards. Each file is replaced atomically; files that the manifest does not list stay. A
/// std::exception becomes the only element of the report's `errors`.
Report repairTree(const QString& source, const QString& installation);

} // namespace vok::launcher_assets
