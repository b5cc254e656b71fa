/// A folder for one test: files in, files out.
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace vok::test_support
{

/// A temporary folder with short ways to fill it and to look at it. Every failure of its own ends the test program,
/// because a test that could not be set up proves nothing.
class TempTree
{
public:
    TempTree();
    ~TempTree();
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    QString path(const QString& relative = {}) const;
    /// Makes `relative` with its parents.
    QString makeDirectory(const QString& relative) const;
    QString write(const QString& relative, const QByteArray& content) const;
    QByteArray read(const QString& relative) const;
    bool exists(const QString& relative) const;
    void remove(const QString& relative) const;
    void link(const QString& target, const QString& relative) const;
    /// A named pipe.
    void makePipe(const QString& relative) const;
    /// A file whose name is `bytes`, which need not be valid UTF-8, in the directory `relative`.
    void writeRawName(const QString& relative, const QByteArray& bytes, const QByteArray& content) const;

    /// All files and directories below `relative`, sorted, directories with a trailing separator, links with "@".
    QStringList listing(const QString& relative = {}) const;
    /// The files below `relative` with their contents.
    QMap<QString, QByteArray> contents(const QString& relative = {}) const;

private:
    QTemporaryDir m_directory;
};

/// SHA-256 by Qt's own class, 64 lower-case hexadecimal characters.
QByteArray sha256Of(const QByteArray& content);

} // namespace vok::test_support
