#include "assets/file_services.h"

#include <QFile>
#include <QStringDecoder>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

namespace vok::launcher_assets
{
namespace
{

// A system that answers nothing but "interrupted" must end in a failure and not in a loop.
constexpr int kMostInterruptions = 100;

template <typename Call> auto uninterrupted(Call call)
{
    auto result = call();
    for (int again = 0; result == -1 && errno == EINTR && again < kMostInterruptions; ++again)
        result = call();
    return result;
}

int descriptor(const FileHandle& file)
{
    return static_cast<int>(file.value());
}

EntryKind kindOf(const struct stat& status)
{
    if (S_ISREG(status.st_mode))
        return EntryKind::File;
    return S_ISDIR(status.st_mode) ? EntryKind::Directory : EntryKind::Special;
}

EntryKind kindAt(int directory, const QByteArray& name, int flags)
{
    struct stat status = {};
    if (uninterrupted([&] { return ::fstatat(directory, name.constData(), &status, flags); }) == 0)
        return kindOf(status);
    return errno == ENOENT || errno == ENOTDIR ? EntryKind::Absent : EntryKind::Unreadable;
}

FileHandle openAt(int directory, const QByteArray& name, int flags)
{
    constexpr mode_t kLeftToUmask = 0666;
    return FileHandle(uninterrupted([&] {
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the system's own interface
        return ::openat(directory, name.constData(), flags | O_CLOEXEC, kLeftToUmask);
    }));
}

DirectoryName decoded(const char* name)
{
    // A byte order mark at the front of a name is a part of it.
    QStringDecoder decoder(
        QStringDecoder::Utf8, QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(QByteArrayView(name));
    return {std::move(text), !decoder.hasError()};
}

struct DirectoryStreamCloser
{
    void operator()(DIR* stream) const { ::closedir(stream); }
};
using DirectoryStream = std::unique_ptr<DIR, DirectoryStreamCloser>;

/// A stream over a duplicate, since closing a stream closes its descriptor.
DirectoryStream streamOf(int directory)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the system's own interface
    FileHandle duplicate(::fcntl(directory, F_DUPFD_CLOEXEC, 0));
    if (!duplicate.isValid())
        return nullptr;
    DirectoryStream stream(::fdopendir(descriptor(duplicate)));
    if (stream) {
        duplicate.release();
        ::rewinddir(stream.get());
    }
    return stream;
}

/// Calls `visit` with each name's bytes; false where listing failed.
template <typename Visit> bool visitNames(int directory, Visit visit)
{
    const DirectoryStream stream = streamOf(directory);
    if (!stream)
        return false;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(stream.get());
        if (entry == nullptr)
            return errno == 0;
        const char* name = std::data(entry->d_name);
        if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0)
            visit(name);
    }
}

void removeBytes(int parent, const QByteArray& name)
{
    if (kindAt(parent, name, AT_SYMLINK_NOFOLLOW) != EntryKind::Directory) {
        ::unlinkat(parent, name.constData(), 0);
        return;
    }
    const FileHandle directory = openAt(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    if (directory.isValid()) {
        QByteArrayList names;
        visitNames(descriptor(directory), [&](const char* below) { names.append(QByteArray(below)); });
        for (const QByteArray& below : std::as_const(names))
            removeBytes(descriptor(directory), below);
    }
    ::unlinkat(parent, name.constData(), AT_REMOVEDIR);
}

/// For file systems that know no rename without replacing: a step that fails where the target exists, and only then the
/// one that would replace. Where a kill falls between the two steps, what stands is a second name or an empty
/// directory.
bool renameInTwoSteps(int from, const QByteArray& name, int to, const QByteArray& newName)
{
    if (kindAt(from, name, AT_SYMLINK_NOFOLLOW) == EntryKind::Directory) {
        constexpr mode_t kLeftToUmask = 0777;
        if (::mkdirat(to, newName.constData(), kLeftToUmask) != 0)
            return false;
        if (::renameat(from, name.constData(), to, newName.constData()) == 0)
            return true;
        ::unlinkat(to, newName.constData(), AT_REMOVEDIR);
        return false;
    }
    if (::linkat(from, name.constData(), to, newName.constData(), 0) != 0) {
        // Some know no second names either: there the installation's lock alone keeps others from the gap.
        const bool knowsNoLinks = errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS;
        return knowsNoLinks && kindAt(to, newName, AT_SYMLINK_NOFOLLOW) == EntryKind::Absent
               && ::renameat(from, name.constData(), to, newName.constData()) == 0;
    }
    if (::unlinkat(from, name.constData(), 0) == 0)
        return true;
    ::unlinkat(to, newName.constData(), 0);
    return false;
}

} // namespace

void FileHandle::close()
{
    if (isValid())
        ::close(static_cast<int>(release()));
}

EntryKind kindOfPath(const QString& path, Links links)
{
    return kindAt(AT_FDCWD, QFile::encodeName(path), links == Links::Follow ? 0 : AT_SYMLINK_NOFOLLOW);
}

EntryKind kindIn(const Directory& parent, const QString& name)
{
    return kindAt(descriptor(parent.handle), QFile::encodeName(name), AT_SYMLINK_NOFOLLOW);
}

Directory openDirectory(const QString& path, Links links)
{
    const int noFollow = links == Links::Refuse ? O_NOFOLLOW : 0;
    return {openAt(AT_FDCWD, QFile::encodeName(path), O_RDONLY | O_DIRECTORY | noFollow), path};
}

Directory openDirectoryIn(const Directory& parent, const QString& name)
{
    return {
        openAt(descriptor(parent.handle), QFile::encodeName(name), O_RDONLY | O_DIRECTORY | O_NOFOLLOW),
        parent.pathOf(name)};
}

bool createDirectoryIn(const Directory& parent, const QString& name)
{
    constexpr mode_t kLeftToUmask = 0777;
    return ::mkdirat(descriptor(parent.handle), QFile::encodeName(name).constData(), kLeftToUmask) == 0;
}

bool listNames(const Directory& directory, const std::function<void(DirectoryName)>& visit)
{
    return visitNames(descriptor(directory.handle), [&](const char* name) { visit(decoded(name)); });
}

FileHandle openFileIn(
    const Directory& parent, const QString& name, Access access, Disposition disposition,
    [[maybe_unused]] Sharing sharing)
{
    int flags = access == Access::Read ? O_RDONLY : access == Access::Write ? O_WRONLY : O_RDWR;
    if (disposition == Disposition::CreateNew)
        flags |= O_CREAT | O_EXCL;
    else if (disposition == Disposition::OpenAlways)
        flags |= O_CREAT;
    // O_NONBLOCK has no effect on a regular file; on a pipe that took its name it keeps open() from waiting for a peer.
    return openAt(descriptor(parent.handle), QFile::encodeName(name), flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
}

std::optional<FileInformation> informationOf(const FileHandle& file)
{
    struct stat status = {};
    if (uninterrupted([&] { return ::fstat(descriptor(file), &status); }) != 0)
        return std::nullopt;
    return FileInformation{kindOf(status), status.st_size, {status.st_mtim.tv_sec, status.st_mtim.tv_nsec}};
}

qint64 readBlock(const FileHandle& file, char* data, qint64 size)
{
    return uninterrupted([&] { return ::read(descriptor(file), data, static_cast<size_t>(size)); });
}

qint64 readBlockAt(const FileHandle& file, qint64 offset, char* data, qint64 size)
{
    return uninterrupted([&] { return ::pread(descriptor(file), data, static_cast<size_t>(size), offset); });
}

qint64 writeBlock(const FileHandle& file, const char* data, qint64 size)
{
    return uninterrupted([&] { return ::write(descriptor(file), data, static_cast<size_t>(size)); });
}

bool seekToStart(const FileHandle& file)
{
    return ::lseek(descriptor(file), 0, SEEK_SET) == 0;
}

void beginFlush(const FileHandle& file, qint64 offset, qint64 size)
{
    ::sync_file_range(descriptor(file), offset, size, SYNC_FILE_RANGE_WRITE);
}

bool flushFile(const FileHandle& file)
{
    return uninterrupted([&] { return ::fsync(descriptor(file)); }) == 0;
}

bool flushDirectory(const Directory& directory)
{
    // EINVAL: a file system that keeps no such promise for directories. Its renames are as durable as it can make them.
    return uninterrupted([&] { return ::fsync(descriptor(directory.handle)); }) == 0 || errno == EINVAL;
}

bool tryLock(const FileHandle& file, bool exclusive)
{
    return uninterrupted([&] { return ::flock(descriptor(file), (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB); }) == 0;
}

bool renameEntry(const Directory& from, const QString& name, const Directory& to, const QString& newName, bool replace)
{
    const QByteArray oldBytes = QFile::encodeName(name);
    const QByteArray newBytes = QFile::encodeName(newName);
    const int oldPlace = descriptor(from.handle);
    const int newPlace = descriptor(to.handle);
    if (replace)
        return ::renameat(oldPlace, oldBytes.constData(), newPlace, newBytes.constData()) == 0;
    if (::renameat2(oldPlace, oldBytes.constData(), newPlace, newBytes.constData(), RENAME_NOREPLACE) == 0)
        return true;
    return (errno == EINVAL || errno == ENOSYS) && renameInTwoSteps(oldPlace, oldBytes, newPlace, newBytes);
}

bool removeFile(const Directory& parent, const QString& name)
{
    return ::unlinkat(descriptor(parent.handle), QFile::encodeName(name).constData(), 0) == 0;
}

void removeTree(const Directory& parent, const QString& name)
{
    removeBytes(descriptor(parent.handle), QFile::encodeName(name));
}

} // namespace vok::launcher_assets
