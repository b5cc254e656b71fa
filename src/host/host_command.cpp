#include "host/host_command.h"

#include <cstdio>
#include <string_view>

namespace vok::launcher_server
{
namespace
{

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

int refuse(const char* text, int exitCode)
{
    static_cast<void>(std::fputs(text, stderr));
    return exitCode;
}

bool isLanCommand(int argc, char** argv)
{
    if (argc != 4)
        return false;
    const std::string_view wanted = argv[2];
    return wanted == "on" || wanted == "off";
}

int withoutLocalServer()
{
    return refuse("Bu sürümde yerel sunucu henüz yok\n", kExitFailure);
}

} // namespace

int hostCommand(int argc, char** argv)
{
    if (std::string_view(argv[1]) == "--host-lan")
        return isLanCommand(argc, argv) ? withoutLocalServer()
                                        : refuse("kullanım: vok-launcher --host-lan on|off DIR\n", kExitUsage);
    if (argc < 3)
        return refuse(
            "kullanım: vok-launcher --host-supervisor DIR --asset-root PATH [--bootstrap-admin NAME]\n", kExitUsage);
    return withoutLocalServer();
}

} // namespace vok::launcher_server
