/// The operating system's calls that the store stands on, one half a platform. Nothing here throws: a call that fails
/// says so in its result, and the rooms above give the failure its words.
///
/// Whatever is opened, listed, made or renamed is named by an open directory and one component below it. Between a look
/// at a path and its use any part of it may be swapped; an open directory stays the one that was looked at.
#pragma once

#include <QString>

#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

namespace vok::launcher_assets
{

/// An operating-system file handle with one owner. It closes itself on every path and is never handed to a child
/// process.
class FileHandle
{
public:
    FileHandle() = default;
    explicit FileHandle(std::intptr_t value)
        : m_value(value)
    {
    }
    ~FileHandle() { close(); }
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    FileHandle(FileHandle&& other) noexcept
        : m_value(other.release())
    {
    }
    FileHandle& operator=(FileHandle&& other) noexcept
    {
        if (this != &other) {
            close();
            m_value = other.release();
        }
        return *this;
    }

    bool isValid() const { return m_value != kInvalid; }
    std::intptr_t value() const { return m_value; }
    /// Gives the handle up without closing it.
    std::intptr_t release() { return std::exchange(m_value, kInvalid); }
    void close();

private:
    static constexpr std::intptr_t kInvalid = -1;
    std::intptr_t m_value = kInvalid;
};

/// A directory held open. `path` is how messages name it.
struct Directory
{
    FileHandle handle;
    QString path;

    bool isOpen() const { return handle.isValid(); }
    QString pathOf(const QString& name) const { return path.endsWith(u'/') ? path + name : path + u'/' + name; }
};

enum class Access
{
    Read,
    Write,
    ReadWrite
};

enum class Disposition
{
    OpenExisting,
    CreateNew,
    OpenAlways
};

/// What others may do with the file while it is open, where the system enforces such a thing; POSIX systems do not.
enum class Sharing
{
    None,
    Read,
    ReadWrite
};

enum class Links
{
    Refuse,
    Follow
};

enum class EntryKind
{
    Absent,
    Unreadable,
    File,
    Directory,
    /// A link or another reparse point, a pipe, a socket, a device.
    Special
};

/// Of an open object, not of a name that may have been swapped.
struct FileInformation
{
    /// With all the digits that the system keeps.
    struct Time
    {
        qint64 seconds = 0;
        qint64 nanoseconds = 0;
        bool operator==(const Time&) const = default;
    };

    EntryKind kind = EntryKind::Unreadable;
    qint64 size = 0;
    Time modified;
};

/// One name of a directory. `isExact` is false where the disk's spelling is no valid Unicode text: `text` is then its
/// best decoding, good for a message and for nothing else.
struct DirectoryName
{
    QString text;
    bool isExact = true;
};

/// What `path` names at this moment.
EntryKind kindOfPath(const QString& path, Links links);
/// What `name` in `parent` is, without following a link.
EntryKind kindIn(const Directory& parent, const QString& name);

/// Opens an existing directory; not open where it is none, or a link that is refused.
Directory openDirectory(const QString& path, Links links);
/// The same below an open directory, without following a link.
Directory openDirectoryIn(const Directory& parent, const QString& name);
/// Makes exactly one directory; false also where the name exists.
bool createDirectoryIn(const Directory& parent, const QString& name);

/// Calls `visit` for each name but "." and "..", hidden ones included, in the disk's order. False where listing failed.
bool listNames(const Directory& directory, const std::function<void(DirectoryName)>& visit);

/// Opens below an open directory. The last component is never followed where it is a link, and opening never blocks;
/// the caller looks at what kind of object it got.
FileHandle openFileIn(
    const Directory& parent, const QString& name, Access access, Disposition disposition, Sharing sharing);
std::optional<FileInformation> informationOf(const FileHandle& file);

/// Reads up to `size` bytes: 0 at the end, -1 on failure.
qint64 readBlock(const FileHandle& file, char* data, qint64 size);
/// The same at `offset`, leaving the handle's own position alone.
qint64 readBlockAt(const FileHandle& file, qint64 offset, char* data, qint64 size);
/// Writes up to `size` bytes and says how many, -1 on failure.
qint64 writeBlock(const FileHandle& file, const char* data, qint64 size);
bool seekToStart(const FileHandle& file);

/// Asks the system to begin writing these bytes of a file to the disk, and does not wait. No more than a hint.
void beginFlush(const FileHandle& file, qint64 offset, qint64 size);
/// File data reaches stable storage before this returns.
bool flushFile(const FileHandle& file);
/// The names in `directory` reach stable storage before this returns, where the platform's renames do not see to it.
bool flushDirectory(const Directory& directory);

/// Takes an advisory lock that belongs to the open file and falls with it. Never waits.
bool tryLock(const FileHandle& file, bool exclusive);

/// Renames within one file system. Without `replace` an existing target makes it fail, whoever made it and whenever.
bool renameEntry(const Directory& from, const QString& name, const Directory& to, const QString& newName, bool replace);
bool removeFile(const Directory& parent, const QString& name);
/// Removes `name` with all below it as far as it can, by the disk's own spellings and without following links.
void removeTree(const Directory& parent, const QString& name);

} // namespace vok::launcher_assets
