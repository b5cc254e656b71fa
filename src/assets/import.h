/// Makes an installation's store from a kept folder of the game.
#pragma once

#include "assets/file_services.h"
#include "assets/report.h"

#include <QDeadlineTimer>
#include <QString>

namespace vok::launcher_assets
{

/// Opens the directory that really holds the game's data: "base" or "app/base" below `path` where there is one, in that
/// order, else `path` itself, which alone may be a link. Throws std::runtime_error.
Directory resolveSourceRoot(const QString& path, QDeadlineTimer deadline);

/// Copies the tree of `source` into `installation` with a manifest of it. Either both appear or neither does; a store
/// is never overwritten. A std::exception becomes the only element of the report's `errors`.
Report importTree(const QString& source, const QString& installation, QDeadlineTimer deadline);

} // namespace vok::launcher_assets
