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
};

/// The profile stored as `bytes`. What is not there, or no text, or part of broken JSON, is empty.
ServerProfile parseProfile(const QByteArray& bytes);

/// Compact JSON of `profile`. Equal profiles give equal bytes.
QByteArray serialiseProfile(const ServerProfile& profile);

} // namespace vok
