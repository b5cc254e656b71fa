#include "support/temp_tree.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

using namespace Qt::Literals::StringLiterals;

namespace vok::test_support
{
namespace
{

void require(bool condition, const QString& what)
{
    if (!condition)
        qFatal("cannot set up the test: %s", qUtf8Printable(what));
}

std::filesystem::path native(const QString& path)
{
    return {path.toStdString()};
}

QString shownName(const std::filesystem::directory_entry& entry, const std::filesystem::path& root)
{
    const QString name = QString::fromStdString(entry.path().lexically_relative(root).string());
    if (entry.is_symlink())
        return name + u'@';
    return entry.is_directory() ? name + u'/' : name;
}

} // namespace

TempTree::TempTree()
{
    require(m_directory.isValid(), u"temporary directory"_s);
}

TempTree::~TempTree()
{
    // Qt's own removal leaves names behind that are no Unicode text.
    std::error_code ignored;
    std::filesystem::remove_all(native(m_directory.path()), ignored);
}

QString TempTree::path(const QString& relative) const
{
    return relative.isEmpty() ? m_directory.path() : m_directory.filePath(relative);
}

QString TempTree::makeDirectory(const QString& relative) const
{
    require(QDir().mkpath(path(relative)), relative);
    return path(relative);
}

QString TempTree::write(const QString& relative, const QByteArray& content) const
{
    makeDirectory(QFileInfo(relative).path());
    QFile file(path(relative));
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), relative);
    return file.fileName();
}

QByteArray TempTree::read(const QString& relative) const
{
    QFile file(path(relative));
    require(file.open(QIODevice::ReadOnly), relative);
    return file.readAll();
}

bool TempTree::exists(const QString& relative) const
{
    return std::filesystem::exists(std::filesystem::symlink_status(native(path(relative))));
}

void TempTree::remove(const QString& relative) const
{
    require(std::filesystem::remove_all(native(path(relative))) > 0, relative);
}

void TempTree::link(const QString& target, const QString& relative) const
{
    makeDirectory(QFileInfo(relative).path());
    std::filesystem::create_symlink(native(target), native(path(relative)));
}

void TempTree::makePipe(const QString& relative) const
{
    makeDirectory(QFileInfo(relative).path());
    require(::mkfifo(QFile::encodeName(path(relative)).constData(), 0600) == 0, relative);
}

void TempTree::writeRawName(const QString& relative, const QByteArray& bytes, const QByteArray& content) const
{
    std::ofstream file(native(makeDirectory(relative)) / bytes.toStdString(), std::ios::binary);
    file.write(content.constData(), content.size());
    require(file.good(), relative);
}

QStringList TempTree::listing(const QString& relative) const
{
    QStringList names;
    const std::filesystem::path root = native(path(relative));
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
        names.append(shownName(entry, root));
    names.sort();
    return names;
}

QMap<QString, QByteArray> TempTree::contents(const QString& relative) const
{
    QMap<QString, QByteArray> files;
    const QDir root(path(relative));
    for (const QString& name : listing(relative)) {
        if (!name.endsWith(u'/') && !name.endsWith(u'@'))
            files.insert(name, read(relative.isEmpty() ? name : relative + u'/' + name));
    }
    return files;
}

QByteArray sha256Of(const QByteArray& content)
{
    return QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex();
}

} // namespace vok::test_support
