/// For a test of what the launcher looks for beside itself.
#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>

#include <unistd.h>

#include <cstdlib>

namespace vok::test_support
{

/// Lets the test program go on as a copy in a temporary folder of its own, so that what a test puts beside it is nobody
/// else's. To be made first of all in main(); removes the folder at its end.
class OwnFolder
{
public:
    explicit OwnFolder(char** argv)
        : m_path(qEnvironmentVariable(kVariable))
    {
        if (m_path.isEmpty())
            goOnInCopy(argv);
        qunsetenv(kVariable);
    }
    ~OwnFolder() { QDir(m_path).removeRecursively(); }
    Q_DISABLE_COPY_MOVE(OwnFolder)

private:
    static constexpr const char* kVariable = "VOK_TEST_OWN_FOLDER";

    [[noreturn]] static void goOnInCopy(char** argv)
    {
        QByteArray folder = QFile::encodeName(QDir::tempPath()) + "/vok-test-XXXXXX";
        if (::mkdtemp(folder.data()) == nullptr)
            qFatal("no folder for the test program");
        const QByteArray program = folder + "/test";
        if (!QFile::copy(QStringLiteral("/proc/self/exe"), QFile::decodeName(program)))
            qFatal("the test program cannot be copied");
        QFile::setPermissions(QFile::decodeName(program), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv(kVariable, folder);
        ::execv(program.constData(), argv);
        qFatal("the copy of the test program does not start");
    }

    QString m_path;
};

} // namespace vok::test_support
