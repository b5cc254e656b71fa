// Writes the seeds below fuzz/corpus anew: vok-fuzz-seeds fuzz/corpus. What a fuzzer found lies beside them and stays.

#include "support/archive_builder.h"
#include "support/dds_builder.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

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

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: vok-fuzz-seeds fuzz/corpus\n";
        return 1;
    }
    try {
        writeArchiveSeeds(std::filesystem::path(argv[1]) / "fuzz_archive_index");
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << '\n';
        return 1;
    }
    return 0;
}
