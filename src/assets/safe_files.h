/// The few file operations through which the store touches the disk. The user picks the directories and other programs
/// may change them meanwhile; so nothing here follows a link, reads past a limit, accepts a file that changed while it
/// was read, or goes on after its deadline. Every failure is a std::runtime_error whose text names the path.
#pragma once

#include "assets/file_services.h"
#include "assets/limits.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QString>

namespace vok::launcher_assets
{

/// Files are read and written in pieces of this size.
constexpr qint64 kBlockBytes = 131072;

/// What one reading of a file came to: the bytes really read and 64 lower-case hexadecimal characters.
struct HashResult
{
    qint64 size = 0;
    QByteArray sha256;
};

/// The absolute, clean form of a directory that the user chose. Throws where it is empty or holds NUL.
QString normalizedRoot(const QString& path);

/// The path of an open directory with its links resolved: what its name really leads to.
QString canonicalPath(const Directory& directory);

/// Throws "Asset import deadline expired" once `deadline` has passed.
void throwIfExpired(QDeadlineTimer deadline);

/// Throws where one of two normalised roots lies in the other, whatever their case. Kept sources of an installation,
/// below its "sources/", are the one exception.
void rejectOverlap(const QString& source, const QString& installation);

/// Opens a directory, which must be readable and no link; with `create` it is made with its parents. Throws where it is
/// none.
Directory requireDirectory(const QString& path, bool create, QDeadlineTimer deadline);
/// The same for `name` below an open directory; with `create` that one directory is made, durably.
Directory requireDirectoryIn(const Directory& parent, const QString& name, bool create, QDeadlineTimer deadline);
/// The same for a root that the user chose, which with `allowLink` may be a link itself.
Directory requireRoot(const QString& path, bool create, bool allowLink, QDeadlineTimer deadline);

/// Opens a regular file, never a link; its parent may be reached through links. Throws for everything else, and pipes
/// and devices are refused without being opened.
FileHandle openSafe(
    const QString& path, Access access, Disposition disposition, QDeadlineTimer deadline, Sharing sharing);
/// The same for `name` below an open directory.
FileHandle openSafeIn(
    const Directory& parent, const QString& name, Access access, Disposition disposition, QDeadlineTimer deadline,
    Sharing sharing);

/// Takes the installation's lock, exclusive or shared, at once or not at all; it lasts as long as the handle.
FileHandle lockRoot(const Directory& root, bool exclusive, QDeadlineTimer deadline);

/// Reads `source` to its end and hashes it; where `destination` is valid, copies and flushes it in the same pass.
/// `name` is the relative path shown in messages. At most `mostBytes` are read, in blocks of 128 KiB, so that memory
/// does not grow with the file. Throws where the file is too large, unreadable, unwritable or changed meanwhile.
HashResult hashFile(
    FileHandle& source, FileHandle& destination, const QString& name, QDeadlineTimer deadline,
    qint64 mostBytes = StoreLimits().fileBytes);

/// Writes all of `bytes`, in blocks. Throws `message` where a write fails or writes nothing.
void writeAll(const FileHandle& file, const QByteArray& bytes, const QString& message, QDeadlineTimer deadline);

/// One name below an open directory.
struct Place
{
    const Directory& directory;
    QString name;
};

/// One durable rename inside one file system. Throws `message` on failure; without `replace`, a failure leaves both
/// names as they were.
void commitRename(const Place& from, const Place& to, bool replace, const QString& message);

} // namespace vok::launcher_assets
