/// A server profile as it lies in the settings store: which account service, and which CA proves it.
#pragma once

#include <QByteArray>
#include <QString>

namespace vok
{

struct ServerProfile
{
    QString auth; ///< HTTPS origin of the account service
    QString ca;   ///< path of a PEM file; empty: the system's trust

    bool operator==(const ServerProfile&) const = default;
};

/// Compact JSON of `profile`. Equal profiles give equal bytes.
QByteArray serialiseProfile(const ServerProfile& profile);

/// The profile in `json`. A field that is missing or no string is empty, and so is all of it where `json` is no object.
ServerProfile parseProfile(const QByteArray& json);

} // namespace vok
