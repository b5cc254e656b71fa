#include "assets/tree_scan.h"

#include "assets/failure.h"
#include "assets/portable_path.h"
#include "assets/safe_files.h"
#include "formats/archive_index.h"

#include <algorithm>
#include <array>
#include <istream>
#include <streambuf>
#include <vector>

using namespace Qt::Literals::StringLiterals;

namespace vok::launcher_assets
{
namespace
{

constexpr qint64 kArchivePrefixBytes = 6;
constexpr size_t kArchiveBlockBytes = 65536;
constexpr std::array<std::string_view, 3> kOriginalRoots = {"textures/", "lightmaps/", "objects/"};

/// Reads the very file that was hashed, since its name may lead elsewhere by now.
class HandleBuffer : public std::streambuf
{
public:
    explicit HandleBuffer(const FileHandle& file)
        : m_file(file)
    {
    }

protected:
    int_type underflow() override
    {
        const qint64 got = readBlock(m_file, m_block.data(), std::ssize(m_block));
        if (got <= 0)
            return traits_type::eof();
        setg(m_block.data(), m_block.data(), m_block.data() + got);
        return traits_type::to_int_type(m_block.front());
    }

private:
    const FileHandle& m_file;
    std::array<char, kArchiveBlockBytes> m_block = {};
};

void rejectDepth(int depth)
{
    if (depth > kDeepestLevel)
        fail(u"Asset directory nesting exceeds 48 levels"_s);
}

class TreeScan
{
public:
    TreeScan(TreeInventory& inventory, bool inspectArchives, QDeadlineTimer deadline, const StoreLimits& limits)
        : m_inventory(inventory)
        , m_inspectArchives(inspectArchives)
        , m_deadline(deadline)
        , m_limits(limits)
    {
    }

    void walk(const Directory& directory, const QString& prefix, int depth)
    {
        throwIfExpired(m_deadline);
        rejectDepth(depth);
        const size_t level = m_pending.size();
        m_pending.push_back(namesLastFirst(directory));
        dropUnreachableNames();
        while (!m_pending[level].empty()) {
            throwIfExpired(m_deadline);
            const DirectoryName name = std::move(m_pending[level].back());
            m_pending[level].pop_back();
            const QString relative = prefix.isEmpty() ? name.text : prefix + u'/' + name.text;
            admit(relative, name.isExact);
            switch (kindIn(directory, name.text)) {
            case EntryKind::Directory:
                descend(directory, name.text, relative, depth + 1);
                break;
            case EntryKind::File:
                addFile(directory, name.text, relative);
                break;
            default:
                fail(u"Symlinks and special files are not allowed: "_s + relative);
            }
        }
        m_pending.pop_back();
    }

private:
    /// In plain order by UTF-16 code unit, backwards. A directory may hold more names than could ever be admitted: of
    /// those only the first are kept, enough to come to the same refusal.
    std::vector<DirectoryName> namesLastFirst(const Directory& directory) const
    {
        const auto after = [](const DirectoryName& left, const DirectoryName& right) { return left.text > right.text; };
        const size_t most = room();
        std::vector<DirectoryName> names;
        const bool listed = listNames(directory, [&](DirectoryName name) {
            names.push_back(std::move(name));
            if (names.size() > 2 * most) {
                const auto first = names.end() - static_cast<std::ptrdiff_t>(most);
                std::nth_element(names.begin(), first, names.end(), after);
                names.erase(names.begin(), first);
            }
        });
        if (!listed)
            fail(u"Unsafe or unreadable directory "_s + directory.path);
        std::sort(names.begin(), names.end(), after);
        return names;
    }

    /// How many names may still be looked at, counting the one too many that ends the walk.
    size_t room() const { return static_cast<size_t>(m_limits.entries - m_inventory.entryCount + 1); }

    /// The names that wait on the levels above share that room with those found last. What lies beyond it is never
    /// reached, because the walk ends first; if it were kept, memory would grow with the depth.
    void dropUnreachableNames()
    {
        size_t left = room();
        for (auto names = m_pending.rbegin(); names != m_pending.rend(); ++names) {
            if (names->size() > left) {
                names->erase(names->begin(), names->end() - static_cast<std::ptrdiff_t>(left));
                names->shrink_to_fit();
            }
            left -= names->size();
        }
    }

    void admit(const QString& relative, bool isExact)
    {
        if (!isExact || !isPortablePath(relative))
            fail(u"Unsafe asset path "_s + relative);
        if (++m_inventory.entryCount > m_limits.entries)
            fail(u"Asset tree exceeds 200000 entries"_s);
        m_inventory.pathBytes += relative.toUtf8().size();
        if (m_inventory.pathBytes > m_limits.pathBytes)
            fail(u"Asset paths exceed 64 MiB budget"_s);
        const qsizetype known = m_inventory.portableKeys.size();
        m_inventory.portableKeys.insert(portableKey(relative));
        if (m_inventory.portableKeys.size() == known)
            fail(u"Colliding portable asset path "_s + relative);
    }

    void descend(const Directory& parent, const QString& name, const QString& relative, int depth)
    {
        const Directory directory = openDirectoryIn(parent, name);
        if (!directory.isOpen())
            fail(u"Unsafe or unreadable directory "_s + directory.path);
        walk(directory, relative, depth);
    }

    void addFile(const Directory& directory, const QString& name, const QString& relative)
    {
        FileHandle file =
            openSafeIn(directory, name, Access::Read, Disposition::OpenExisting, m_deadline, Sharing::Read);
        FileHandle nowhere;
        HashResult result = hashFile(file, nowhere, relative, m_deadline, m_limits.fileBytes);
        if (result.size > m_limits.totalBytes - m_inventory.totalBytes)
            fail(u"Asset tree exceeds 128 GiB limit"_s);
        m_inventory.totalBytes += result.size;
        if (m_inspectArchives && claimsToBeArchive(file))
            inspectArchive(file, result.size);
        m_inventory.files.insert(relative, {result.size, std::move(result.sha256)});
    }

    bool claimsToBeArchive(const FileHandle& file) const
    {
        throwIfExpired(m_deadline);
        std::array<char, kArchivePrefixBytes> prefix = {};
        return readBlockAt(file, 0, prefix.data(), kArchivePrefixBytes) == kArchivePrefixBytes
               && std::string_view(prefix.data(), prefix.size()).starts_with(launcher_formats::kArchiveMagic);
    }

    /// Anything that claims to be an archive has to be one.
    void inspectArchive(const FileHandle& file, qint64 size)
    {
        if (!seekToStart(file))
            fail(u"Cannot inspect original asset archive"_s);
        HandleBuffer buffer(file);
        std::istream stream(&buffer);
        const auto index = launcher_formats::readArchiveIndex(stream, static_cast<std::uint64_t>(size));
        throwIfExpired(m_deadline);
        // All paths of an archive begin with the name of its root directory, so one of them tells.
        const auto beginsFirstPath = [&](std::string_view root) {
            return index.entries.front().path.starts_with(root);
        };
        if (!index.entries.empty() && std::any_of(kOriginalRoots.begin(), kOriginalRoots.end(), beginsFirstPath))
            m_inventory.foundOriginalArchive = true;
    }

    TreeInventory& m_inventory;
    /// For each open level, the names that are still to be looked at.
    std::vector<std::vector<DirectoryName>> m_pending;
    bool m_inspectArchives;
    QDeadlineTimer m_deadline;
    const StoreLimits& m_limits;
};

} // namespace

void scanTree(
    const Directory& directory, const QString& prefix, int depth, TreeInventory& inventory, bool inspectArchives,
    QDeadlineTimer deadline, const StoreLimits& limits)
{
    TreeScan(inventory, inspectArchives, deadline, limits).walk(directory, prefix, depth);
}

void scanTree(
    const QString& directory, const QString& prefix, int depth, TreeInventory& inventory, bool inspectArchives,
    QDeadlineTimer deadline, const StoreLimits& limits)
{
    throwIfExpired(deadline);
    rejectDepth(depth);
    scanTree(requireDirectory(directory, false, deadline), prefix, depth, inventory, inspectArchives, deadline, limits);
}

} // namespace vok::launcher_assets
