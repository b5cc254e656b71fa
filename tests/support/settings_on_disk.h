/// The launcher's settings as the next start of the program finds them.
#pragma once

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

namespace vok::test_support
{

/// What `settings` have brought to the disk so far. It reads a copy of their file, because Qt shares what it knows of a
/// file within a process, and no QSettings of this process must end meanwhile, because that would write too.
class SettingsOnDisk
{
public:
    explicit SettingsOnDisk(const QSettings& settings)
        : m_copy(copied(settings.fileName()), QSettings::NativeFormat)
    {
    }

    QVariant value(const QString& key) const { return m_copy.value(key); }

private:
    QString copied(const QString& file) const
    {
        if (!QFile::copy(file, m_folder.filePath(QStringLiteral("copy.conf"))))
            qFatal("the settings have not reached the disk");
        return m_folder.filePath(QStringLiteral("copy.conf"));
    }

    QTemporaryDir m_folder;
    QSettings m_copy;
};

} // namespace vok::test_support
