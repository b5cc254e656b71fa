#include "client/client_settings_file.h"

#include "app/whole_file.h"
#include "client/graphics_options.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok::launcher_client
{
namespace
{

constexpr double kPercent = 100.0;

constexpr QLatin1StringView kFormerKeys[] = {
    "scene_member"_L1, "scene"_L1, "zone"_L1, "character_model"_L1, "model_mapping"_L1,
};

QByteArray readBounded(const QString& path)
{
    QFile file(path);
    // Opening a pipe would wait for its other end.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly) || file.size() > kMostClientSettingsBytes)
        throw std::runtime_error("Cannot safely read preserved client settings");
    // One byte more than allowed: some file systems tell no true size, and a file may grow meanwhile.
    QByteArray bytes = file.read(kMostClientSettingsBytes + 1);
    if (file.error() != QFileDevice::NoError || bytes.size() > kMostClientSettingsBytes)
        throw std::runtime_error("Cannot safely read preserved client settings");
    return bytes;
}

} // namespace

QString clientSettingsPath(const QString& root)
{
    return QDir(root).filePath(u"settings/graphics.json"_s);
}

QJsonObject readClientSettings(const QString& path)
{
    // A link that leads nowhere is no missing file: what the client wrote may lie on a disk that is away.
    const QFileInfo place(path);
    if (!place.exists() && !place.isSymLink())
        return {};
    const QJsonDocument document = QJsonDocument::fromJson(readBounded(path));
    if (!document.isObject())
        throw std::runtime_error("Existing client settings are invalid; not overwritten");
    return document.object();
}

QJsonObject mergedClientSettings(QJsonObject kept, const GraphicsOptions& options)
{
    for (const QLatin1StringView key : kFormerKeys)
        kept.remove(key);
    kept.insert("width"_L1, options.width);
    kept.insert("height"_L1, options.height);
    kept.insert("fullscreen"_L1, options.fullscreen);
    kept.insert("volume"_L1, options.volumePercent / kPercent);
    kept.insert("renderer"_L1, options.renderer);
    kept.insert("appearance"_L1, options.appearance);
    kept.insert("rt"_L1, options.rayTracing);
    kept.insert("rt_style"_L1, options.rtStyle);
    kept.insert("render_scale"_L1, options.renderScale);
    kept.insert("upscaler"_L1, upscalerName(options));
    kept.insert("fsr_sharpness"_L1, options.fsrSharpness);
    kept.insert("frame_generation"_L1, options.frameGeneration);
    kept.insert("texture_detail"_L1, options.textureDetail);
    kept.insert("lightmap_detail"_L1, options.lightmapDetail);
    // Without an upscaler the mode of an earlier start stays: the client goes by "upscaler".
    if (hasUpscaler(options))
        kept.insert("fsr_mode"_L1, options.fsr);
    return kept;
}

void writeClientSettings(const QString& path, const QJsonObject& merged)
{
    if (!QDir().mkpath(QFileInfo(path).path())
        || !replaceFile(path, QJsonDocument(merged).toJson(QJsonDocument::Indented)))
        throw std::runtime_error("Cannot atomically write settings");
}

} // namespace vok::launcher_client
