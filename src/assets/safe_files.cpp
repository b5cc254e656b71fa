#include "assets/safe_files.h"

#include "assets/failure.h"
#include "assets/sha256.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <array>

using namespace Qt::Literals::StringLiterals;

namespace vok::launcher_assets
{
namespace
{

constexpr QStringView kLockName = u".asset-import.lock";

[[noreturn]] void failDirectory(const QString& path)
{
    fail(u"Unsafe or unreadable directory "_s + path);
}

[[noreturn]] void failCreation(const QString& path)
{
    fail(u"Cannot create asset directory: "_s + path);
}

Directory openedOrRefused(Directory directory)
{
    if (!directory.isOpen())
        failDirectory(directory.path);
    return directory;
}

bool liesIn(const QString& inner, const QString& outer)
{
    return inner.startsWith(outer + u'/', Qt::CaseInsensitive);
}

/// Makes `path` with all its parents, and flushes each directory that got a new name; true where it existed.
bool createPath(const QString& path)
{
    if (kindOfPath(path, Links::Follow) == EntryKind::Directory)
        return true;
    const QFileInfo place(path);
    if (place.path() == path || !createPath(place.path()))
        return false;
    const Directory parent = openDirectory(place.path(), Links::Follow);
    return parent.isOpen()
           && (createDirectoryIn(parent, place.fileName()) || kindIn(parent, place.fileName()) == EntryKind::Directory)
           && flushDirectory(parent);
}

void writeBlockWhole(
    const FileHandle& file, const char* data, qint64 size, const QString& message, QDeadlineTimer deadline)
{
    for (qint64 done = 0; done < size;) {
        throwIfExpired(deadline);
        const qint64 written = writeBlock(file, data + done, size - done);
        if (written <= 0)
            fail(message);
        done += written;
    }
}

} // namespace

QString normalizedRoot(const QString& path)
{
    if (path.isEmpty())
        fail(u"A source and installation directory must be selected"_s);
    if (path.contains(QChar(u'\0')))
        fail(u"NUL in filesystem path"_s);
    return QDir::cleanPath(QDir(path).absolutePath());
}

QString canonicalPath(const Directory& directory)
{
    return QFileInfo(directory.path).canonicalFilePath();
}

void throwIfExpired(QDeadlineTimer deadline)
{
    if (deadline.hasExpired())
        fail(u"Asset import deadline expired"_s);
}

void rejectOverlap(const QString& source, const QString& installation)
{
    if (liesIn(source, installation + u"/sources"_s))
        return;
    if (QDir(source).isRoot() || QDir(installation).isRoot() || source.compare(installation, Qt::CaseInsensitive) == 0
        || liesIn(source, installation) || liesIn(installation, source))
        fail(u"Source and installation directories must not overlap"_s);
}

Directory requireDirectory(const QString& path, bool create, QDeadlineTimer deadline)
{
    return requireRoot(path, create, false, deadline);
}

Directory requireDirectoryIn(const Directory& parent, const QString& name, bool create, QDeadlineTimer deadline)
{
    throwIfExpired(deadline);
    if (create && kindIn(parent, name) == EntryKind::Absent
        && !(createDirectoryIn(parent, name) && flushDirectory(parent)))
        failCreation(parent.pathOf(name));
    return openedOrRefused(openDirectoryIn(parent, name));
}

Directory requireRoot(const QString& path, bool create, bool allowLink, QDeadlineTimer deadline)
{
    throwIfExpired(deadline);
    if (create && !createPath(path))
        failCreation(path);
    return openedOrRefused(openDirectory(path, allowLink ? Links::Follow : Links::Refuse));
}

FileHandle openSafe(
    const QString& path, Access access, Disposition disposition, QDeadlineTimer deadline, Sharing sharing)
{
    throwIfExpired(deadline);
    const QFileInfo place(path);
    const Directory parent = openDirectory(place.absolutePath(), Links::Follow);
    if (!parent.isOpen())
        fail(u"Unsafe or unreadable directory for "_s + path);
    return openSafeIn(parent, place.fileName(), access, disposition, deadline, sharing);
}

FileHandle openSafeIn(
    const Directory& parent, const QString& name, Access access, Disposition disposition, QDeadlineTimer deadline,
    Sharing sharing)
{
    throwIfExpired(deadline);
    const EntryKind kind = kindIn(parent, name);
    if (kind == EntryKind::File || kind == EntryKind::Absent) {
        FileHandle file = openFileIn(parent, name, access, disposition, sharing);
        if (file.isValid()) {
            // The name may have been swapped since; what was opened is what counts.
            const auto information = informationOf(file);
            if (information && information->kind == EntryKind::File)
                return file;
        }
    }
    fail(u"Unsafe or unreadable file "_s + parent.pathOf(name));
}

FileHandle lockRoot(const Directory& root, bool exclusive, QDeadlineTimer deadline)
{
    FileHandle lock = openSafeIn(
        root, kLockName.toString(), Access::ReadWrite, Disposition::OpenAlways, deadline, Sharing::ReadWrite);
    if (!tryLock(lock, exclusive))
        fail(u"Another asset operation is running"_s);
    return lock;
}

HashResult hashFile(
    FileHandle& source, FileHandle& destination, const QString& name, QDeadlineTimer deadline, qint64 mostBytes)
{
    throwIfExpired(deadline);
    const auto before = informationOf(source);
    if (!before)
        fail(u"Unsafe file "_s + name);
    if (before->size > mostBytes)
        fail(u"Asset file exceeds 16 GiB limit: "_s + name);

    // One of each a thread: for a small file, making them anew costs as much as all the rest.
    thread_local Sha256 digest;
    thread_local std::array<char, kBlockBytes> block = {};
    digest.reset();
    qint64 total = 0;
    for (;;) {
        throwIfExpired(deadline);
        const qint64 got = readBlock(source, block.data(), kBlockBytes);
        if (got < 0)
            fail(u"Cannot read asset "_s + name);
        throwIfExpired(deadline);
        if (got == 0)
            break;
        if (got > mostBytes - total)
            fail(u"Growing asset exceeds file limit: "_s + name);
        digest.update(block.data(), got);
        total += got;
        if (destination.isValid()) {
            writeBlockWhole(destination, block.data(), got, u"Cannot write asset "_s + name, deadline);
            // The disk works while the next blocks are hashed, so that the flush finds little left to wait for.
            if (got == kBlockBytes)
                beginFlush(destination, total - got, got);
        }
    }

    throwIfExpired(deadline);
    const auto after = informationOf(source);
    if (!after || total != before->size || after->size != before->size || after->modified != before->modified)
        fail(u"Asset changed while reading: "_s + name);
    if (destination.isValid() && !flushFile(destination))
        fail(u"Cannot sync copied asset "_s + name);
    throwIfExpired(deadline);
    return {total, digest.hexDigest()};
}

void writeAll(const FileHandle& file, const QByteArray& bytes, const QString& message, QDeadlineTimer deadline)
{
    for (qint64 done = 0; done < bytes.size(); done += kBlockBytes)
        writeBlockWhole(file, bytes.constData() + done, std::min(kBlockBytes, bytes.size() - done), message, deadline);
}

void commitRename(const Place& from, const Place& to, bool replace, const QString& message)
{
    if (!renameEntry(from.directory, from.name, to.directory, to.name, replace))
        fail(message);
    if (flushDirectory(to.directory))
        return;
    // A rename that may vanish with the power is none. What was replaced cannot come back, but a new name can go again.
    if (!replace)
        renameEntry(to.directory, to.name, from.directory, from.name, false);
    fail(message);
}

} // namespace vok::launcher_assets
