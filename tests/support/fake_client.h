/// The stand-in for the game client, beside the test program.
#pragma once

#include "support/temp_tree.h"

#include <QCoreApplication>
#include <QFile>
#include <QStringList>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vok::test_support
{

/// `bytes` as the steps of its script take them.
inline QString hex(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex());
}

/// Puts VOK_FAKE_CLIENT beside this program under the name of the client, and takes it away with all that it left. The
/// program must stand in a folder of its own. The steps of its script are told in fake_client_main.cpp.
class FakeClient
{
public:
    explicit FakeClient(const QStringList& script = {})
    {
        if (!QFile::link(QStringLiteral(VOK_FAKE_CLIENT), path(QStringLiteral("vok-client"))))
            qFatal("no client beside the test program");
        setScript(script);
    }
    ~FakeClient()
    {
        for (const char* name : {"vok-client", "script", "gate", "arguments", "cmdline", "environment", "session"})
            QFile::remove(path(QString::fromLatin1(name)));
    }
    Q_DISABLE_COPY_MOVE(FakeClient)

    /// What it does at its next start. A script that waits does so at "gate".
    void setScript(const QStringList& steps) const
    {
        QFile file(path(QStringLiteral("script")));
        if (!file.open(QIODevice::WriteOnly) || file.write(steps.join(u'\n').toUtf8()) < 0)
            qFatal("no script for the client");
        ::mkfifo(QFile::encodeName(path(QStringLiteral("gate"))).constData(), 0600);
    }

    /// Whether it waited at its gate and goes on now. Once it does, this stays true.
    bool passGate() const
    {
        if (m_isGatePassed)
            return true;
        const int gate =
            ::open(QFile::encodeName(path(QStringLiteral("gate"))).constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        m_isGatePassed = gate >= 0;
        if (m_isGatePassed)
            ::close(gate);
        return m_isGatePassed;
    }

    bool hasKept(const char* name) const { return QFile::exists(path(QString::fromLatin1(name))); }
    QByteArray kept(const char* name) const
    {
        QFile file(path(QString::fromLatin1(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QStringList arguments() const
    {
        QStringList texts = QString::fromUtf8(kept("arguments")).split(QChar(u'\0'));
        texts.removeLast();
        return texts;
    }

    static QString path(const QString& name) { return QCoreApplication::applicationDirPath() + u'/' + name; }

private:
    mutable bool m_isGatePassed = false;
};

} // namespace vok::test_support
