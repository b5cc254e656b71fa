/// A home folder of the test's own, so that the user's settings and data are never touched.
#pragma once

#include "app/identity.h"

#include <QDir>
#include <QSettings>
#include <QTemporaryDir>

namespace vok::test_support
{

/// Points every folder that Qt asks the environment for into a temporary directory, and sets the launcher's identity.
/// To be made before the application object, once a process: Qt remembers where settings lie.
class IsolatedHome
{
public:
    IsolatedHome()
    {
        for (const auto& [variable, name] :
             {std::pair{"HOME", "home"},
              {"XDG_CONFIG_HOME", "config"},
              {"XDG_DATA_HOME", "data"},
              {"XDG_CACHE_HOME", "cache"},
              {"XDG_STATE_HOME", "state"},
              {"XDG_RUNTIME_DIR", "runtime"}}) {
            QDir(m_folder.path()).mkpath(QString::fromLatin1(name));
            qputenv(variable, m_folder.filePath(QString::fromLatin1(name)).toUtf8());
        }
        QFile::setPermissions(
            m_folder.filePath(QStringLiteral("runtime")), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        setApplicationIdentity();
    }

    /// A path below the temporary directory, beside the folders of the home.
    QString filePath(const QString& name) const { return m_folder.filePath(name); }

private:
    QTemporaryDir m_folder;
};

} // namespace vok::test_support
