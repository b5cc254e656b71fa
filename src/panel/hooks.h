/// What the server panel may ask of the launcher's window, and nothing more.
#pragma once

#include <QString>

#include <functional>

namespace vok::launcher_server
{

struct Hooks
{
    /// The installation folder that the player has chosen.
    std::function<QString()> assetRoot;
    /// Whether that folder holds a manifest.
    std::function<bool()> assetsInstalled;
    /// Adds a line to the launcher's log.
    std::function<void(const QString& line)> log;
    /// Stores the local server's profile. With `select` it becomes the current one, and a `password` logs `user` in.
    std::function<void(
        const QString& auth, const QString& ca, const QString& user, const QString& password, bool select)>
        useLocalServer;
};

} // namespace vok::launcher_server
