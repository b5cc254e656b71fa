#include "formats/archive_index.h"

#include "formats/byte_reader.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <istream>
#include <span>
#include <stdexcept>
#include <string_view>

namespace vok::launcher_formats
{
namespace
{

constexpr std::uint16_t kVersion = 1;
constexpr std::size_t kDirectoryNameBytes = 64;
constexpr std::size_t kFileNameBytes = 128;
constexpr std::uint64_t kDirectoryRecordBytes = kDirectoryNameBytes + 4;
constexpr std::uint64_t kFileRecordBytes = kFileNameBytes + 8;
constexpr std::uint64_t kReadAheadBytes = 65536;

constexpr char kIndexTooLarge[] = "QOMB index exceeds file size or 64 MiB budget";
constexpr char kTruncatedIndex[] = "truncated QOMB index";
constexpr char kCannotSeek[] = "cannot seek to QOMB entry";

/// Hands out an index field by field. It asks the stream for blocks, because one call a record costs more than all the
/// tests of the record, but only for bytes the stream says it has: what it delivers late or not at all is asked for
/// when a field needs it, so that a fault is told at the very field where reading without blocks would meet it.
class FieldReader
{
public:
    FieldReader(std::istream& stream, std::uint64_t budget)
        : m_stream(stream)
        , m_unread(budget)
        , m_unfetched(budget)
        , m_buffer(static_cast<std::size_t>(std::min(budget, kReadAheadBytes)))
    {
    }

    std::uint64_t unreadBytes() const { return m_unread; }

    void read(std::span<char> field)
    {
        if (m_unread < field.size())
            throw std::runtime_error(kIndexTooLarge);
        m_unread -= field.size();
        while (!field.empty()) {
            if (m_ahead.empty() && !readAhead())
                return readExactly(field);
            const std::size_t count = std::min(field.size(), m_ahead.size());
            std::copy_n(m_ahead.begin(), count, field.begin());
            m_ahead = m_ahead.subspan(count);
            field = field.subspan(count);
        }
    }

    template <typename T> T read()
    {
        std::array<char, sizeof(T)> field{};
        read(field);
        return littleEndian<T>({field.data(), field.size()});
    }

private:
    bool readAhead()
    {
        const auto wanted = static_cast<std::streamsize>(std::min<std::uint64_t>(m_buffer.size(), m_unfetched));
        const auto count = static_cast<std::size_t>(m_stream.readsome(m_buffer.data(), wanted));
        m_unfetched -= count;
        m_ahead = std::span(m_buffer).first(count);
        return count > 0;
    }

    void readExactly(std::span<char> field)
    {
        if (!m_stream.read(field.data(), static_cast<std::streamsize>(field.size())))
            throw std::runtime_error(kTruncatedIndex);
        m_unfetched -= field.size();
    }

    std::istream& m_stream;
    std::uint64_t m_unread;
    std::uint64_t m_unfetched;
    std::vector<char> m_buffer;
    std::span<const char> m_ahead;
};

bool isForbidden(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return byte < 32 || (byte >= 127 && byte <= 159) || byte == '/' || byte == '\\';
}

/// Looks at every byte instead of stopping at the first forbidden one: without the branch the compiler takes sixteen
/// bytes at a time, which halves the time that long names cost.
bool holdsForbidden(std::string_view name)
{
    unsigned char found = 0;
    for (const char character : name)
        found = static_cast<unsigned char>(found | static_cast<unsigned char>(isForbidden(character)));
    return found != 0;
}

std::string_view requireName(std::string_view field)
{
    static constexpr std::array<char, kFileNameBytes> kZeros{};
    const std::size_t length = field.find('\0');
    if (length == 0 || length == std::string_view::npos)
        throw std::runtime_error("QOMB name is empty or not NUL terminated");
    if (field.substr(length) != std::string_view(kZeros.data(), field.size() - length))
        throw std::runtime_error("QOMB name has nonzero NUL padding");
    const std::string_view name = field.substr(0, length);
    if (name == "." || name == ".." || holdsForbidden(name))
        throw std::runtime_error("unsafe QOMB path component");
    return name;
}

/// The names of one directory's files and subdirectories, asked whether two of them are equal.
class Siblings
{
public:
    void clear() { m_names.clear(); }
    void add(std::string_view name) { m_names.push_back({std::hash<std::string_view>()(name), name}); }

    bool holdEqualNames()
    {
        dropLoners();
        // Names made to share a hash cost this longer comparisons, never more of them.
        std::sort(m_names.begin(), m_names.end(), [](const HashedName& left, const HashedName& right) {
            return left.hash != right.hash ? left.hash < right.hash : left.name < right.name;
        });
        return std::adjacent_find(m_names.begin(), m_names.end()) != m_names.end();
    }

private:
    struct HashedName
    {
        std::size_t hash;
        std::string_view name;

        bool operator==(const HashedName&) const = default;
    };

    /// A name that has a slot of the hash table for itself has no equal. That settles most names at a tenth of what
    /// sorting them costs.
    void dropLoners()
    {
        const std::size_t slots = std::bit_ceil(m_names.size() * 8);
        m_taken.assign(slots, 0);
        const auto slotOf = [&](const HashedName& name) -> unsigned char& { return m_taken[name.hash & (slots - 1)]; };
        for (const HashedName& name : m_names)
            slotOf(name) = slotOf(name) == 0 ? 1 : 2;
        std::erase_if(m_names, [&](const HashedName& name) { return slotOf(name) == 1; });
    }

    std::vector<HashedName> m_names;
    std::vector<unsigned char> m_taken;
};

class IndexParser
{
public:
    IndexParser(std::istream& stream, std::uint64_t fileSize, const ArchiveLimits& limits)
        : m_fileSize(fileSize)
        , m_limits(limits)
        , m_budget(std::min(fileSize, limits.indexBytes))
        , m_reader(stream, m_budget)
    {
    }

    ArchiveIndex parse()
    {
        readHeader();
        readDirectory({}, 0);
        if (m_duplicate)
            throw std::runtime_error("duplicate QOMB path");
        m_index.indexEnd = m_budget - m_reader.unreadBytes();
        provePayload();
        return std::move(m_index);
    }

private:
    void readHeader()
    {
        std::array<char, kArchiveMagic.size()> magic{};
        m_reader.read(magic);
        if (std::string_view(magic.data(), magic.size()) != kArchiveMagic)
            throw std::runtime_error("invalid QOMB signature");
        if (m_reader.read<std::uint16_t>() != kVersion)
            throw std::runtime_error("unsupported QOMB version (only v1 is supported)");
    }

    /// Reads a directory record with all that is below it and returns the directory's name.
    std::string readDirectory(const std::string& parent, unsigned level)
    {
        std::array<char, kDirectoryNameBytes> field{};
        m_reader.read(field);
        const std::string_view name = requireName({field.data(), field.size()});
        const std::uint64_t subdirectoryCount = m_reader.read<std::uint16_t>();
        const std::uint64_t fileCount = m_reader.read<std::uint16_t>();
        if (m_reader.unreadBytes() < kFileRecordBytes * fileCount + kDirectoryRecordBytes * subdirectoryCount)
            throw std::runtime_error(kIndexTooLarge);
        if (m_index.entries.size() + fileCount > m_limits.fileRecords)
            throw std::runtime_error("QOMB entry count exceeds index budget");
        if (level == m_limits.depth && subdirectoryCount != 0)
            throw std::runtime_error("QOMB directory nesting exceeds 64 levels");
        const std::string path = expandedPath(parent, name);
        const std::size_t firstFile = m_index.entries.size();
        for (std::uint64_t file = 0; file < fileCount; ++file)
            readFile(path);
        std::vector<std::string> subdirectories;
        for (std::uint64_t subdirectory = 0; subdirectory < subdirectoryCount; ++subdirectory)
            subdirectories.push_back(readDirectory(path, level + 1));
        noteDuplicates(path.size() + 1, std::span(m_index.entries).subspan(firstFile, fileCount), subdirectories);
        return std::string(name);
    }

    void readFile(const std::string& directory)
    {
        std::array<char, kFileNameBytes> field{};
        m_reader.read(field);
        const std::string_view name = requireName({field.data(), field.size()});
        const auto offset = m_reader.read<std::uint32_t>();
        const auto size = m_reader.read<std::uint32_t>();
        if (offset > m_fileSize || size > m_fileSize - offset)
            throw std::runtime_error("QOMB entry range exceeds EOF");
        m_index.entries.push_back({expandedPath(directory, name), offset, size});
    }

    std::string expandedPath(const std::string& parent, std::string_view name)
    {
        const std::size_t length = parent.empty() ? name.size() : parent.size() + 1 + name.size();
        if (length > m_limits.pathBytes - m_pathBytes)
            throw std::runtime_error("QOMB expanded paths exceed 64 MiB budget");
        m_pathBytes += length;
        std::string path;
        path.reserve(length);
        path.append(parent);
        if (!parent.empty())
            path.push_back('/');
        path.append(name);
        return path;
    }

    /// No component holds a separator and there is one root, so two paths are equal only below a directory in which two
    /// names are. Asking each directory by itself spares keeping the paths of all of them. The finding has to wait
    /// until the whole index is read, because a fault of any later record is told before it.
    void noteDuplicates(
        std::size_t nameStart, std::span<const ArchiveEntry> files, const std::vector<std::string>& subdirectories)
    {
        if (m_duplicate || files.size() + subdirectories.size() < 2)
            return;
        m_siblings.clear();
        for (const ArchiveEntry& file : files)
            m_siblings.add(std::string_view(file.path).substr(nameStart));
        for (const std::string& name : subdirectories)
            m_siblings.add(name);
        m_duplicate = m_siblings.holdEqualNames();
    }

    void provePayload()
    {
        std::uint64_t cursor = m_index.indexEnd;
        for (const ArchiveEntry& entry : m_index.entries) {
            if (entry.offset < m_index.indexEnd)
                throw std::runtime_error("QOMB payload overlaps index");
            if (entry.offset != cursor)
                throw std::runtime_error("QOMB payload is not contiguous in index traversal order");
            cursor += entry.size;
        }
        if (cursor != m_fileSize)
            throw std::runtime_error("QOMB payload does not end at exact EOF");
        m_index.payloadEnd = cursor;
    }

    const std::uint64_t m_fileSize;
    const ArchiveLimits m_limits;
    const std::uint64_t m_budget;
    FieldReader m_reader;
    ArchiveIndex m_index;
    std::uint64_t m_pathBytes = 0;
    bool m_duplicate = false;
    Siblings m_siblings;
};

} // namespace

ArchiveIndex readArchiveIndex(std::istream& stream, std::uint64_t fileSize, const ArchiveLimits& limits)
{
    return IndexParser(stream, fileSize, limits).parse();
}

EntryPrefix readEntryPrefix(std::istream& stream, const ArchiveEntry& entry)
{
    if (!stream.seekg(entry.offset))
        throw std::runtime_error(kCannotSeek);
    EntryPrefix prefix;
    prefix.length = std::min<std::size_t>(entry.size, prefix.bytes.size());
    if (!stream.read(prefix.bytes.data(), static_cast<std::streamsize>(prefix.length)))
        throw std::runtime_error("truncated QOMB payload prefix");
    return prefix;
}

std::vector<char> readEntry(std::istream& stream, const ArchiveEntry& entry, std::uint64_t maximumBytes)
{
    if (entry.size > maximumBytes)
        throw std::runtime_error("QOMB entry exceeds byte budget or stream range");
    stream.seekg(0, std::ios::end);
    const std::streamoff length = stream ? std::streamoff(stream.tellg()) : -1;
    if (length < 0 || static_cast<std::uint64_t>(length) < std::uint64_t{entry.offset} + entry.size)
        throw std::runtime_error("QOMB entry range exceeds stream EOF");
    if (!stream.seekg(entry.offset))
        throw std::runtime_error(kCannotSeek);
    std::vector<char> bytes(entry.size);
    if (!stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size())))
        throw std::runtime_error("truncated QOMB payload");
    return bytes;
}

} // namespace vok::launcher_formats
