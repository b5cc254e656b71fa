/// The one walk over a tree that import, verification and repair share.
#pragma once

#include "assets/file_services.h"
#include "assets/limits.h"
#include "assets/manifest.h"

#include <QDeadlineTimer>
#include <QSet>
#include <QString>

namespace vok::launcher_assets
{

/// What a walk saw. The caller starts with an empty one.
struct TreeInventory
{
    /// Regular files by relative path.
    Manifest files;
    /// Portable keys of all files and directories.
    QSet<QString> portableKeys;
    /// Sum of the files' sizes.
    qint64 totalBytes = 0;
    /// Files and directories.
    qint64 entryCount = 0;
    /// Sum of the UTF-8 lengths of all relative paths.
    qint64 pathBytes = 0;
    /// True where a non-empty, valid archive of textures, lightmaps or objects was seen.
    bool foundOriginalArchive = false;
};

/// Reads and hashes every file below `directory` into `inventory`; `prefix` is the relative path of `directory` (empty
/// at the top) and `depth` its level. With `inspectArchives` the archives among the files are parsed too. Throws
/// std::runtime_error at the first link, special file, unportable or colliding name, exceeded limit, broken archive or
/// unreadable object.
void scanTree(
    const Directory& directory, const QString& prefix, int depth, TreeInventory& inventory, bool inspectArchives,
    QDeadlineTimer deadline, const StoreLimits& limits = {});
/// The same for a directory that is named by its absolute path and must not be a link.
void scanTree(
    const QString& directory, const QString& prefix, int depth, TreeInventory& inventory, bool inspectArchives,
    QDeadlineTimer deadline, const StoreLimits& limits = {});

} // namespace vok::launcher_assets
