#include "assets/safe_files.h"
#include "support/failure_of.h"
#include "support/temp_tree.h"

#include <QFile>
#include <QTest>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <thread>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_assets;
using namespace vok::test_support;

class TestHashFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hashesAndCopiesInOnePass_data();
    void hashesAndCopiesInOnePass();
    void refusesAFileAboveTheLimit();
    void refusesAFileThatChangesWhileRead_data();
    void refusesAFileThatChangesWhileRead();
    void refusesAFileThatGrowsPastTheLimitWhileRead();
    void reportsEveryFailedTransfer();
    void stopsWithinABlockOnceTheDeadlineHasPassed();
};

namespace
{

const QDeadlineTimer kForever(QDeadlineTimer::Forever);

FileHandle opened(const QString& path, int flags)
{
    return FileHandle(::open(QFile::encodeName(path).constData(), flags | O_CLOEXEC));
}

FileHandle openedForReading(const QString& path)
{
    return openSafe(path, Access::Read, Disposition::OpenExisting, kForever, Sharing::Read);
}

HashResult hashOnly(FileHandle source, const QString& name = u"name"_s)
{
    FileHandle nowhere;
    return hashFile(source, nowhere, name, kForever);
}

/// Both ends of a pipe. A copy into it stops when the pipe is full, so that a test can act in the middle of a reading.
struct Pipe
{
    FileHandle readEnd;
    FileHandle writeEnd;

    Pipe()
    {
        std::array<int, 2> ends = {-1, -1};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            qFatal("no pipe");
        readEnd = FileHandle(ends[0]);
        writeEnd = FileHandle(ends[1]);
    }

    void waitUntilFull() const
    {
        const auto capacity = ::fcntl(static_cast<int>(readEnd.value()), F_GETPIPE_SZ);
        int held = 0;
        while (held < capacity)
            if (::ioctl(static_cast<int>(readEnd.value()), FIONREAD, &held) != 0)
                qFatal("no count of the pipe's bytes");
    }

    void drain() const
    {
        QByteArray block(65536, '\0');
        while (readBlock(readEnd, block.data(), block.size()) > 0) {
        }
    }
};

/// The failure of a hashFile() during which, with the reading under way, `act` is run.
template <typename Act> QString failureWhileReading(const QString& path, qint64 mostBytes, Act act)
{
    Pipe pipe;
    QString failure;
    std::thread reader([&] {
        failure = failureOf([&] {
            FileHandle source = openedForReading(path);
            hashFile(source, pipe.writeEnd, u"name"_s, kForever, mostBytes);
        });
        pipe.writeEnd.close();
    });
    pipe.waitUntilFull();
    act();
    pipe.drain();
    reader.join();
    return failure;
}

} // namespace

void TestHashFile::hashesAndCopiesInOnePass_data()
{
    QTest::addColumn<qint64>("size");
    for (const qint64 size : {qint64(0), qint64(1), kBlockBytes - 1, kBlockBytes, kBlockBytes + 1, 3 * kBlockBytes})
        QTest::addRow("%lld bytes", static_cast<long long>(size)) << size;
}

void TestHashFile::hashesAndCopiesInOnePass()
{
    QFETCH(qint64, size);
    const TempTree tree;
    QByteArray content(size, '\0');
    for (qint64 i = 0; i < size; ++i)
        content[i] = static_cast<char>(i * 7 + i / 1000);
    FileHandle source = openedForReading(tree.write(u"source"_s, content));
    FileHandle copy = openSafe(tree.path(u"copy"_s), Access::Write, Disposition::CreateNew, kForever, Sharing::None);
    const HashResult result = hashFile(source, copy, u"source"_s, kForever);
    QCOMPARE(result.size, size);
    QCOMPARE(result.sha256, sha256Of(content));
    QCOMPARE(tree.read(u"copy"_s), content);
    QCOMPARE(hashOnly(openedForReading(tree.path(u"source"_s))).sha256, sha256Of(content));
}

void TestHashFile::refusesAFileAboveTheLimit()
{
    const TempTree tree;
    const QString path = tree.write(u"large"_s, "");
    constexpr qint64 kLimit = 17179869184;
    QVERIFY(QFile::resize(path, kLimit + 1));
    QCOMPARE(
        failureOf([&] { hashOnly(openedForReading(path), u"dir/large"_s); }),
        u"Asset file exceeds 16 GiB limit: dir/large"_s);

    FileHandle nowhere;
    FileHandle atLimit = openedForReading(tree.write(u"small"_s, "12345"));
    QCOMPARE(hashFile(atLimit, nowhere, u"small"_s, kForever, 5).size, 5);
    FileHandle aboveLimit = openedForReading(tree.path(u"small"_s));
    QCOMPARE(
        failureOf([&] { hashFile(aboveLimit, nowhere, u"small"_s, kForever, 4); }),
        u"Asset file exceeds 16 GiB limit: small"_s);
}

void TestHashFile::refusesAFileThatChangesWhileRead_data()
{
    QTest::addColumn<QString>("change");
    for (const char* change : {"append", "truncate", "touch", "rewrite"})
        QTest::newRow(change) << QString::fromLatin1(change);
}

void TestHashFile::refusesAFileThatChangesWhileRead()
{
    QFETCH(QString, change);
    const TempTree tree;
    const QString path = tree.write(u"file"_s, QByteArray(1 << 20, 'x'));
    const QString failure = failureWhileReading(path, StoreLimits().fileBytes, [&] {
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        if (change == u"append"_s)
            QVERIFY(file.seek(file.size()) && file.write("y") == 1);
        else if (change == u"truncate"_s)
            QVERIFY(file.resize(file.size() - 1));
        else if (change == u"touch"_s)
            QCOMPARE(::futimens(file.handle(), nullptr), 0);
        else
            QCOMPARE(file.write("x"), 1);
    });
    QCOMPARE(failure, u"Asset changed while reading: name"_s);
}

void TestHashFile::refusesAFileThatGrowsPastTheLimitWhileRead()
{
    const TempTree tree;
    constexpr qint64 kSize = 1 << 20;
    const QString path = tree.write(u"file"_s, QByteArray(kSize, 'x'));
    const QString failure = failureWhileReading(path, kSize, [&] {
        QFile file(path);
        QVERIFY(file.open(QIODevice::Append) && file.write("y") == 1);
    });
    QCOMPARE(failure, u"Growing asset exceeds file limit: name"_s);
}

void TestHashFile::reportsEveryFailedTransfer()
{
    const TempTree tree;
    const QString path = tree.write(u"file"_s, "content");
    const auto failureWith = [&](FileHandle source, FileHandle destination) {
        return failureOf([&] { hashFile(source, destination, u"dir/name"_s, kForever); });
    };
    QCOMPARE(failureWith({}, {}), u"Unsafe file dir/name"_s);
    QCOMPARE(failureWith(opened(path, O_WRONLY), {}), u"Cannot read asset dir/name"_s);
    QCOMPARE(failureWith(opened(path, O_RDONLY), opened(u"/dev/full"_s, O_WRONLY)), u"Cannot write asset dir/name"_s);
    // A pipe takes the bytes, but it cannot be flushed.
    Pipe pipe;
    QCOMPARE(failureWith(opened(path, O_RDONLY), std::move(pipe.writeEnd)), u"Cannot sync copied asset dir/name"_s);
    QCOMPARE(
        failureOf([&] { writeAll(opened(u"/dev/full"_s, O_WRONLY), "bytes", u"the message"_s, kForever); }),
        u"the message"_s);
}

void TestHashFile::stopsWithinABlockOnceTheDeadlineHasPassed()
{
    const TempTree tree;
    const QString path = tree.write(u"file"_s, QByteArray(1 << 20, 'x'));
    Pipe pipe;
    QString failure;
    const QDeadlineTimer soon(200);
    std::thread reader([&] {
        failure = failureOf([&] {
            FileHandle source = openedForReading(path);
            hashFile(source, pipe.writeEnd, u"name"_s, soon);
        });
        pipe.writeEnd.close();
    });
    pipe.waitUntilFull();
    while (!soon.hasExpired())
        std::this_thread::yield();
    pipe.drain();
    reader.join();
    QCOMPARE(failure, u"Asset import deadline expired"_s);
}

QTEST_APPLESS_MAIN(TestHashFile)
#include "test_hash_file.moc"
