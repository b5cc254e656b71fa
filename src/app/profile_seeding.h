/// The profiles that every start puts into the store before the player sees the selector.
#pragma once

#include <QString>
#include <QStringList>

class QSettings;

namespace vok
{

inline const QString kPublicProfile = QStringLiteral("Tarvun: Selvira");
inline const QString kLocalProfile = QStringLiteral("Localhost");

struct SeededProfiles
{
    QStringList names;
    QString selected;
};

/// Restores the public profile, adds `Localhost` where it is missing, retires the public profile's former name, and
/// returns the names in the selector's order with the one to select. `applicationDirectory` is where the CA of the
/// public service is found from. Profiles of the player's own are left alone.
SeededProfiles seedProfiles(QSettings& settings, const QString& applicationDirectory);

} // namespace vok
