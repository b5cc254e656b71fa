#include "assets/import.h"
#include "assets/manifest.h"
#include "assets/safe_files.h"
#include "assets/staging.h"
#include "assets/verify.h"
#include "support/archive_builder.h"
#include "support/failure_of.h"
#include "support/sample_store.h"
#include "support/swapper.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_assets;
using namespace vok::test_support;

class TestImport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findsTheGamesData_data();
    void findsTheGamesData();
    void refusesDataBehindALink_data();
    void refusesDataBehindALink();
    void makesAStoreThatHoldsTheTreeAndNothingElse();
    void writesAManifestOfEveryFile();
    void makesTheInstallationFolderWithItsParents();
    void acceptsLinksAsRootsThatTheUserChose();
    void acceptsAKeptSourceOfTheInstallation();
    void refusesASourceWithoutTheOriginalsData_data();
    void refusesASourceWithoutTheOriginalsData();
    void refusesBadRoots_data();
    void refusesBadRoots();
    void refusesRootsThatMeetThroughALink();
    void takesNamesThatBeginWithAByteOrderMark();
    void refusesWhereAnyPartOfAStoreStands_data();
    void refusesWhereAnyPartOfAStoreStands();
    void leavesAFinishedStoreUntouched();
    void refusesBesideAnotherOperation();
    void refusesAfterTheDeadline();
    void leavesNothingWhenTheTreeIsUnsafe();
    void ignoresWhatADeadImportLeftBehind();
    void refusesACopyThatDiffersFromTheScan_data();
    void refusesACopyThatDiffersFromTheScan();
    void refusesASourceDirectoryThatBecameALink();
    void neverCopiesFromBehindALinkHoweverNamesAreSwapped();
    void removesItsStageOnEveryExit();
    void refusesAStageInAnUnwritableFolder();
};

namespace
{

const QDeadlineTimer kForever(QDeadlineTimer::Forever);

Directory opened(const QString& path)
{
    return requireRoot(path, false, true, kForever);
}

QStringList importErrors(const QString& source, const QString& root)
{
    const Report report = importTree(source, root, kForever);
    [&] { QVERIFY(report.missing.isEmpty() && report.changed.isEmpty() && report.extra.isEmpty()); }();
    return report.errors;
}

QByteArray validArchive()
{
    return QByteArray::fromStdString(ArchiveBuilder("objects").file("x", "content").build());
}

} // namespace

void TestImport::findsTheGamesData_data()
{
    QTest::addColumn<QStringList>("directories");
    QTest::addColumn<QString>("found");
    QTest::newRow("neither") << QStringList{u"data"_s} << QString();
    QTest::newRow("base") << QStringList{u"base"_s} << u"/base"_s;
    QTest::newRow("app/base") << QStringList{u"app/base"_s} << u"/app/base"_s;
    QTest::newRow("both") << QStringList{u"base"_s, u"app/base"_s} << u"/base"_s;
    QTest::newRow("app alone") << QStringList{u"app"_s} << QString();
}

void TestImport::findsTheGamesData()
{
    QFETCH(QStringList, directories);
    QFETCH(QString, found);
    const TempTree tree;
    for (const QString& directory : directories)
        tree.makeDirectory(u"game/"_s + directory);
    QCOMPARE(resolveSourceRoot(tree.path(u"game/./"_s), kForever).path, tree.path(u"game"_s) + found);
}

void TestImport::refusesDataBehindALink_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("refused");
    QTest::newRow("base") << u"game/base"_s << u"elsewhere"_s << u"game/base"_s;
    QTest::newRow("dangling base") << u"game/base"_s << u"nowhere"_s << u"game/base"_s;
    QTest::newRow("app") << u"game/app"_s << u"elsewhere"_s << u"game/app"_s;
    QTest::newRow("base in app") << u"game/app/base"_s << u"elsewhere"_s << u"game/app/base"_s;
}

void TestImport::refusesDataBehindALink()
{
    QFETCH(QString, link);
    QFETCH(QString, target);
    QFETCH(QString, refused);
    const SampleStore sample;
    const TempTree& tree = sample.tree();
    tree.remove(u"game"_s);
    tree.write(u"elsewhere/base/a.dat"_s, validArchive());
    tree.link(tree.path(target), link);
    QCOMPARE(
        importErrors(sample.source(), sample.root()),
        QStringList{u"Unsafe or unreadable directory "_s + tree.path(refused)});
    QVERIFY(!tree.exists(u"store"_s));
}

void TestImport::makesAStoreThatHoldsTheTreeAndNothingElse()
{
    const SampleStore sample;
    const Report report = importTree(sample.source(), sample.root(), kForever);
    QVERIFY2(report.isClean(), qPrintable(report.errors.join(u' ')));
    QCOMPARE(report.files, 4);
    const auto files = sample.tree().contents(u"game/app/base"_s);
    quint64 bytes = 0;
    for (const QByteArray& content : files)
        bytes += static_cast<quint64>(content.size());
    QCOMPARE(report.bytes, bytes);
    QCOMPARE(sample.tree().contents(u"store/assets"_s), files);
    // The empty directory is not remembered; the lock file stays.
    QCOMPARE(
        QDir(sample.root()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
        (QStringList{u".asset-import.lock"_s, u"asset-manifest.json"_s, u"assets"_s}));
    QVERIFY(!sample.tree().exists(u"store/assets/hollow"_s));
}

void TestImport::writesAManifestOfEveryFile()
{
    const SampleStore sample;
    sample.import();
    Manifest expected;
    const auto files = sample.tree().contents(u"game/app/base"_s);
    for (auto file = files.cbegin(); file != files.cend(); ++file)
        expected.insert(file.key(), {file->size(), sha256Of(*file)});
    QCOMPARE(readManifest(opened(sample.root())), expected);
    QCOMPARE(sample.tree().read(u"store/asset-manifest.json"_s), writeManifestBytes(expected));
}

void TestImport::makesTheInstallationFolderWithItsParents()
{
    const SampleStore sample;
    const QString root = sample.tree().path(u"a/b/store"_s);
    QCOMPARE(importErrors(sample.source(), root), QStringList());
    QVERIFY(QFile::exists(manifestPath(root)));
}

void TestImport::acceptsLinksAsRootsThatTheUserChose()
{
    const SampleStore sample;
    const TempTree& tree = sample.tree();
    tree.makeDirectory(u"real-store"_s);
    tree.link(u"real-store"_s, u"store"_s);
    tree.link(u"game/app/base"_s, u"game-link"_s);
    QCOMPARE(importErrors(tree.path(u"game-link"_s), sample.root()), QStringList());
    QVERIFY(tree.exists(u"real-store/assets/readme.txt"_s));
}

void TestImport::acceptsAKeptSourceOfTheInstallation()
{
    const SampleStore sample;
    const TempTree& tree = sample.tree();
    tree.write(u"store/sources/inno-1/app/base/a.dat"_s, validArchive());
    QCOMPARE(importErrors(tree.path(u"store/sources/inno-1"_s), sample.root()), QStringList());
    QCOMPARE(tree.read(u"store/assets/a.dat"_s), validArchive());
}

void TestImport::refusesASourceWithoutTheOriginalsData_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("no archive") << "text"_ba;
    QTest::newRow("sounds alone") << QByteArray::fromStdString(ArchiveBuilder("sounds").file("x", "y").build());
    QTest::newRow("an archive without files") << QByteArray::fromStdString(ArchiveBuilder("textures").build());
    QTest::newRow("no files") << QByteArray();
}

void TestImport::refusesASourceWithoutTheOriginalsData()
{
    QFETCH(QByteArray, content);
    const TempTree tree;
    tree.makeDirectory(u"game"_s);
    if (!content.isNull())
        tree.write(u"game/file"_s, content);
    QCOMPARE(
        importErrors(tree.path(u"game"_s), tree.path(u"store"_s)),
        QStringList{u"No nonempty valid original QOMB textures/lightmaps/objects corpus found in selected source"_s});
    QVERIFY(!tree.exists(u"store"_s));
}

void TestImport::refusesBadRoots_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("root");
    QTest::addColumn<QString>("message");
    const QString unselected = u"A source and installation directory must be selected"_s;
    const QString overlap = u"Source and installation directories must not overlap"_s;
    QTest::newRow("no source") << QString() << u"store"_s << unselected;
    QTest::newRow("no installation") << u"game"_s << QString() << unselected;
    QTest::newRow("same folder") << u"game"_s << u"game/app/base"_s << overlap;
    QTest::newRow("installation in the source") << u"game"_s << u"game/app/base/store"_s << overlap;
    QTest::newRow("source in the installation") << u"game/app/base"_s << u"game"_s << overlap;
}

void TestImport::refusesBadRoots()
{
    QFETCH(QString, source);
    QFETCH(QString, root);
    QFETCH(QString, message);
    const SampleStore sample;
    const QStringList before = sample.tree().listing();
    const auto absolute = [&](const QString& path) { return path.isEmpty() ? path : sample.tree().path(path); };
    QCOMPARE(importErrors(absolute(source), absolute(root)), QStringList{message});
    QCOMPARE(sample.tree().listing(), before);
}

void TestImport::refusesRootsThatMeetThroughALink()
{
    const SampleStore sample;
    sample.tree().link(sample.tree().path(u"game/app/base"_s), u"store"_s);
    const QStringList before = sample.tree().listing();
    QCOMPARE(
        importErrors(sample.source(), sample.root()),
        QStringList{u"Source and installation directories must not overlap"_s});
    QCOMPARE(sample.tree().listing(), before);
}

void TestImport::takesNamesThatBeginWithAByteOrderMark()
{
    const SampleStore sample;
    sample.tree().write(u"game/app/base/\ufeffmarked/\ufeffname"_s, "content");
    QCOMPARE(importErrors(sample.source(), sample.root()), QStringList());
    const Report verified = verifyTree(sample.root());
    QVERIFY2(verified.isClean(), qPrintable(verified.missing.join(u' ')));
}

void TestImport::refusesWhereAnyPartOfAStoreStands_data()
{
    QTest::addColumn<QString>("what");
    for (const char* what : {"assets", "empty assets", "manifest", "dangling assets", "assets as a file"})
        QTest::newRow(what) << QString::fromLatin1(what);
}

void TestImport::refusesWhereAnyPartOfAStoreStands()
{
    QFETCH(QString, what);
    const SampleStore sample;
    const TempTree& tree = sample.tree();
    tree.makeDirectory(u"store"_s);
    if (what == u"assets"_s)
        tree.write(u"store/assets/file"_s, "kept");
    else if (what == u"empty assets"_s)
        tree.makeDirectory(u"store/assets"_s);
    else if (what == u"manifest"_s)
        tree.write(u"store/asset-manifest.json"_s, "kept");
    else if (what == u"dangling assets"_s)
        tree.link(u"nowhere"_s, u"store/assets"_s);
    else
        tree.write(u"store/assets"_s, "kept");
    QStringList expected = sample.rootListing();
    expected.prepend(u".asset-import.lock"_s);
    QCOMPARE(
        importErrors(sample.source(), sample.root()),
        QStringList{u"Assets or manifest already exist; use verification and repair instead of overwriting"_s});
    QCOMPARE(sample.rootListing(), expected);
}

void TestImport::leavesAFinishedStoreUntouched()
{
    const SampleStore sample;
    sample.import();
    const auto before = sample.tree().contents(u"store"_s);
    sample.tree().write(u"game/app/base/readme.txt"_s, "newer");
    QCOMPARE(
        importErrors(sample.source(), sample.root()),
        QStringList{u"Assets or manifest already exist; use verification and repair instead of overwriting"_s});
    QCOMPARE(sample.tree().contents(u"store"_s), before);
}

void TestImport::refusesBesideAnotherOperation()
{
    const SampleStore sample;
    for (const bool exclusive : {true, false}) {
        const FileHandle lock = lockRoot(requireRoot(sample.root(), true, true, kForever), exclusive, kForever);
        QCOMPARE(importErrors(sample.source(), sample.root()), QStringList{u"Another asset operation is running"_s});
    }
    QCOMPARE(sample.rootListing(), QStringList{u".asset-import.lock"_s});
    QCOMPARE(importErrors(sample.source(), sample.root()), QStringList());
}

void TestImport::refusesAfterTheDeadline()
{
    const SampleStore sample;
    QCOMPARE(
        importTree(sample.source(), sample.root(), QDeadlineTimer(0)).errors,
        QStringList{u"Asset import deadline expired"_s});
    QVERIFY(!sample.tree().exists(u"store"_s));
}

void TestImport::leavesNothingWhenTheTreeIsUnsafe()
{
    const SampleStore sample;
    sample.tree().link(u"readme.txt"_s, u"game/app/base/link"_s);
    QCOMPARE(
        importErrors(sample.source(), sample.root()),
        QStringList{u"Symlinks and special files are not allowed: link"_s});
    QVERIFY(!sample.tree().exists(u"store"_s));
}

void TestImport::ignoresWhatADeadImportLeftBehind()
{
    const SampleStore sample;
    const QString stale = u"store/.asset-stage-0123456789abcdef0123456789abcdef/assets/half"_s;
    sample.tree().write(stale, "half a file");
    QCOMPARE(importErrors(sample.source(), sample.root()), QStringList());
    QCOMPARE(sample.tree().read(stale), QByteArray("half a file"));
}

void TestImport::refusesACopyThatDiffersFromTheScan_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("other bytes") << "read ME"_ba;
    QTest::newRow("other size") << "read me!"_ba;
}

void TestImport::refusesACopyThatDiffersFromTheScan()
{
    QFETCH(QByteArray, content);
    const TempTree tree;
    tree.write(u"source/dir/readme"_s, content);
    const Directory target = requireDirectory(tree.path(u"target"_s), true, kForever);
    const Manifest files = {{u"dir/readme"_s, {7, sha256Of("read me")}}};
    QCOMPARE(
        failureOf([&] { copyEntries(opened(tree.path(u"source"_s)), target, files, kForever); }),
        u"Selected source differs from trusted manifest: dir/readme"_s);
}

void TestImport::refusesASourceDirectoryThatBecameALink()
{
    const TempTree tree;
    tree.write(u"elsewhere/readme"_s, "read me");
    tree.link(tree.path(u"elsewhere"_s), u"source/dir"_s);
    const Directory target = requireDirectory(tree.path(u"target"_s), true, kForever);
    const Manifest files = {{u"dir/readme"_s, {7, sha256Of("read me")}}};
    QCOMPARE(
        failureOf([&] { copyEntries(opened(tree.path(u"source"_s)), target, files, kForever); }),
        u"Unsafe or unreadable directory for "_s + tree.path(u"source/dir/readme"_s));
}

void TestImport::neverCopiesFromBehindALinkHoweverNamesAreSwapped()
{
    const TempTree tree;
    tree.write(u"source/dir/file"_s, "same");
    tree.write(u"elsewhere/file"_s, "same");
    tree.link(tree.path(u"elsewhere"_s), u"spare"_s);
    const Directory source = opened(tree.path(u"source"_s));
    const Manifest files = {{u"dir/file"_s, {4, sha256Of("same")}}};
    const Swapper swapper(tree.path(u"source/dir"_s), tree.path(u"spare"_s));
    int copies = 0;
    int refusals = 0;
    while (copies < 300 || refusals < 300) {
        const Directory target = requireDirectory(tree.path(u"target"_s), true, kForever);
        const QString failure = failureOf([&] { copyEntries(source, target, files, kForever); });
        (failure.isEmpty() ? copies : refusals) += 1;
        QVERIFY(
            failure.isEmpty() || failure == u"Unsafe or unreadable directory for "_s + tree.path(u"source/dir/file"_s));
        tree.remove(u"target"_s);
    }
}

void TestImport::removesItsStageOnEveryExit()
{
    const TempTree tree;
    const Directory root = requireDirectory(tree.path(), false, kForever);
    {
        const Stage stage(root);
        QCOMPARE(tree.listing().size(), 1);
        QVERIFY(QRegularExpression(u"^\\.asset-stage-[0-9a-f]{32}/$"_s).match(tree.listing().first()).hasMatch());
        tree.writeRawName(tree.listing().first(), "not-utf8-\xff"_ba, "x");
    }
    QCOMPARE(tree.listing(), QStringList());
}

void TestImport::refusesAStageInAnUnwritableFolder()
{
    const SampleStore sample;
    sample.tree().makeDirectory(u"store"_s);
    sample.tree().write(u"store/.asset-import.lock"_s, "");
    QVERIFY(QFile::setPermissions(sample.root(), QFileDevice::ReadOwner | QFileDevice::ExeOwner));
    const QStringList errors = importErrors(sample.source(), sample.root());
    QVERIFY(
        QFile::setPermissions(sample.root(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
    QCOMPARE(errors, QStringList{u"Cannot create asset staging directory"_s});
}

QTEST_APPLESS_MAIN(TestImport)
#include "test_import.moc"
