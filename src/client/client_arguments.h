/// The command line of the game client. Others can read it in the process list, so it never holds the session.
#pragma once

#include "client/graphics_options.h"

#include <QString>
#include <QStringList>
#include <QUrl>

namespace vok::launcher_client
{

/// What a start of the client is made of, but for the world's port.
struct ClientSetup
{
    QUrl auth;            ///< the account service; the world runs on its host
    QString caFile;       ///< PEM file that the client trusts
    QString assetRoot;    ///< the store's files
    QString settingsFile; ///< the client's own settings
    GraphicsOptions graphics;
    QString modelMap; ///< may be empty, as the two below
    QString soundMap;
    QString audioPath; ///< relative to assetRoot
};

/// Where the client finds the world: on the host of `auth`, whatever the world itself says, at `port`.
QStringList worldArguments(const QUrl& auth, int port);

/// All that follows the world's address. Throws std::runtime_error where the audio path could leave the asset root: it
/// has a root or a "..", whatever it would resolve to.
QStringList clientArguments(const ClientSetup& setup);

} // namespace vok::launcher_client
