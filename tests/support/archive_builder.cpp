#include "support/archive_builder.h"

#include "support/little_endian.h"

namespace vok::test_support
{
namespace
{

constexpr std::size_t kDirectoryFieldBytes = 64;
constexpr std::size_t kFileFieldBytes = 128;

} // namespace

std::string archiveNameField(std::string_view name, std::size_t width)
{
    std::string field(name);
    field.resize(width, '\0');
    return field;
}

ArchiveBuilder::ArchiveBuilder(std::string_view root)
{
    m_root.field = archiveNameField(root, kDirectoryFieldBytes);
}

ArchiveBuilder& ArchiveBuilder::file(std::string_view name, std::string_view contents)
{
    fileOfSize(name, static_cast<std::uint32_t>(contents.size()));
    lastFile().contents = contents;
    return *this;
}

ArchiveBuilder& ArchiveBuilder::fileOfSize(std::string_view name, std::uint32_t size)
{
    File& added = present().files.emplace_back();
    added.field = archiveNameField(name, kFileFieldBytes);
    added.size = size;
    return *this;
}

ArchiveBuilder& ArchiveBuilder::enter(std::string_view name)
{
    Directory& parent = present();
    m_entered.push_back(parent.subdirectories.size());
    parent.subdirectories.emplace_back().field = archiveNameField(name, kDirectoryFieldBytes);
    return *this;
}

ArchiveBuilder& ArchiveBuilder::leave()
{
    m_entered.pop_back();
    return *this;
}

ArchiveBuilder& ArchiveBuilder::withMagic(std::string_view magic)
{
    m_magic = magic;
    return *this;
}

ArchiveBuilder& ArchiveBuilder::withVersion(std::uint16_t version)
{
    m_version = version;
    return *this;
}

ArchiveBuilder& ArchiveBuilder::withAppended(std::string_view bytes)
{
    m_appended = bytes;
    return *this;
}

ArchiveBuilder& ArchiveBuilder::withDirectoryField(std::string_view field)
{
    present().field = field;
    return *this;
}

ArchiveBuilder& ArchiveBuilder::withSubdirectoryCount(std::uint16_t count)
{
    present().writtenSubdirectoryCount = count;
    return *this;
}

ArchiveBuilder& ArchiveBuilder::withFileCount(std::uint16_t count)
{
    present().writtenFileCount = count;
    return *this;
}

ArchiveBuilder& ArchiveBuilder::withFileField(std::string_view field)
{
    lastFile().field = field;
    return *this;
}

ArchiveBuilder& ArchiveBuilder::withOffset(std::uint32_t offset)
{
    lastFile().writtenOffset = offset;
    return *this;
}

ArchiveBuilder& ArchiveBuilder::withSize(std::uint32_t size)
{
    lastFile().writtenSize = size;
    return *this;
}

std::uint64_t ArchiveBuilder::indexBytes() const
{
    return kArchiveHeaderBytes + recordBytes(m_root);
}

std::string ArchiveBuilder::index() const
{
    std::string bytes = m_magic;
    appendLittleEndian(bytes, m_version);
    std::uint64_t contentOffset = indexBytes();
    appendRecord(bytes, m_root, contentOffset);
    return bytes;
}

std::string ArchiveBuilder::build() const
{
    std::string bytes = index();
    appendContents(bytes, m_root);
    return bytes + m_appended;
}

std::uint64_t ArchiveBuilder::recordBytes(const Directory& directory)
{
    std::uint64_t bytes = kArchiveDirectoryBytes + kArchiveFileBytes * directory.files.size();
    for (const Directory& subdirectory : directory.subdirectories)
        bytes += recordBytes(subdirectory);
    return bytes;
}

void ArchiveBuilder::appendRecord(std::string& bytes, const Directory& directory, std::uint64_t& contentOffset)
{
    const auto subdirectoryCount = static_cast<std::uint16_t>(directory.subdirectories.size());
    const auto fileCount = static_cast<std::uint16_t>(directory.files.size());
    bytes += directory.field;
    appendLittleEndian(bytes, directory.writtenSubdirectoryCount.value_or(subdirectoryCount));
    appendLittleEndian(bytes, directory.writtenFileCount.value_or(fileCount));
    for (const File& file : directory.files) {
        bytes += file.field;
        appendLittleEndian(bytes, file.writtenOffset.value_or(static_cast<std::uint32_t>(contentOffset)));
        appendLittleEndian(bytes, file.writtenSize.value_or(file.size));
        contentOffset += file.size;
    }
    for (const Directory& subdirectory : directory.subdirectories)
        appendRecord(bytes, subdirectory, contentOffset);
}

void ArchiveBuilder::appendContents(std::string& bytes, const Directory& directory)
{
    for (const File& file : directory.files)
        bytes += file.contents;
    for (const Directory& subdirectory : directory.subdirectories)
        appendContents(bytes, subdirectory);
}

ArchiveBuilder::Directory& ArchiveBuilder::present()
{
    Directory* directory = &m_root;
    for (const std::size_t position : m_entered)
        directory = &directory->subdirectories[position];
    return *directory;
}

ArchiveBuilder::File& ArchiveBuilder::lastFile()
{
    return present().files.back();
}

} // namespace vok::test_support
