/// A server profile: which account service, and which CA proves it. What the player may type for one, and how it lies
/// in the settings store.
#pragma once

#include <QByteArray>
#include <QString>

namespace vok
{

struct ServerProfile
{
    QString auth; ///< HTTPS origin of the account service
    QString ca;   ///< path of a PEM file; empty: the system's trust
};

/// The profile stored as `bytes`. What is not there, or no text, or part of broken JSON, is empty.
ServerProfile parseProfile(const QByteArray& bytes);

/// Compact JSON of `profile`. Equal profiles give equal bytes.
QByteArray serialiseProfile(const ServerProfile& profile);

/// `entered` as the name of a profile: trimmed. Throws std::runtime_error where nothing is left or where it holds a
/// "/", which would divide its settings key.
QString profileNameOf(const QString& entered);

/// `entered`, the address of an account service as a player writes it, as an origin that always has its port: "https"
/// is taken where no scheme stands, 7443 where no port stands. Throws std::runtime_error where it is no HTTPS origin.
QString authOriginOf(const QString& entered);

} // namespace vok
