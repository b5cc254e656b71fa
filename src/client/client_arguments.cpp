#include "client/client_arguments.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok::launcher_client
{
namespace
{

// Enough digits that the client reads the very number that the player set.
constexpr int kExactDigits = 17;

QString exactly(double number)
{
    return QString::number(number, 'g', kExactDigits);
}

bool staysInside(const QString& relative)
{
    // Half a surrogate pair names nothing, and the path library would refuse it in words of its own.
    if (!relative.isValidUtf16())
        return false;
    const std::filesystem::path path(relative.toStdU16String());
    return !path.has_root_path() && std::find(path.begin(), path.end(), "..") == path.end();
}

QStringList graphicsArguments(const GraphicsOptions& options)
{
    QStringList arguments{
        u"--renderer"_s,
        options.renderer,
        u"--appearance"_s,
        options.appearance,
        u"--rt"_s,
        options.rayTracing,
        u"--rt-style"_s,
        options.rtStyle,
        u"--render-scale"_s,
        exactly(options.renderScale),
        u"--upscaler"_s,
        upscalerName(options),
        u"--fsr-sharpness"_s,
        exactly(options.fsrSharpness),
        u"--frame-generation"_s,
        options.frameGeneration ? u"on"_s : u"off"_s,
    };
    if (hasUpscaler(options))
        arguments << u"--fsr-mode"_s << options.fsr;
    return arguments;
}

QStringList mappingArguments(const ClientSetup& setup)
{
    QStringList arguments;
    if (!setup.modelMap.isEmpty())
        arguments << u"--model-map"_s << setup.modelMap;
    if (!setup.soundMap.isEmpty())
        arguments << u"--sound-map"_s << setup.soundMap;
    if (setup.audioPath.isEmpty())
        return arguments;
    if (!staysInside(setup.audioPath))
        throw std::runtime_error("Original audio path must stay inside imported assets");
    return arguments << u"--audio"_s << setup.assetRoot + u'/' + setup.audioPath;
}

} // namespace

QStringList worldArguments(const QUrl& auth, int port)
{
    return {u"--host"_s, auth.host(QUrl::FullyDecoded), u"--port"_s, QString::number(port)};
}

QStringList clientArguments(const ClientSetup& setup)
{
    const QStringList connection{
        u"--ca"_s,
        setup.caFile,
        u"--session-stdin"_s,
        u"--auth"_s,
        setup.auth.toString(QUrl::StripTrailingSlash),
        u"--asset-root"_s,
        setup.assetRoot,
        u"--settings"_s,
        setup.settingsFile,
    };
    return connection + graphicsArguments(setup.graphics) + mappingArguments(setup);
}

} // namespace vok::launcher_client
