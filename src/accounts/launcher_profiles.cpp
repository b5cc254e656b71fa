#include "accounts/server_profile.h"
#include "app/launcher.h"
#include "app/profile_seeding.h"
#include "app/settings_keys.h"

#include <QComboBox>
#include <QCoreApplication>

namespace vok
{
namespace
{

ServerProfile storedProfile(const QSettings& settings, const QString& name)
{
    return parseProfile(settings.value(keys::profileKey(name)).toByteArray());
}

} // namespace

void Launcher::restoreProfiles()
{
    const SeededProfiles seeded = seedProfiles(settings, QCoreApplication::applicationDirPath());
    profiles->addItems(seeded.names);
    profiles->setCurrentText(seeded.selected);
    // Connected last, so that starting up neither drops a session nor writes the last profile.
    connect(profiles, &QComboBox::currentIndexChanged, this, [this] { guarded([this] { changeProfile(); }); });
}

void Launcher::changeProfile()
{
    settings.setValue(keys::kLastProfile, profiles->currentText());
    clearSession();
    refreshPages();
}

void Launcher::selectProfile(const QString& name)
{
    if (name != profiles->currentText()) {
        profiles->setCurrentIndex(profiles->findData(name, Qt::DisplayRole, Qt::MatchCaseSensitive));
        return;
    }
    // The session belongs to what the profile was.
    clearSession();
    refreshPages();
}

QString Launcher::currentAuth() const
{
    return storedProfile(settings, profiles->currentText()).auth;
}

QString Launcher::currentCa() const
{
    return storedProfile(settings, profiles->currentText()).ca;
}

} // namespace vok
