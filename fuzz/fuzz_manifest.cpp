#include "assets/manifest.h"

#include <cstdlib>
#include <stdexcept>

using namespace vok::launcher_assets;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Manifest manifest;
    try {
        manifest = parseManifest(QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    } catch (const std::runtime_error&) {
        return 0;
    }
    // What was read is written in one way only, and read back as the same.
    const QByteArray written = writeManifestBytes(manifest);
    if (parseManifest(written) != manifest || writeManifestBytes(parseManifest(written)) != written)
        std::abort();
    return 0;
}
