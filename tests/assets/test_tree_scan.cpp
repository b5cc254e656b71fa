#include "assets/tree_scan.h"
#include "support/archive_builder.h"
#include "support/failure_of.h"
#include "support/swapper.h"
#include "support/temp_tree.h"

#include <QFile>
#include <QTest>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_assets;
using namespace vok::test_support;

class TestTreeScan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void takesStockOfATree();
    void refusesAnythingButFilesAndDirectories_data();
    void refusesAnythingButFilesAndDirectories();
    void refusesUnportableNames_data();
    void refusesUnportableNames();
    void takesNamesThatOnlyLookOdd();
    void refusesNamesThatAFileSystemCouldMix_data();
    void refusesNamesThatAFileSystemCouldMix();
    void refusesADirectoryThatCannotBeListed();
    void refusesAFileThatCannotBeRead();
    void refusesARootThatIsALink();
    void neverReadsBehindALinkHoweverNamesAreSwapped();
    void boundsTheDepth();
    void boundsEntriesPathsAndBytes_data();
    void boundsEntriesPathsAndBytes();
    void comesToTheSameRefusalHoweverManyNamesFollow();
    void refusesAfterTheDeadline();
    void leavesArchivesAloneUnlessAsked();
    void recognisesTheOriginalsArchives_data();
    void recognisesTheOriginalsArchives();
    void refusesABrokenArchiveOnlyWhenInspecting_data();
    void refusesABrokenArchiveOnlyWhenInspecting();
    void readsAnArchiveLargerThanItsReadAhead();
};

namespace
{

const QDeadlineTimer kForever(QDeadlineTimer::Forever);

TreeInventory scanned(const TempTree& tree, bool inspectArchives = false, const StoreLimits& limits = {})
{
    TreeInventory inventory;
    scanTree(tree.path(), QString(), 0, inventory, inspectArchives, kForever, limits);
    return inventory;
}

QString failureFor(const TempTree& tree, bool inspectArchives = false, const StoreLimits& limits = {})
{
    return failureOf([&] { scanned(tree, inspectArchives, limits); });
}

QByteArray archive(const ArchiveBuilder& builder)
{
    return QByteArray::fromStdString(builder.build());
}

void makeSocket(const QString& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const QByteArray bytes = QFile::encodeName(path);
    QVERIFY(bytes.size() < qsizetype(sizeof(address.sun_path)));
    std::memcpy(static_cast<void*>(address.sun_path), bytes.constData(), static_cast<size_t>(bytes.size()));
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    QCOMPARE(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(socket);
}

} // namespace

void TestTreeScan::takesStockOfATree()
{
    const TempTree tree;
    tree.write(u"b.txt"_s, "12345");
    tree.write(u"dir/İç/a.bin"_s, "abc");
    tree.write(u".hidden"_s, "");
    tree.makeDirectory(u"dir/empty"_s);
    const TreeInventory inventory = scanned(tree, true);
    QCOMPARE(
        inventory.files, (Manifest{
                             {u".hidden"_s, {0, sha256Of({})}},
                             {u"b.txt"_s, {5, sha256Of("12345")}},
                             {u"dir/İç/a.bin"_s, {3, sha256Of("abc")}}}));
    QCOMPARE(inventory.entryCount, 6);
    QCOMPARE(inventory.totalBytes, 8);
    const QStringList paths = {u".hidden"_s, u"b.txt"_s, u"dir"_s, u"dir/empty"_s, u"dir/İç"_s, u"dir/İç/a.bin"_s};
    QCOMPARE(inventory.pathBytes, paths.join(QString()).toUtf8().size());
    QCOMPARE(inventory.portableKeys.size(), 6);
    QVERIFY(!inventory.foundOriginalArchive);
}

void TestTreeScan::refusesAnythingButFilesAndDirectories_data()
{
    QTest::addColumn<QString>("what");
    for (const char* what : {"link to a file", "link to a directory", "dangling link", "pipe", "socket"})
        QTest::newRow(what) << QString::fromLatin1(what);
}

void TestTreeScan::refusesAnythingButFilesAndDirectories()
{
    QFETCH(QString, what);
    const TempTree tree;
    tree.write(u"dir/file"_s, "content");
    const QString name = u"dir/x"_s;
    if (what == u"link to a file"_s)
        tree.link(u"file"_s, name);
    else if (what == u"link to a directory"_s)
        tree.link(u"../dir"_s, name);
    else if (what == u"dangling link"_s)
        tree.link(u"absent"_s, name);
    else if (what == u"pipe"_s)
        tree.makePipe(name); // opened for reading, it would keep the walk waiting for ever
    else
        makeSocket(tree.path(name));
    QCOMPARE(failureFor(tree), u"Symlinks and special files are not allowed: dir/x"_s);
}

void TestTreeScan::refusesUnportableNames_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("shown");
    QTest::newRow("backslash") << "a\\b"_ba << u"dir/a\\b"_s;
    QTest::newRow("colon") << "c:a"_ba << u"dir/c:a"_s;
    QTest::newRow("tab") << "a\tb"_ba << u"dir/a\tb"_s;
    QTest::newRow("delete") << "a\x7f"_ba << u"dir/a\u007f"_s;
    QTest::newRow("not UTF-8") << "\xc4s\xff"_ba << u"dir/\ufffds\ufffd"_s;
    QTest::newRow("Latin-1 letter") << "m\xfcze"_ba << u"dir/m\ufffdze"_s;
}

void TestTreeScan::refusesUnportableNames()
{
    QFETCH(QByteArray, name);
    QFETCH(QString, shown);
    const TempTree tree;
    tree.write(u"dir/a"_s, "content");
    tree.writeRawName(u"dir"_s, name, "content");
    QCOMPARE(failureFor(tree), u"Unsafe asset path "_s + shown);
}

void TestTreeScan::takesNamesThatOnlyLookOdd()
{
    const TempTree tree;
    for (const QString& name : {u"..."_s, u"a. "_s, u"con"_s, u"\ufeffmark"_s, u"\u0080"_s, u"😀"_s})
        tree.write(name, name.toUtf8());
    QCOMPARE(
        scanned(tree).files.keys(), (QStringList{u"..."_s, u"a. "_s, u"con"_s, u"\u0080"_s, u"😀"_s, u"\ufeffmark"_s}));
}

void TestTreeScan::refusesNamesThatAFileSystemCouldMix_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    QTest::newRow("case") << u"A.txt"_s << u"a.TXT"_s;
    QTest::newRow("case of directories") << u"Dir/a"_s << u"dir/b"_s;
    QTest::newRow("file and directory") << u"NAME"_s << u"name/b"_s;
    QTest::newRow("composition") << u"e\u0301"_s << u"\u00e9"_s;
    QTest::newRow("case beyond ASCII") << u"Ş"_s << u"ş"_s;
}

void TestTreeScan::refusesNamesThatAFileSystemCouldMix()
{
    QFETCH(QString, first);
    QFETCH(QString, second);
    const TempTree tree;
    tree.write(first, "1");
    tree.write(second, "2");
    // The one that comes second in the walk is the one that is told.
    QCOMPARE(failureFor(tree), u"Colliding portable asset path "_s + second.section(u'/', 0, 0));
}

void TestTreeScan::refusesADirectoryThatCannotBeListed()
{
    const TempTree tree;
    const QString locked = tree.makeDirectory(u"dir/locked"_s);
    QVERIFY(QFile::setPermissions(locked, QFileDevice::ExeOwner));
    const QString failure = failureFor(tree);
    QVERIFY(QFile::setPermissions(locked, QFileDevice::ExeOwner | QFileDevice::ReadOwner | QFileDevice::WriteOwner));
    QCOMPARE(failure, u"Unsafe or unreadable directory "_s + locked);
}

void TestTreeScan::refusesAFileThatCannotBeRead()
{
    const TempTree tree;
    const QString locked = tree.write(u"dir/locked"_s, "content");
    QVERIFY(QFile::setPermissions(locked, QFileDevice::WriteOwner));
    QCOMPARE(failureFor(tree), u"Unsafe or unreadable file "_s + locked);
}

void TestTreeScan::refusesARootThatIsALink()
{
    const TempTree tree;
    tree.write(u"real/file"_s, "content");
    tree.link(u"real"_s, u"link"_s);
    TreeInventory inventory;
    QCOMPARE(
        failureOf([&] { scanTree(tree.path(u"link"_s), QString(), 0, inventory, false, kForever); }),
        u"Unsafe or unreadable directory "_s + tree.path(u"link"_s));
}

void TestTreeScan::neverReadsBehindALinkHoweverNamesAreSwapped()
{
    const TempTree tree;
    tree.write(u"outside/file"_s, "outside");
    tree.write(u"root/name/file"_s, "inside");
    tree.link(tree.path(u"outside"_s), u"spare"_s);
    const Swapper swapper(tree.path(u"root/name"_s), tree.path(u"spare"_s));
    int scans = 0;
    int refusals = 0;
    while (scans < 10000 || refusals < 10000) {
        TreeInventory inventory;
        const QString failure =
            failureOf([&] { scanTree(tree.path(u"root"_s), QString(), 0, inventory, false, kForever); });
        (failure.isEmpty() ? scans : refusals) += 1;
        for (const ManifestEntry& entry : std::as_const(inventory.files))
            QCOMPARE(entry.sha256, sha256Of("inside"));
    }
}

void TestTreeScan::boundsTheDepth()
{
    const TempTree tree;
    const QString deepest = QStringList(48, u"d"_s).join(u'/');
    tree.makeDirectory(deepest);
    QCOMPARE(scanned(tree).entryCount, 48);
    tree.makeDirectory(deepest + u"/d"_s);
    QCOMPARE(failureFor(tree), u"Unsafe asset path "_s + deepest + u"/d"_s);

    const TempTree flat;
    flat.write(u"file"_s, "content");
    TreeInventory inventory;
    scanTree(flat.path(), QString(), 48, inventory, false, kForever);
    QCOMPARE(inventory.files.size(), 1);
    QCOMPARE(
        failureOf([&] { scanTree(flat.path(), QString(), 49, inventory, false, kForever); }),
        u"Asset directory nesting exceeds 48 levels"_s);
}

void TestTreeScan::boundsEntriesPathsAndBytes_data()
{
    QTest::addColumn<qint64>("entries");
    QTest::addColumn<qint64>("pathBytes");
    QTest::addColumn<qint64>("totalBytes");
    QTest::addColumn<qint64>("fileBytes");
    QTest::addColumn<QString>("message");
    // The tree: three entries, "a", "d" and "d/ş", 6 bytes of paths, 3 + 4 bytes of content.
    QTest::newRow("all at the bound") << qint64(3) << qint64(6) << qint64(7) << qint64(4) << QString();
    QTest::newRow("entries") << qint64(2) << qint64(6) << qint64(7) << qint64(4)
                             << u"Asset tree exceeds 200000 entries"_s;
    QTest::newRow("paths") << qint64(3) << qint64(5) << qint64(7) << qint64(4) << u"Asset paths exceed 64 MiB budget"_s;
    QTest::newRow("sum of sizes") << qint64(3) << qint64(6) << qint64(6) << qint64(4)
                                  << u"Asset tree exceeds 128 GiB limit"_s;
    QTest::newRow("one file") << qint64(3) << qint64(6) << qint64(7) << qint64(3)
                              << u"Asset file exceeds 16 GiB limit: d/ş"_s;
}

void TestTreeScan::boundsEntriesPathsAndBytes()
{
    QFETCH(qint64, entries);
    QFETCH(qint64, pathBytes);
    QFETCH(qint64, totalBytes);
    QFETCH(qint64, fileBytes);
    QFETCH(QString, message);
    const TempTree tree;
    tree.write(u"a"_s, "123");
    tree.write(u"d/ş"_s, "1234");
    StoreLimits limits;
    limits.entries = entries;
    limits.pathBytes = pathBytes;
    limits.totalBytes = totalBytes;
    limits.fileBytes = fileBytes;
    QCOMPARE(failureFor(tree, false, limits), message);
}

void TestTreeScan::comesToTheSameRefusalHoweverManyNamesFollow()
{
    StoreLimits limits;
    limits.entries = 3;
    const TempTree tree;
    for (int i = 0; i < 40; ++i)
        tree.write(u"f%1"_s.arg(i, 2, 10, QChar(u'0')), "");
    QCOMPARE(failureFor(tree, false, limits), u"Asset tree exceeds 200000 entries"_s);
    // Names that wait on outer levels give way to those found further in, and the refusal stays the same.
    tree.makeDirectory(u"a/b"_s);
    QCOMPARE(failureFor(tree, false, limits), u"Asset tree exceeds 200000 entries"_s);
    tree.link(u"f00"_s, u"a/b/link"_s);
    QCOMPARE(failureFor(tree, false, limits), u"Symlinks and special files are not allowed: a/b/link"_s);
    tree.remove(u"a"_s);
    // A fault among the first names is told before the number of the others.
    tree.link(u"f00"_s, u"a-link"_s);
    QCOMPARE(failureFor(tree, false, limits), u"Symlinks and special files are not allowed: a-link"_s);
}

void TestTreeScan::refusesAfterTheDeadline()
{
    const TempTree tree;
    TreeInventory inventory;
    QCOMPARE(
        failureOf([&] { scanTree(tree.path(), QString(), 0, inventory, false, QDeadlineTimer(0)); }),
        u"Asset import deadline expired"_s);
}

void TestTreeScan::leavesArchivesAloneUnlessAsked()
{
    const TempTree tree;
    tree.write(u"a.dat"_s, archive(ArchiveBuilder("textures").file("x", "content")));
    QVERIFY(!scanned(tree, false).foundOriginalArchive);
    QVERIFY(scanned(tree, true).foundOriginalArchive);
}

void TestTreeScan::recognisesTheOriginalsArchives_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("original");
    QTest::newRow("textures") << archive(ArchiveBuilder("textures").file("x", "content")) << true;
    QTest::newRow("lightmaps") << archive(ArchiveBuilder("lightmaps").file("x", "content")) << true;
    QTest::newRow("objects") << archive(ArchiveBuilder("objects").enter("sub").file("x", "content")) << true;
    QTest::newRow("an entry without content") << archive(ArchiveBuilder("textures").file("x")) << true;
    QTest::newRow("sounds") << archive(ArchiveBuilder("sounds").file("x", "content")) << false;
    QTest::newRow("a longer name") << archive(ArchiveBuilder("textures2").file("x", "content")) << false;
    QTest::newRow("other case") << archive(ArchiveBuilder("Textures").file("x", "content")) << false;
    QTest::newRow("no files") << archive(ArchiveBuilder("textures")) << false;
    QTest::newRow("no files but a directory") << archive(ArchiveBuilder("textures").enter("sub")) << false;
    QTest::newRow("five bytes of magic") << "QOMB\1"_ba << false;
    QTest::newRow("other magic") << "QOMA" + archive(ArchiveBuilder("textures").file("x")).mid(4) << false;
    QTest::newRow("empty") << QByteArray() << false;
}

void TestTreeScan::recognisesTheOriginalsArchives()
{
    QFETCH(QByteArray, content);
    const TempTree tree;
    tree.write(u"data/file.dat"_s, content);
    const TreeInventory inventory = scanned(tree, true);
    QCOMPARE(inventory.files.value(u"data/file.dat"_s), (ManifestEntry{content.size(), sha256Of(content)}));
    QTEST(inventory.foundOriginalArchive, "original");
}

void TestTreeScan::refusesABrokenArchiveOnlyWhenInspecting_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("message");
    QTest::newRow("six bytes") << "QOMB\1\0"_ba << u"QOMB index exceeds file size or 64 MiB budget"_s;
    QTest::newRow("version") << "QOMB\2\0"_ba << u"unsupported QOMB version (only v1 is supported)"_s;
    QTest::newRow("one byte appended") << archive(ArchiveBuilder("textures").file("x", "content")) + "x"
                                       << u"QOMB payload does not end at exact EOF"_s;
    QTest::newRow("one byte cut off") << archive(ArchiveBuilder("textures").file("x", "content")).chopped(1)
                                      << u"QOMB entry range exceeds EOF"_s;
}

void TestTreeScan::refusesABrokenArchiveOnlyWhenInspecting()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, message);
    const TempTree tree;
    tree.write(u"broken.dat"_s, content);
    QCOMPARE(failureFor(tree, true), message);
    QCOMPARE(failureFor(tree, false), QString());
}

void TestTreeScan::readsAnArchiveLargerThanItsReadAhead()
{
    ArchiveBuilder builder("objects");
    for (int i = 0; i < 2000; ++i)
        builder.file(std::to_string(i), "content");
    const TempTree tree;
    tree.write(u"large.dat"_s, archive(builder));
    QVERIFY(scanned(tree, true).foundOriginalArchive);
}

QTEST_APPLESS_MAIN(TestTreeScan)
#include "test_tree_scan.moc"
