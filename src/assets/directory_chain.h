/// Walks from one directory of a tree to the next with every directory on the way held open.
#pragma once

#include "assets/file_services.h"

#include <QDeadlineTimer>
#include <QStringList>

#include <vector>

namespace vok::launcher_assets
{

/// The open directories from a root down to one directory below it. No component is ever resolved a second time, and
/// none may be a link. Paths that come in key order enter each directory once.
class DirectoryChain
{
public:
    enum class Missing
    {
        /// A directory that is missing is a fault.
        Refuse,
        /// It is made, and every directory is flushed when the chain leaves it: its new names are durable then.
        Create
    };

    /// `root` outlives the chain. `flushFailure` begins the message where a directory cannot be flushed; the relative
    /// path follows.
    DirectoryChain(const Directory& root, Missing missing, QString flushFailure = {});

    /// The directory that holds the file `path`, relative to the root. Throws std::runtime_error where it cannot be
    /// opened or made, or a directory that is left cannot be flushed.
    const Directory& enterParentOf(const QString& path, QDeadlineTimer deadline);

    /// Leaves all directories, the root too. What Missing::Create made is durable only after it.
    void leave();

private:
    const Directory& current() const { return m_below.empty() ? m_root : m_below.back(); }
    void leaveBelow(qsizetype level);
    void flushCurrent() const;
    void descend(const QString& name, const QString& path);

    const Directory& m_root;
    Missing m_missing;
    QString m_flushFailure;
    std::vector<Directory> m_below;
    /// The components of m_below.
    QStringList m_names;
};

} // namespace vok::launcher_assets
