#include "client/graphics_options.h"

#include "app/settings_keys.h"

#include <QSettings>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>

using namespace Qt::Literals::StringLiterals;

namespace vok::launcher_client
{
namespace
{

const QString kOpenGl = u"opengl"_s;
const QString kVulkan = u"vulkan"_s;
const QString kOff = u"off"_s;
const QString kRequired = u"required"_s;

QString knownOrFirst(const QString& name, const QStringList& known)
{
    return known.contains(name) ? name : known.constFirst();
}

std::optional<double> numberBetween(const QVariant& saved, double least, double most)
{
    bool isNumber = false;
    const double number = saved.toDouble(&isNumber);
    if (!isNumber || !std::isfinite(number) || number < least || number > most)
        return std::nullopt;
    return number;
}

bool isPreset(const QString& name)
{
    const QList<FsrPreset> presets = fsrPresets();
    return std::any_of(presets.cbegin(), presets.cend(), [&](const FsrPreset& preset) { return preset.name == name; });
}

double savedRenderScale(const QSettings& settings, const GraphicsOptions& options)
{
    const auto scale = numberBetween(
        settings.value(keys::kRenderScale, options.renderScale), kSmallestRenderScale, kLargestRenderScale);
    if (!scale || (options.renderer == kOpenGl && *scale != kLargestRenderScale))
        throw std::runtime_error("Invalid saved render_scale: finite [.25,1] required; OpenGL requires 1");
    return *scale;
}

void readSavedFsr(const QSettings& settings, GraphicsOptions& options)
{
    options.fsr = settings.value(keys::kFsr, options.fsr).toString();
    const auto sharpness =
        numberBetween(settings.value(keys::kFsrSharpness, options.fsrSharpness), 0.0, kLargestSharpness);
    if (!isPreset(options.fsr) || !sharpness || (options.renderer == kOpenGl && options.fsr != kOff))
        throw std::runtime_error(
            "Invalid saved FSR settings: preset name and sharpness [0,1] required; OpenGL requires off");
    options.fsrSharpness = *sharpness;
}

QString savedRtStyle(const QSettings& settings, const GraphicsOptions& options)
{
    QString style = settings.value(keys::kRtStyle, options.rtStyle).toString();
    if (!rtStyleNames().contains(style))
        throw std::runtime_error("Invalid saved rt_style: faithful or physical required");
    return style;
}

int savedDetail(const QSettings& settings, QLatin1StringView key, int absent)
{
    bool isNumber = false;
    const qlonglong detail = settings.value(key, absent).toLongLong(&isNumber);
    if (!isNumber || detail < 0 || detail > kHighestDetail)
        throw std::runtime_error("Invalid saved " + std::string(key.data()) + ": 0..2 required");
    return static_cast<int>(detail);
}

// QVariant::toInt would wrap a number beyond 32 bits into one that looks sensible.
int savedNumber(const QSettings& settings, QLatin1StringView key, int absent)
{
    const qlonglong number = settings.value(key, absent).toLongLong();
    return static_cast<int>(
        std::clamp<qlonglong>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

} // namespace

QStringList rendererNames()
{
    return {kOpenGl, kVulkan};
}

QStringList appearanceNames()
{
    return {u"original"_s, u"enhanced"_s};
}

QStringList rayTracingNames()
{
    return {kOff, u"auto"_s, kRequired};
}

QStringList rtStyleNames()
{
    return {u"faithful"_s, u"physical"_s};
}

QList<FsrPreset> fsrPresets()
{
    return {
        {kOff, u"Kapalı (çizim ölçeği)"_s},
        {u"native"_s, u"FSR 3.1.4 Doğal AA"_s},
        {u"quality"_s, u"FSR 3.1.4 Kalite"_s},
        {u"balanced"_s, u"FSR 3.1.4 Dengeli"_s},
        {u"performance"_s, u"FSR 3.1.4 Performans"_s},
        {u"ultra_performance"_s, u"FSR 3.1.4 Ultra Performans"_s},
    };
}

GraphicsOptions savedGraphics(const QSettings& settings)
{
    GraphicsOptions options;
    options.renderer = knownOrFirst(settings.value(keys::kRenderer, options.renderer).toString(), rendererNames());
    options.renderScale = savedRenderScale(settings, options);
    readSavedFsr(settings, options);
    options.frameGeneration = settings.value(keys::kFrameGeneration, options.frameGeneration).toBool();
    options.appearance =
        knownOrFirst(settings.value(keys::kAppearance, options.appearance).toString(), appearanceNames());
    options.rayTracing =
        knownOrFirst(settings.value(keys::kRayTracing, options.rayTracing).toString(), rayTracingNames());
    options.rtStyle = savedRtStyle(settings, options);
    options.textureDetail = savedDetail(settings, keys::kTextureDetail, options.textureDetail);
    options.lightmapDetail = savedDetail(settings, keys::kLightmapDetail, options.lightmapDetail);
    options.width = savedNumber(settings, keys::kWidth, options.width);
    options.height = savedNumber(settings, keys::kHeight, options.height);
    options.fullscreen = settings.value(keys::kFullscreen, options.fullscreen).toBool();
    options.volumePercent = savedNumber(settings, keys::kVolume, options.volumePercent);
    return options;
}

void saveGraphics(QSettings& settings, const GraphicsOptions& options)
{
    if (!options.renderer.isEmpty()) {
        settings.setValue(keys::kRenderer, options.renderer);
        settings.setValue(keys::kRenderScale, options.renderScale);
        settings.setValue(keys::kFsr, options.fsr);
    }
    settings.setValue(keys::kFsrSharpness, options.fsrSharpness);
    settings.setValue(keys::kFrameGeneration, options.frameGeneration);
    settings.setValue(keys::kAppearance, options.appearance);
    settings.setValue(keys::kRayTracing, options.rayTracing);
    settings.setValue(keys::kRtStyle, options.rtStyle);
    settings.setValue(keys::kTextureDetail, options.textureDetail);
    settings.setValue(keys::kLightmapDetail, options.lightmapDetail);
    settings.setValue(keys::kWidth, options.width);
    settings.setValue(keys::kHeight, options.height);
    settings.setValue(keys::kFullscreen, options.fullscreen);
    settings.setValue(keys::kVolume, options.volumePercent);
}

void requireSavable(const GraphicsOptions& options)
{
    if (options.renderer != kOpenGl)
        return;
    if (options.renderScale != kLargestRenderScale)
        throw std::runtime_error("OpenGL requires render_scale=1; select Vulkan for render scaling");
    if (options.fsr != kOff)
        throw std::runtime_error("OpenGL renders natively; select Vulkan for FSR 3.1.4");
}

void requireStartable(const GraphicsOptions& options)
{
    if (options.renderer == kOpenGl && options.rayTracing == kRequired)
        throw std::runtime_error("Required hardware ray tracing is incompatible with OpenGL; select off or auto");
}

bool hasUpscaler(const GraphicsOptions& options)
{
    return options.fsr != kOff;
}

QString upscalerName(const GraphicsOptions& options)
{
    return hasUpscaler(options) ? u"fsr3"_s : u"bilinear"_s;
}

DependentControls settledControls(const GraphicsOptions& options)
{
    DependentControls controls;
    const bool isVulkan = options.renderer == kVulkan;
    controls.fsr = isVulkan ? options.fsr : kOff;
    const bool isScaled = controls.fsr != kOff;
    controls.renderScale = isVulkan ? options.renderScale : kLargestRenderScale;
    controls.upscalerEnabled = isVulkan;
    controls.renderScaleEnabled = isVulkan && !isScaled;
    controls.fsrSharpnessEnabled = isScaled;
    controls.frameGenerationEnabled = isScaled;
    controls.frameGeneration = isScaled && options.frameGeneration;
    return controls;
}

} // namespace vok::launcher_client
