/// Relative paths that mean the same file on every file system the store may come to live on.
#pragma once

#include <QString>

namespace vok::launcher_assets
{

constexpr qsizetype kLongestPathUnits = 4096;
constexpr qsizetype kMostPathComponents = 48;

/// True where `path` may name a file of the store: 1 to 4096 UTF-16 code units, relative, at most 48 components
/// separated by `/`, none of them empty, "." or "..", and no `\`, `:`, NUL or other ASCII control character in it.
bool isPortablePath(const QString& path);

/// The form in which two spellings are one path on a file system that folds case or normalises Unicode: canonical
/// composition, then simple case folding. Uniqueness is decided on it; what is stored keeps its own spelling. The key
/// of a parent directory is the key of the path up to the separator, since nothing composes or folds across one.
QString portableKey(const QString& path);

} // namespace vok::launcher_assets
