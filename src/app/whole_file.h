/// Files that must never be seen half-written.
#pragma once

#include <QByteArray>
#include <QString>

class QSaveFile;

namespace vok
{

/// Ends the writing of `file`, so that it appears whole or not at all. Returns false where it does not.
[[nodiscard]] bool commitFlushed(QSaveFile& file);

/// Puts `bytes` in the place of the file at `path`, or of the one that a link there leads to. Returns false where any
/// step fails; what stood there is then untouched.
[[nodiscard]] bool replaceFile(const QString& path, const QByteArray& bytes);

} // namespace vok
