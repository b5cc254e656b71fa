#include "accounts/server_profile.h"
#include "app/addresses.h"
#include "app/launcher.h"
#include "app/profile_seeding.h"
#include "app/settings_keys.h"
#include "assets/manifest.h"
#include "panel/hooks.h"

#include <QComboBox>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

using namespace Qt::Literals::StringLiterals;

namespace vok
{

launcher_server::Hooks Launcher::hostHooks()
{
    return {
        [this] { return installRoot->text(); },
        [this] { return QFileInfo(launcher_assets::manifestPath(installRoot->text())).isFile(); },
        [this](const QString& line) { logLine(line); },
        [this](const QString& auth, const QString& ca, const QString& user, const QString& adminPassword, bool select) {
            useLocalServer(auth, ca, user, adminPassword, select);
        }};
}

void Launcher::useLocalServer(
    const QString& auth, const QString& ca, const QString& user, const QString& adminPassword, bool select)
{
    const QString key = keys::profileKey(kLocalProfile);
    const QByteArray profile = serialiseProfile({auth.isEmpty() ? QString(addresses::kLocalAccountService) : auth, ca});
    const bool isChanged = settings.value(key).toByteArray() != profile;
    settings.setValue(key, profile);
    settings.sync();
    if (!select) {
        if (isChanged && profiles->currentText() == kLocalProfile)
            selectProfile(kLocalProfile);
        return;
    }
    if (!user.isEmpty() && (username->text().isEmpty() || !adminPassword.isEmpty()))
        username->setText(user);
    selectProfile(kLocalProfile);
    status->setText(u"Yerel sunucu çalışıyor"_s);
    if (!adminPassword.isEmpty()) {
        password->setText(adminPassword);
        loginButton->click();
    }
}

} // namespace vok
