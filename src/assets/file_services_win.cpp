#include "assets/file_services.h"

#include <QDir>

#include <windows.h>

#include <memory>
#include <type_traits>

using namespace Qt::Literals::StringLiterals;

namespace vok::launcher_assets
{
namespace
{

HANDLE handleOf(const FileHandle& file)
{
    return reinterpret_cast<HANDLE>(file.value());
}

FileHandle owned(HANDLE handle)
{
    return FileHandle(reinterpret_cast<std::intptr_t>(handle));
}

/// The form that knows no limit of 260 characters.
std::wstring nativePath(const QString& path)
{
    const QString native = QDir::toNativeSeparators(path);
    const bool isPlainAbsolute = native.size() > 2 && native.at(1) == u':';
    return (isPlainAbsolute ? u"\\\\?\\"_s + native : native).toStdWString();
}

EntryKind kindOf(DWORD attributes, Links links)
{
    if (links == Links::Refuse && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
        return EntryKind::Special;
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? EntryKind::Directory : EntryKind::File;
}

bool isAbsent(DWORD error)
{
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME;
}

/// Not shared for deletion, so that nobody can rename or replace the directory while it is held: paths below it stay
/// what they are for as long as it is open.
FileHandle heldDirectory(const QString& path, Links links)
{
    const DWORD noFollow = links == Links::Refuse ? FILE_FLAG_OPEN_REPARSE_POINT : 0;
    FileHandle handle = owned(CreateFileW(
        nativePath(path).c_str(), FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE,
        nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | noFollow, nullptr));
    BY_HANDLE_FILE_INFORMATION information = {};
    if (handle.isValid()
        && (GetFileInformationByHandle(handleOf(handle), &information) == 0
            || kindOf(information.dwFileAttributes, links) != EntryKind::Directory))
        handle.close();
    return handle;
}

struct FindCloser
{
    void operator()(HANDLE handle) const { FindClose(handle); }
};

/// Calls `visit` with each entry of the directory at `path`; false where listing failed.
template <typename Visit> bool visitEntries(const QString& path, Visit visit)
{
    WIN32_FIND_DATAW entry = {};
    const HANDLE first = FindFirstFileExW(
        nativePath(path + u"/*"_s).c_str(), FindExInfoBasic, &entry, FindExSearchNameMatch, nullptr,
        FIND_FIRST_EX_LARGE_FETCH);
    if (first == INVALID_HANDLE_VALUE)
        return false;
    const std::unique_ptr<std::remove_pointer_t<HANDLE>, FindCloser> search(first);
    do {
        const QString name = QString::fromWCharArray(std::data(entry.cFileName));
        if (name != u"."_s && name != u".."_s)
            visit(name, entry.dwFileAttributes);
    } while (FindNextFileW(search.get(), &entry) != 0);
    return GetLastError() == ERROR_NO_MORE_FILES;
}

void removePath(const QString& path, DWORD attributes)
{
    const std::wstring native = nativePath(path);
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0)
        SetFileAttributesW(native.c_str(), FILE_ATTRIBUTE_NORMAL);
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        DeleteFileW(native.c_str());
        return;
    }
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
        visitEntries(path, [&](const QString& name, DWORD below) { removePath(path + u'/' + name, below); });
    RemoveDirectoryW(native.c_str());
}

qint64 transferred(BOOL succeeded, DWORD bytes)
{
    return succeeded != 0 ? static_cast<qint64>(bytes) : -1;
}

} // namespace

void FileHandle::close()
{
    if (isValid())
        CloseHandle(reinterpret_cast<HANDLE>(release()));
}

EntryKind kindOfPath(const QString& path, Links links)
{
    const DWORD attributes = GetFileAttributesW(nativePath(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return isAbsent(GetLastError()) ? EntryKind::Absent : EntryKind::Unreadable;
    return kindOf(attributes, links);
}

EntryKind kindIn(const Directory& parent, const QString& name)
{
    return kindOfPath(parent.pathOf(name), Links::Refuse);
}

Directory openDirectory(const QString& path, Links links)
{
    return {heldDirectory(path, links), path};
}

Directory openDirectoryIn(const Directory& parent, const QString& name)
{
    return {heldDirectory(parent.pathOf(name), Links::Refuse), parent.pathOf(name)};
}

bool createDirectoryIn(const Directory& parent, const QString& name)
{
    return CreateDirectoryW(nativePath(parent.pathOf(name)).c_str(), nullptr) != 0;
}

bool listNames(const Directory& directory, const std::function<void(DirectoryName)>& visit)
{
    return visitEntries(directory.path, [&](const QString& name, DWORD) { visit({name, name.isValidUtf16()}); });
}

FileHandle openFileIn(
    const Directory& parent, const QString& name, Access access, Disposition disposition, Sharing sharing)
{
    const DWORD wanted = (access != Access::Write ? GENERIC_READ : 0) | (access != Access::Read ? GENERIC_WRITE : 0);
    const DWORD shared =
        (sharing != Sharing::None ? FILE_SHARE_READ : 0) | (sharing == Sharing::ReadWrite ? FILE_SHARE_WRITE : 0);
    const DWORD creation = disposition == Disposition::CreateNew    ? CREATE_NEW
                           : disposition == Disposition::OpenAlways ? OPEN_ALWAYS
                                                                    : OPEN_EXISTING;
    return owned(CreateFileW(
        nativePath(parent.pathOf(name)).c_str(), wanted, shared, nullptr, creation,
        FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
}

std::optional<FileInformation> informationOf(const FileHandle& file)
{
    constexpr qint64 kTicksPerSecond = 10000000;
    constexpr qint64 kNanosecondsPerTick = 100;
    BY_HANDLE_FILE_INFORMATION information = {};
    if (GetFileType(handleOf(file)) != FILE_TYPE_DISK || GetFileInformationByHandle(handleOf(file), &information) == 0)
        return std::nullopt;
    const auto joined = [](DWORD high, DWORD low) {
        return static_cast<qint64>(high) << 32 | static_cast<qint64>(low);
    };
    const qint64 ticks = joined(information.ftLastWriteTime.dwHighDateTime, information.ftLastWriteTime.dwLowDateTime);
    return FileInformation{
        kindOf(information.dwFileAttributes, Links::Refuse),
        joined(information.nFileSizeHigh, information.nFileSizeLow),
        {ticks / kTicksPerSecond, ticks % kTicksPerSecond * kNanosecondsPerTick}};
}

qint64 readBlock(const FileHandle& file, char* data, qint64 size)
{
    DWORD got = 0;
    return transferred(ReadFile(handleOf(file), data, static_cast<DWORD>(size), &got, nullptr), got);
}

qint64 readBlockAt(const FileHandle& file, qint64 offset, char* data, qint64 size)
{
    // A positioned read moves the handle's own position here, so it is put back.
    LARGE_INTEGER position = {};
    if (SetFilePointerEx(handleOf(file), {}, &position, FILE_CURRENT) == 0)
        return -1;
    OVERLAPPED place = {};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    DWORD got = 0;
    const bool succeeded = ReadFile(handleOf(file), data, static_cast<DWORD>(size), &got, &place) != 0
                           || GetLastError() == ERROR_HANDLE_EOF;
    if (SetFilePointerEx(handleOf(file), position, nullptr, FILE_BEGIN) == 0)
        return -1;
    return transferred(succeeded ? TRUE : FALSE, got);
}

qint64 writeBlock(const FileHandle& file, const char* data, qint64 size)
{
    DWORD written = 0;
    return transferred(WriteFile(handleOf(file), data, static_cast<DWORD>(size), &written, nullptr), written);
}

bool seekToStart(const FileHandle& file)
{
    return SetFilePointerEx(handleOf(file), {}, nullptr, FILE_BEGIN) != 0;
}

void beginFlush(const FileHandle&, qint64, qint64)
{
    // The system offers no such thing: FlushFileBuffers waits.
}

bool flushFile(const FileHandle& file)
{
    return FlushFileBuffers(handleOf(file)) != 0;
}

bool flushDirectory(const Directory&)
{
    // MOVEFILE_WRITE_THROUGH keeps this promise already, and the system offers no flush of a directory to ordinary
    // users.
    return true;
}

bool tryLock(const FileHandle& file, bool exclusive)
{
    OVERLAPPED firstByte = {};
    const DWORD flags = LOCKFILE_FAIL_IMMEDIATELY | (exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0);
    return LockFileEx(handleOf(file), flags, 0, 1, 0, &firstByte) != 0;
}

bool renameEntry(const Directory& from, const QString& name, const Directory& to, const QString& newName, bool replace)
{
    const DWORD flags = MOVEFILE_WRITE_THROUGH | (replace ? MOVEFILE_REPLACE_EXISTING : 0);
    return MoveFileExW(nativePath(from.pathOf(name)).c_str(), nativePath(to.pathOf(newName)).c_str(), flags) != 0;
}

bool removeFile(const Directory& parent, const QString& name)
{
    return DeleteFileW(nativePath(parent.pathOf(name)).c_str()) != 0;
}

void removeTree(const Directory& parent, const QString& name)
{
    const QString path = parent.pathOf(name);
    const DWORD attributes = GetFileAttributesW(nativePath(path).c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES)
        removePath(path, attributes);
}

} // namespace vok::launcher_assets
