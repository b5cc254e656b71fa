#include "assets/safe_files.h"
#include "support/failure_of.h"
#include "support/swapper.h"
#include "support/temp_tree.h"

#include <QDir>
#include <QProcess>
#include <QTest>

#include <sys/inotify.h>
#include <sys/stat.h>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_assets;
using namespace vok::test_support;

class TestSafeFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void normalisesARootTheUserChose();
    void refusesAnEmptyRootAndOneWithNul();
    void refusesRootsThatLieInEachOther_data();
    void refusesRootsThatLieInEachOther();
    void opensRealDirectoriesOnly();
    void makesDirectoriesWithTheirParents();
    void refusesToMakeADirectoryWhereAFileStands();
    void opensRegularFilesOnly_data();
    void opensRegularFilesOnly();
    void reachesAFileThroughALinkedParent();
    void refusesADevice();
    void refusesAPipeWithoutOpeningIt();
    void neverHandsOutAnythingButAFileHoweverNamesAreSwapped();
    void refusesAParentThatIsNoDirectory();
    void createsAFileOnlyWhereNoneIs();
    void everyStepRefusesAfterTheDeadline();
    void locksAtOnceOrNotAtAll();
    void locksAcrossProcessesAndNotThroughChildren();
    void keepsAndReusesTheLockFile();
    void refusesALinkAsLockFile();
    void renamesDurablyOrThrowsTheMessage();
};

namespace
{

const QDeadlineTimer kForever(QDeadlineTimer::Forever);
const QDeadlineTimer kPassed(0);

FileHandle openedForReading(const QString& path)
{
    return openSafe(path, Access::Read, Disposition::OpenExisting, kForever, Sharing::Read);
}

} // namespace

void TestSafeFiles::normalisesARootTheUserChose()
{
    QCOMPARE(normalizedRoot(u"/a/./b//c/../d/"_s), u"/a/b/d"_s);
    QCOMPARE(normalizedRoot(u"game"_s), QDir::currentPath() + u"/game"_s);
    QCOMPARE(normalizedRoot(u"/"_s), u"/"_s);
}

void TestSafeFiles::refusesAnEmptyRootAndOneWithNul()
{
    QCOMPARE(failureOf([] { normalizedRoot({}); }), u"A source and installation directory must be selected"_s);
    QCOMPARE(failureOf([] { normalizedRoot(u"/a"_s + QChar(u'\0')); }), u"NUL in filesystem path"_s);
}

void TestSafeFiles::refusesRootsThatLieInEachOther_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("installation");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("apart") << u"/game"_s << u"/store"_s << true;
    QTest::newRow("alike but apart") << u"/game"_s << u"/game2"_s << true;
    QTest::newRow("equal") << u"/game"_s << u"/game"_s << false;
    QTest::newRow("equal but for case") << u"/Game"_s << u"/gAME"_s << false;
    QTest::newRow("source in installation") << u"/store/x"_s << u"/store"_s << false;
    QTest::newRow("installation in source") << u"/game"_s << u"/game/store"_s << false;
    QTest::newRow("drive letters and case") << u"C:/Game"_s << u"c:/game/assets"_s << false;
    QTest::newRow("kept source") << u"/store/sources/x"_s << u"/store"_s << true;
    QTest::newRow("kept source in other case") << u"/STORE/Sources/x"_s << u"/store"_s << true;
    QTest::newRow("beside the kept sources") << u"/store/sourcesx"_s << u"/store"_s << false;
    QTest::newRow("the kept sources as a whole") << u"/store/sources"_s << u"/store"_s << false;
    QTest::newRow("source is a file system root") << u"/"_s << u"/store"_s << false;
    QTest::newRow("installation is a file system root") << u"/game"_s << u"/"_s << false;
}

void TestSafeFiles::refusesRootsThatLieInEachOther()
{
    QFETCH(QString, source);
    QFETCH(QString, installation);
    QFETCH(bool, accepted);
    QCOMPARE(
        failureOf([&] { rejectOverlap(source, installation); }),
        accepted ? QString() : u"Source and installation directories must not overlap"_s);
}

void TestSafeFiles::opensRealDirectoriesOnly()
{
    const TempTree tree;
    tree.makeDirectory(u"real"_s);
    tree.write(u"file"_s, "");
    tree.link(u"real"_s, u"link"_s);
    const auto failureFor = [&](const QString& name, bool allowLink) {
        return failureOf([&] { requireRoot(tree.path(name), false, allowLink, kForever); });
    };
    const auto refusal = [&](const QString& name) { return u"Unsafe or unreadable directory "_s + tree.path(name); };
    QCOMPARE(failureFor(u"real"_s, false), QString());
    QCOMPARE(failureFor(u"link"_s, true), QString());
    QCOMPARE(failureFor(u"link"_s, false), refusal(u"link"_s));
    QCOMPARE(failureFor(u"file"_s, true), refusal(u"file"_s));
    QCOMPARE(failureFor(u"absent"_s, true), refusal(u"absent"_s));
    QCOMPARE(failureOf([&] { requireDirectory(tree.path(u"link"_s), false, kForever); }), refusal(u"link"_s));
    const Directory root = requireDirectory(tree.path(), false, kForever);
    QCOMPARE(failureOf([&] { requireDirectoryIn(root, u"link"_s, true, kForever); }), refusal(u"link"_s));
    QCOMPARE(failureOf([&] { requireDirectoryIn(root, u"absent"_s, false, kForever); }), refusal(u"absent"_s));
}

void TestSafeFiles::makesDirectoriesWithTheirParents()
{
    const TempTree tree;
    requireDirectory(tree.path(u"a/b/c"_s), true, kForever);
    QCOMPARE(tree.listing(), (QStringList{u"a/"_s, u"a/b/"_s, u"a/b/c/"_s}));
    requireDirectory(tree.path(u"a/b/c"_s), true, kForever);
    requireDirectoryIn(requireDirectory(tree.path(u"a"_s), false, kForever), u"d"_s, true, kForever);
    QVERIFY(tree.exists(u"a/d"_s));
}

void TestSafeFiles::refusesToMakeADirectoryWhereAFileStands()
{
    const TempTree tree;
    tree.write(u"file"_s, "stays");
    tree.link(u"nowhere"_s, u"dangling"_s);
    for (const QString& name : {u"file"_s, u"file/below"_s, u"dangling"_s}) {
        QCOMPARE(
            failureOf([&] { requireDirectory(tree.path(name), true, kForever); }),
            u"Cannot create asset directory: "_s + tree.path(name));
    }
    QCOMPARE(tree.read(u"file"_s), QByteArray("stays"));
}

void TestSafeFiles::opensRegularFilesOnly_data()
{
    QTest::addColumn<QString>("name");
    for (const char* name : {"link", "dangling", "directory", "pipe", "absent"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void TestSafeFiles::opensRegularFilesOnly()
{
    QFETCH(QString, name);
    const TempTree tree;
    tree.write(u"file"_s, "content");
    tree.link(u"file"_s, u"link"_s);
    tree.link(u"nowhere"_s, u"dangling"_s);
    tree.makeDirectory(u"directory"_s);
    tree.makePipe(u"pipe"_s);
    QVERIFY(openedForReading(tree.path(u"file"_s)).isValid());
    QCOMPARE(failureOf([&] { openedForReading(tree.path(name)); }), u"Unsafe or unreadable file "_s + tree.path(name));
    if (name != u"absent"_s) {
        QCOMPARE(
            failureOf([&] {
                openSafe(tree.path(name), Access::ReadWrite, Disposition::OpenAlways, kForever, Sharing::ReadWrite);
            }),
            u"Unsafe or unreadable file "_s + tree.path(name));
    }
    QVERIFY(!tree.exists(u"nowhere"_s));
}

void TestSafeFiles::reachesAFileThroughALinkedParent()
{
    const TempTree tree;
    tree.write(u"real/file"_s, "content");
    tree.link(u"real"_s, u"link"_s);
    QVERIFY(openedForReading(tree.path(u"link/file"_s)).isValid());
}

void TestSafeFiles::refusesADevice()
{
    QCOMPARE(failureOf([] { openedForReading(u"/dev/null"_s); }), u"Unsafe or unreadable file /dev/null"_s);
}

void TestSafeFiles::refusesAPipeWithoutOpeningIt()
{
    const TempTree tree;
    tree.makePipe(u"pipe"_s);
    tree.write(u"file"_s, "");
    const FileHandle openings(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    for (const QString& name : {u"pipe"_s, u"file"_s})
        QVERIFY(
            ::inotify_add_watch(
                static_cast<int>(openings.value()), QFile::encodeName(tree.path(name)).constData(), IN_OPEN)
            > 0);
    QByteArray events(4096, '\0');
    QVERIFY(!failureOf([&] { openedForReading(tree.path(u"pipe"_s)); }).isEmpty());
    QCOMPARE(readBlock(openings, events.data(), events.size()), -1);
    // The watch does see an opening.
    QVERIFY(openedForReading(tree.path(u"file"_s)).isValid());
    QVERIFY(readBlock(openings, events.data(), events.size()) > 0);
}

void TestSafeFiles::neverHandsOutAnythingButAFileHoweverNamesAreSwapped()
{
    const TempTree tree;
    tree.write(u"name"_s, "content");
    tree.makePipe(u"other"_s);
    const Swapper swapper(tree.path(u"name"_s), tree.path(u"other"_s));
    const Directory root = requireDirectory(tree.path(), false, kForever);
    // The moment between the look and the opening is short: many tries make it sure to be hit.
    constexpr int kTries = 30000;
    int files = 0;
    int refusals = 0;
    while (files < kTries || refusals < kTries) {
        EntryKind kind = EntryKind::Absent;
        const QString failure = failureOf([&] {
            kind = informationOf(
                       openSafeIn(root, u"name"_s, Access::Read, Disposition::OpenExisting, kForever, Sharing::Read))
                       ->kind;
        });
        if (failure.isEmpty())
            QCOMPARE(kind, EntryKind::File);
        else
            QCOMPARE(failure, u"Unsafe or unreadable file "_s + tree.path(u"name"_s));
        (failure.isEmpty() ? files : refusals) += 1;
    }
}

void TestSafeFiles::refusesAParentThatIsNoDirectory()
{
    const TempTree tree;
    tree.write(u"file"_s, "");
    for (const QString& name : {u"file/below"_s, u"absent/below"_s}) {
        QCOMPARE(
            failureOf([&] { openedForReading(tree.path(name)); }),
            u"Unsafe or unreadable directory for "_s + tree.path(name));
    }
}

void TestSafeFiles::createsAFileOnlyWhereNoneIs()
{
    const TempTree tree;
    tree.write(u"old"_s, "old");
    const auto create = [&](const QString& name) {
        openSafe(tree.path(name), Access::Write, Disposition::CreateNew, kForever, Sharing::None);
    };
    create(u"new"_s);
    QCOMPARE(tree.read(u"new"_s), QByteArray());
    QCOMPARE(failureOf([&] { create(u"old"_s); }), u"Unsafe or unreadable file "_s + tree.path(u"old"_s));
    QCOMPARE(tree.read(u"old"_s), QByteArray("old"));
}

void TestSafeFiles::everyStepRefusesAfterTheDeadline()
{
    const TempTree tree;
    const QString file = tree.write(u"file"_s, "content");
    const Directory root = requireDirectory(tree.path(), false, kForever);
    const QString expired = u"Asset import deadline expired"_s;
    throwIfExpired(kForever);
    QCOMPARE(failureOf([] { throwIfExpired(kPassed); }), expired);
    QCOMPARE(failureOf([&] { requireDirectory(tree.path(u"new"_s), true, kPassed); }), expired);
    QCOMPARE(failureOf([&] { requireDirectoryIn(root, u"new"_s, true, kPassed); }), expired);
    QCOMPARE(failureOf([&] { requireRoot(tree.path(), false, true, kPassed); }), expired);
    QCOMPARE(
        failureOf([&] { openSafe(file, Access::Read, Disposition::OpenExisting, kPassed, Sharing::Read); }), expired);
    QCOMPARE(failureOf([&] { lockRoot(root, true, kPassed); }), expired);
    QCOMPARE(
        failureOf([&] {
            FileHandle source = openedForReading(file);
            FileHandle nowhere;
            hashFile(source, nowhere, u"file"_s, kPassed);
        }),
        expired);
    QCOMPARE(tree.listing(), QStringList{u"file"_s});
}

void TestSafeFiles::locksAtOnceOrNotAtAll()
{
    const TempTree tree;
    const Directory root = requireDirectory(tree.path(), false, kForever);
    const auto failureFor = [&](bool exclusive) { return failureOf([&] { lockRoot(root, exclusive, kForever); }); };
    const QString busy = u"Another asset operation is running"_s;
    {
        const FileHandle exclusive = lockRoot(root, true, kForever);
        QCOMPARE(failureFor(true), busy);
        QCOMPARE(failureFor(false), busy);
    }
    const FileHandle shared = lockRoot(root, false, kForever);
    QCOMPARE(failureFor(false), QString());
    QCOMPARE(failureFor(true), busy);
}

void TestSafeFiles::locksAcrossProcessesAndNotThroughChildren()
{
    const TempTree tree;
    const Directory root = requireDirectory(tree.path(), false, kForever);
    const auto lockedByAnotherProcess = [&] {
        return QProcess::execute(u"flock"_s, {u"-n"_s, tree.path(u".asset-import.lock"_s), u"true"_s}) == 0;
    };
    QProcess child;
    {
        const FileHandle lock = lockRoot(root, true, kForever);
        QVERIFY(!lockedByAnotherProcess());
        child.start(u"sleep"_s, {u"60"_s});
        QVERIFY(child.waitForStarted());
    }
    // The child lives on; were the lock's handle in it, the lock would still be held.
    QVERIFY(lockedByAnotherProcess());
    QCOMPARE(failureOf([&] { lockRoot(root, true, kForever); }), QString());
    child.kill();
    QVERIFY(child.waitForFinished());
}

void TestSafeFiles::keepsAndReusesTheLockFile()
{
    const TempTree tree;
    const Directory root = requireDirectory(tree.path(), false, kForever);
    lockRoot(root, true, kForever).close();
    struct stat first = {};
    struct stat second = {};
    const QByteArray path = tree.path(u".asset-import.lock"_s).toUtf8();
    QCOMPARE(::stat(path.constData(), &first), 0);
    lockRoot(root, false, kForever).close();
    QCOMPARE(::stat(path.constData(), &second), 0);
    QCOMPARE(second.st_ino, first.st_ino);
    QCOMPARE(tree.listing(), QStringList{u".asset-import.lock"_s});
}

void TestSafeFiles::refusesALinkAsLockFile()
{
    const TempTree tree;
    tree.link(u"elsewhere"_s, u".asset-import.lock"_s);
    const Directory root = requireDirectory(tree.path(), false, kForever);
    QCOMPARE(
        failureOf([&] { lockRoot(root, true, kForever); }),
        u"Unsafe or unreadable file "_s + tree.path(u".asset-import.lock"_s));
    QVERIFY(!tree.exists(u"elsewhere"_s));
}

void TestSafeFiles::renamesDurablyOrThrowsTheMessage()
{
    const TempTree tree;
    tree.write(u"stage/a"_s, "new");
    tree.write(u"live/a"_s, "old");
    const Directory stage = requireDirectory(tree.path(u"stage"_s), false, kForever);
    const Directory live = requireDirectory(tree.path(u"live"_s), false, kForever);
    QCOMPARE(
        failureOf([&] {
            commitRename({stage, u"a"_s}, {live, u"a"_s}, false, u"the message"_s);
        }),
        u"the message"_s);
    QCOMPARE(tree.read(u"live/a"_s), QByteArray("old"));
    QCOMPARE(tree.read(u"stage/a"_s), QByteArray("new"));
    commitRename({stage, u"a"_s}, {live, u"a"_s}, true, u"the message"_s);
    QCOMPARE(tree.read(u"live/a"_s), QByteArray("new"));
    QCOMPARE(
        failureOf([&] {
            commitRename({stage, u"a"_s}, {live, u"b"_s}, false, u"the message"_s);
        }),
        u"the message"_s);
    QVERIFY(!tree.exists(u"live/b"_s));
}

QTEST_GUILESS_MAIN(TestSafeFiles)
#include "test_safe_files.moc"
