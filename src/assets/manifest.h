/// The store's only record of trust: which files its tree holds, with their sizes and hashes. It is written once, by an
/// import, and afterwards only read and measured against.
#pragma once

#include "assets/file_services.h"
#include "assets/limits.h"

#include <QByteArray>
#include <QMap>
#include <QString>

namespace vok::launcher_assets
{

struct ManifestEntry
{
    qint64 size = 0;
    /// 64 lower-case hexadecimal characters.
    QByteArray sha256;

    bool operator==(const ManifestEntry&) const = default;
};

/// By relative path, as the file spells it.
using Manifest = QMap<QString, ManifestEntry>;

constexpr QStringView kAssetsName = u"assets";
constexpr QStringView kManifestName = u"asset-manifest.json";

/// The directory of an installation's tree.
QString assetsPath(const QString& root);
/// The manifest file of an installation.
QString manifestPath(const QString& root);

/// The manifest that `bytes` hold. Throws std::runtime_error at the first fault; there is no partial reading.
Manifest parseManifest(const QByteArray& bytes, const StoreLimits& limits = {});

/// Reads and parses the manifest of the installation `root`, whose lock the caller holds. Throws std::runtime_error
/// where it cannot be read, too, and before memory is taken for a file that is too large.
Manifest readManifest(const Directory& root, const StoreLimits& limits = {});

/// The bytes of the manifest for `files`: compact JSON in UTF-8, the same for the same files. Throws std::runtime_error
/// above the limit for a manifest.
QByteArray writeManifestBytes(const Manifest& files, const StoreLimits& limits = {});

} // namespace vok::launcher_assets
