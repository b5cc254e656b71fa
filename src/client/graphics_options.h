/// The player's choice of renderer and image quality, and the rules between its options. The rules stand at three gates
/// here: when saved values are read, while the player changes the controls, and before anything is saved.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

class QSettings;

namespace vok::launcher_client
{

constexpr double kSmallestRenderScale = 0.25;
constexpr double kLargestRenderScale = 1.0;
constexpr double kLargestSharpness = 1.0;
constexpr int kHighestDetail = 2;
constexpr int kSmallestWidth = 640;
constexpr int kLargestWidth = 3840;
constexpr int kSmallestHeight = 480;
constexpr int kLargestHeight = 2160;
constexpr int kFullVolume = 100;

/// Names that the store and the client use; the first is the one that an unknown saved name falls back to.
QStringList rendererNames();
QStringList appearanceNames();
QStringList rayTracingNames();
QStringList rtStyleNames();

struct FsrPreset
{
    QString name;    ///< as the store and the client use it
    QString caption; ///< as the player sees it
};

/// The upscaler's presets, the first of them "off".
QList<FsrPreset> fsrPresets();

/// One value for each option; those of a new object are the defaults.
struct GraphicsOptions
{
    QString renderer = QStringLiteral("opengl");
    double renderScale = 1.0;
    QString fsr = QStringLiteral("off");
    double fsrSharpness = 0.5;
    bool frameGeneration = false;
    QString appearance = QStringLiteral("original");
    QString rayTracing = QStringLiteral("off");
    QString rtStyle = QStringLiteral("faithful");
    int textureDetail = 2;
    int lightmapDetail = 1;
    int width = 1280;
    int height = 720;
    bool fullscreen = false;
    int volumePercent = 80;

    bool operator==(const GraphicsOptions&) const = default;
};

/// The options as they lie in `settings`, with the default for each that is missing. Width, height and volume come as
/// they are: their controls clamp them. An unknown renderer, appearance or ray tracing mode reads as the first of its
/// names. Throws std::runtime_error where the render scale, the upscaler's preset and sharpness, the ray tracing light
/// or a detail level is not valid: a damaged store is shown to the player and not silently reset.
GraphicsOptions savedGraphics(const QSettings& settings);

/// Writes `options` to `settings`. With an empty renderer, that is while none is selected, the renderer and what
/// depends on it keep their saved values.
void saveGraphics(QSettings& settings, const GraphicsOptions& options);

/// Throws std::runtime_error where OpenGL is combined with a render scale or an upscaler, which it does not have.
void requireSavable(const GraphicsOptions& options);

/// Throws std::runtime_error where OpenGL is combined with ray tracing that must be there. Such options can be saved;
/// the client is not started with them.
void requireStartable(const GraphicsOptions& options);

/// Whether a preset of the upscaler is chosen.
bool hasUpscaler(const GraphicsOptions& options);

/// What scales the picture, as the client calls it.
QString upscalerName(const GraphicsOptions& options);

/// What the controls that depend on each other show, and which of them can be changed.
struct DependentControls
{
    double renderScale = 1.0;
    QString fsr;
    bool frameGeneration = false;
    bool renderScaleEnabled = false;
    bool upscalerEnabled = false;
    bool fsrSharpnessEnabled = false;
    bool frameGenerationEnabled = false;

    bool operator==(const DependentControls&) const = default;
};

/// The state that the controls settle in once the player has chosen `options`: OpenGL has neither a render scale nor an
/// upscaler, an upscaler replaces the render scale, and frame generation needs an upscaler. Settling twice changes
/// nothing.
DependentControls settledControls(const GraphicsOptions& options);

} // namespace vok::launcher_client
