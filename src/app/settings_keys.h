/// Every key of the launcher's settings store, each written down once. The names are the store's format: a changed name
/// loses what players have saved.
#pragma once

#include <QLatin1String>
#include <QString>

namespace vok::keys
{

inline constexpr QLatin1StringView kProfileNames("profileNames");
inline constexpr QLatin1StringView kLastProfile("lastProfile");
inline constexpr QLatin1StringView kAccountUsername("account/username");
inline constexpr QLatin1StringView kInstallationRoot("installation/root");
inline constexpr QLatin1StringView kAssetsSource("assets/source");
inline constexpr QLatin1StringView kAssetsExtractor("assets/extractor");
inline constexpr QLatin1StringView kAssetsInstaller("assets/installer");
inline constexpr QLatin1StringView kRenderer("graphics/renderer");
inline constexpr QLatin1StringView kRenderScale("graphics/render_scale");
inline constexpr QLatin1StringView kFsr("graphics/fsr");
inline constexpr QLatin1StringView kFsrSharpness("graphics/fsr_sharpness");
inline constexpr QLatin1StringView kFrameGeneration("graphics/frame_generation");
inline constexpr QLatin1StringView kAppearance("graphics/appearance");
inline constexpr QLatin1StringView kRayTracing("graphics/rt");
inline constexpr QLatin1StringView kRtStyle("graphics/rt_style");
inline constexpr QLatin1StringView kTextureDetail("graphics/texture_detail");
inline constexpr QLatin1StringView kLightmapDetail("graphics/lightmap_detail");
inline constexpr QLatin1StringView kWidth("graphics/width");
inline constexpr QLatin1StringView kHeight("graphics/height");
inline constexpr QLatin1StringView kFullscreen("graphics/fullscreen");
inline constexpr QLatin1StringView kVolume("graphics/volume");

/// Keys of an earlier form. Nothing reads them, and every save removes them.
inline constexpr QLatin1StringView kFormerKeys[] = {
    QLatin1StringView("graphics/zone"),
    QLatin1StringView("graphics/sceneMember"),
    QLatin1StringView("graphics/characterModel"),
};

/// The key of a content mapping, formed from the object name of the line edit that holds it: "modelMap", "audioPath" or
/// "soundMap".
inline QString mappingKey(const QString& objectName)
{
    return QLatin1StringView("graphics/") + objectName;
}

/// The key of the server profile called `name`.
inline QString profileKey(const QString& name)
{
    return QLatin1StringView("profiles/") + name;
}

} // namespace vok::keys
