#include "formats/archive_index.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

using namespace vok::launcher_formats;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::istringstream stream(std::string(data, data + size));
    try {
        const ArchiveIndex index = readArchiveIndex(stream, size);
        std::uint64_t cursor = index.indexEnd;
        for (const ArchiveEntry& entry : index.entries) {
            if (entry.offset != cursor || readEntryPrefix(stream, entry).length > entry.size)
                std::abort();
            cursor += readEntry(stream, entry, size).size();
        }
        if (cursor != size || index.payloadEnd != size)
            std::abort();
    } catch (const std::runtime_error&) {
        return 0;
    }
    return 0;
}
