#include "app/profile_seeding.h"

#include "accounts/server_profile.h"
#include "app/addresses.h"
#include "app/settings_keys.h"

#include <QSettings>

using namespace Qt::Literals::StringLiterals;

namespace vok
{
namespace
{

const QString kFormerPublicProfile = u"Ormelan Zevti"_s;

void addIfAbsent(QSettings& settings, const QString& name, const QByteArray& profile)
{
    const QString key = keys::profileKey(name);
    if (!settings.contains(key))
        settings.setValue(key, profile);
}

} // namespace

SeededProfiles seedProfiles(QSettings& settings, const QString& applicationDirectory)
{
    const QByteArray publicJson =
        serialiseProfile({addresses::kPublicAccountService, applicationDirectory + u"/../ormelan-zevti-ca.pem"_s});

    QStringList names = settings.value(keys::kProfileNames).toStringList();
    settings.setValue(keys::profileKey(kPublicProfile), publicJson);
    // A launcher of an earlier version that shares this store still selects the public service by its former name.
    addIfAbsent(settings, kFormerPublicProfile, publicJson);
    names.removeAll(kFormerPublicProfile);
    if (!names.contains(kPublicProfile))
        names.prepend(kPublicProfile);
    addIfAbsent(settings, kLocalProfile, serialiseProfile({addresses::kLocalAccountService, QString()}));
    if (!names.contains(kLocalProfile))
        names.append(kLocalProfile);
    settings.setValue(keys::kProfileNames, names);

    const QString last = settings.value(keys::kLastProfile, kPublicProfile).toString();
    return {names, names.contains(last) ? last : kPublicProfile};
}

} // namespace vok
