/// The game client's own settings file. The client owns it; the launcher puts the player's graphics options into it at
/// each start and leaves everything else as the client wrote it.
#pragma once

#include <QJsonObject>
#include <QString>

namespace vok::launcher_client
{

struct GraphicsOptions;

/// A larger file is refused before any of it is read.
constexpr qint64 kMostClientSettingsBytes = 65536;

/// Where the settings file of the installation in `root` lies.
QString clientSettingsPath(const QString& root);

/// The object in the file at `path`; an empty one where there is no such name. Throws std::runtime_error where the file
/// cannot be read, is larger than kMostClientSettingsBytes, is anything but a regular file or a link to one, or holds
/// no JSON object. Pipes and devices are refused without being opened.
QJsonObject readClientSettings(const QString& path);

/// `kept` without the keys of an earlier form, and with those of the launcher for `options`.
QJsonObject mergedClientSettings(QJsonObject kept, const GraphicsOptions& options);

/// Writes `merged` to `path`, and makes its folder where there is none. Throws std::runtime_error where any step fails;
/// a file that stood there is then untouched.
void writeClientSettings(const QString& path, const QJsonObject& merged);

} // namespace vok::launcher_client
