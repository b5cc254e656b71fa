// Stands in for libFuzzer where there is none: runs the target once over every file of the given folders.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

std::size_t replay(const std::filesystem::path& folder)
{
    std::size_t files = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        std::ifstream stream(file.path(), std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
        std::cout << file.path().filename().string() << std::endl;
        LLVMFuzzerTestOneInput(input.data(), input.size());
        ++files;
    }
    return files;
}

} // namespace

int main(int argc, char** argv)
{
    std::size_t files = 0;
    try {
        for (int argument = 1; argument < argc; ++argument)
            files += replay(argv[argument]);
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << '\n';
        return 1;
    }
    if (files == 0) {
        std::cerr << "no seeds: there is nothing to replay\n";
        return 1;
    }
    std::cout << files << " seeds replayed\n";
    return 0;
}
