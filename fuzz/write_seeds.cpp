// Writes the seeds below fuzz/corpus anew: vok-fuzz-seeds fuzz/corpus. What a fuzzer found lies beside them and stays.

#include "support/archive_builder.h"
#include "support/dds_builder.h"
#include "support/manifest_builder.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

using namespace Qt::Literals::StringLiterals;
using namespace vok::test_support;

namespace
{

void write(const std::filesystem::path& folder, const std::string& name, const std::string& bytes)
{
    std::filesystem::create_directories(folder);
    std::ofstream stream(folder / name, std::ios::binary);
    stream << bytes;
    stream.close();
    if (!stream)
        throw std::runtime_error("cannot write " + (folder / name).string());
}

void writeArchiveSeeds(const std::filesystem::path& folder)
{
    const std::string image = DdsBuilder(DdsFormat::Dxt1, 4, 4).build();
    ArchiveBuilder deep("objects");
    for (int level = 0; level < 65; ++level)
        deep.enter("d");
    write(folder, "empty", ArchiveBuilder().build());
    write(folder, "one-image", ArchiveBuilder().file("a.dds", image).build());
    write(folder, "nested", ArchiveBuilder("lightmaps").file("a", "1").enter("d").file("b", "22").enter("e").build());
    write(folder, "too-deep", deep.build());
    write(folder, "two-of-a-name", ArchiveBuilder().file("a").file("a").build());
    write(folder, "out-of-range", ArchiveBuilder().file("a", "1").withSize(2).build());
    write(folder, "overlap", ArchiveBuilder().file("a", "1").withOffset(0).build());
    write(folder, "gap", ArchiveBuilder().file("a", "1").file("b").withOffset(346).build());
    write(folder, "trailing", ArchiveBuilder().withAppended("x").build());
    write(folder, "false-counts", ArchiveBuilder().withFileCount(65535).withSubdirectoryCount(65535).build());
    write(folder, "bad-name", ArchiveBuilder().enter("..").build());
    write(folder, "other-version", ArchiveBuilder().withVersion(2).build());
}

void writeManifestSeeds(const std::filesystem::path& folder)
{
    const auto seed = [&](const std::string& name, const ManifestBuilder& manifest) {
        write(folder, name, manifest.bytes().toStdString());
    };
    seed("two-files", ManifestBuilder().entry(u"a"_s).entry(u"b/ş"_s, qint64(17179869184)));
    seed("extra-keys", ManifestBuilder().entry(u"a"_s).top(u"signature"_s, u"x"_s));
    seed("no-entries", ManifestBuilder());
    seed("other-format", ManifestBuilder().entry(u"a"_s).top(u"format"_s, 2));
    seed("bad-path", ManifestBuilder().entry(u"a/../b"_s));
    seed("bad-size", ManifestBuilder().entry(u"a"_s, 1.5));
    seed("bad-hash", ManifestBuilder().entry(u"a"_s, 0, u"ABC"_s));
    seed("same-path", ManifestBuilder().entry(u"\u00e9"_s).entry(u"e\u0301"_s));
    seed("file-as-directory", ManifestBuilder().entry(u"a"_s).entry(u"A/b"_s));
    write(
        folder, "half-a-surrogate",
        R"({"files":[{"path":"\ud800","size":0,"sha256":")" + std::string(kEmptySha256)
            + R"("}],"format":1,"trust":"user-selected-local-snapshot"})");
}

void writeAnswerSeeds(const std::filesystem::path& folder)
{
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    const auto seed = [&](const char* name, const std::string& answer) {
        write(folder, name, std::string("\3\2", 2) + answer);
    };
    seed("length", ok + "Content-Length: 5\r\n\r\nhello");
    seed("chunks", ok + "Transfer-Encoding: chunked\r\n\r\n2;x=y\r\nhe\r\n3\r\nllo\r\n0\r\nA: b\r\n\r\n");
    seed("no-length", ok + "\r\n{}");
    seed("informational", "HTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\n" + ok + "Content-Length: 2\r\n\r\n{}");
    seed("redirect", "HTTP/1.1 302 Found\r\nLocation: /else\r\nContent-Length: 0\r\n\r\n");
    seed("no-content", "HTTP/1.1 204 No Content\r\n\r\n");
    seed("two-lengths", ok + "Content-Length: 1\r\nContent-Length: 2\r\n\r\n{}");
    seed("no-http", "hello\r\n\r\n");
}

void writeLineSeeds(const std::filesystem::path& folder)
{
    write(folder, "plain", std::string("\0\3", 2) + "first line\nsecond\r\n\r\r\nlast");
    write(folder, "secret", std::string("\6\2", 2) + "secretthe secretsecret is sec\nret\n");
    write(folder, "secret-with-newline", std::string("\3\1", 2) + "a\nbxa\nby\n");
    write(folder, "not-utf8", std::string("\0\377", 2) + "bad \xff\xc3 bytes\n");
    write(folder, "longest-line", std::string("\0\377", 2) + std::string(65536, 'x') + "\n");
    write(folder, "too-long-a-line", std::string("\0\377", 2) + "short\n" + std::string(65537, 'x'));
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: vok-fuzz-seeds fuzz/corpus\n";
        return 1;
    }
    try {
        const std::filesystem::path corpus = argv[1];
        writeAnswerSeeds(corpus / "fuzz_answer_parser");
        writeArchiveSeeds(corpus / "fuzz_archive_index");
        writeLineSeeds(corpus / "fuzz_line_splitter");
        writeManifestSeeds(corpus / "fuzz_manifest");
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << '\n';
        return 1;
    }
    return 0;
}
