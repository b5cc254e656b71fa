/// The private place inside an installation where files wait, copied and flushed, to be renamed into the store.
#pragma once

#include "assets/file_services.h"
#include "assets/manifest.h"

#include <QDeadlineTimer>
#include <QString>

namespace vok::launcher_assets
{

/// A staging directory that is removed with all it still holds when its owner ends, however that comes about.
class Stage
{
public:
    /// Makes ".asset-stage-<id>" in `root`, which outlives the stage. Throws std::runtime_error.
    explicit Stage(const Directory& root);
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    const Directory& directory() const { return m_directory; }

private:
    const Directory& m_root;
    QString m_name;
    Directory m_directory;
};

/// Copies each file of `files` from below `sourceRoot` to below `target`, making directories as needed. Every copy and
/// every name is flushed when this returns, and each copy was hashed while it was made. Throws std::runtime_error, also
/// where a file differs from its entry.
void copyEntries(const Directory& sourceRoot, const Directory& target, const Manifest& files, QDeadlineTimer deadline);

/// The message where a source does not hold `path` as the manifest has it.
QString sourceDiffers(const QString& path);

} // namespace vok::launcher_assets
