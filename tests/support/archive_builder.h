/// `QOMB` archives for tests: valid ones, and such as differ from a valid one in what the test is about.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vok::test_support
{

constexpr std::size_t kArchiveHeaderBytes = 6;
constexpr std::size_t kArchiveDirectoryBytes = 68;
constexpr std::size_t kArchiveFileBytes = 136;

/// `name` as a name field of `width` bytes, filled up with zeros.
std::string archiveNameField(std::string_view name, std::size_t width);

/// Builds an archive step by step. What is added goes into the directory that was entered last; offsets, sizes and
/// counts come out right where they are not set. The setters named `with...` damage one thing and leave all others
/// valid.
class ArchiveBuilder
{
public:
    explicit ArchiveBuilder(std::string_view root = "textures");

    ArchiveBuilder& file(std::string_view name, std::string_view contents = {});
    /// A file whose contents the caller writes behind index() by himself.
    ArchiveBuilder& fileOfSize(std::string_view name, std::uint32_t size);
    /// Adds a directory and goes into it.
    ArchiveBuilder& enter(std::string_view name);
    /// Goes back into the directory that holds the present one.
    ArchiveBuilder& leave();

    ArchiveBuilder& withMagic(std::string_view magic);
    ArchiveBuilder& withVersion(std::uint16_t version);
    /// Bytes behind the last content.
    ArchiveBuilder& withAppended(std::string_view bytes);
    /// The name field of the present directory, byte for byte; 64 bytes make it valid in its length.
    ArchiveBuilder& withDirectoryField(std::string_view field);
    ArchiveBuilder& withSubdirectoryCount(std::uint16_t count);
    ArchiveBuilder& withFileCount(std::uint16_t count);
    /// The name field of the file added last, byte for byte; 128 bytes make it valid in its length.
    ArchiveBuilder& withFileField(std::string_view field);
    ArchiveBuilder& withOffset(std::uint32_t offset);
    ArchiveBuilder& withSize(std::uint32_t size);

    std::uint64_t indexBytes() const;
    /// All that stands before the first content.
    std::string index() const;
    std::string build() const;

private:
    struct File
    {
        std::string field;
        std::string contents;
        std::uint32_t size = 0;
        std::optional<std::uint32_t> writtenOffset;
        std::optional<std::uint32_t> writtenSize;
    };

    struct Directory
    {
        std::string field;
        std::vector<File> files;
        std::vector<Directory> subdirectories;
        std::optional<std::uint16_t> writtenSubdirectoryCount;
        std::optional<std::uint16_t> writtenFileCount;
    };

    static std::uint64_t recordBytes(const Directory& directory);
    static void appendRecord(std::string& bytes, const Directory& directory, std::uint64_t& contentOffset);
    static void appendContents(std::string& bytes, const Directory& directory);
    Directory& present();
    File& lastFile();

    std::string m_magic = "QOMB";
    std::uint16_t m_version = 1;
    Directory m_root;
    std::vector<std::size_t> m_entered;
    std::string m_appended;
};

} // namespace vok::test_support
