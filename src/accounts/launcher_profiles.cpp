#include "app/launcher.h"
#include "app/profile_seeding.h"
#include "app/settings_keys.h"

#include <QComboBox>
#include <QCoreApplication>

namespace vok
{

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

} // namespace vok
