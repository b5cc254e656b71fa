#include "assets/safe_files.h"
#include "assets/verify.h"
#include "support/archive_builder.h"
#include "support/failure_of.h"
#include "support/manifest_builder.h"
#include "support/sample_store.h"

#include <QFile>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_assets;
using namespace vok::test_support;

class TestVerify : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void comparesBySpellingSizeAndHash();
    void verifiesAFreshStore();
    void findsEveryKindOfDamage();
    void listsEverythingAsMissingWithoutATree();
    void neverInspectsArchives();
    void stopsAtAnUnsafeTree_data();
    void stopsAtAnUnsafeTree();
    void stopsWhereTheTreeIsNoDirectory_data();
    void stopsWhereTheTreeIsNoDirectory();
    void stopsWithoutAValidManifest();
    void stopsWithoutAnInstallation();
    void verifiesBesideAVerificationOnly();
    void changesNothing();
    void restoresDamagedAndMissingFiles();
    void restoresAWholeTree();
    void keepsStrangersAndReportsThem();
    void needsACompleteSourceEvenWithNothingToDo();
    void refusesASourceThatDiffersAnywhere_data();
    void refusesASourceThatDiffersAnywhere();
    void acceptsASourceWithMore();
    void repairStopsAtALinkInTheTree();
    void repairWritesNothingThatWouldCollide_data();
    void repairWritesNothingThatWouldCollide();
    void repairRefusesBadRoots();
    void repairNeedsTheLockForItself();
    void repairReportsAFileThatCannotBeReplaced();
    void repairReportsADirectoryThatCannotBeMade();
};

namespace
{

const QString kReadme = u"store/assets/readme.txt"_s;
const QString kShadow = u"store/assets/data/Işık/gölge.dat"_s;

struct ImportedStore : SampleStore
{
    ImportedStore() { import(); }
    Report verified() const { return verifyTree(root()); }
    Report repaired() const { return repairTree(source(), root()); }
};

} // namespace

void TestVerify::comparesBySpellingSizeAndHash()
{
    const ManifestEntry entry = {1, sha256Of("a")};
    TreeInventory inventory;
    inventory.files = {
        {u"A"_s, entry},
        {u"same"_s, entry},
        {u"size"_s, {2, entry.sha256}},
        {u"z"_s, entry},
        {u"hash"_s, {1, sha256Of("b")}}};
    const Manifest manifest = {
        {u"a"_s, entry}, {u"same"_s, entry}, {u"size"_s, entry}, {u"hash"_s, entry}, {u"absent"_s, {40, entry.sha256}}};
    const Report report = compareInventory(inventory, manifest);
    QCOMPARE(report.errors, QStringList());
    QCOMPARE(report.missing, (QStringList{u"a"_s, u"absent"_s}));
    QCOMPARE(report.changed, (QStringList{u"hash"_s, u"size"_s}));
    QCOMPARE(report.extra, (QStringList{u"A"_s, u"z"_s}));
    QCOMPARE(report.files, 5);
    QCOMPARE(report.bytes, 44U);
}

void TestVerify::verifiesAFreshStore()
{
    const ImportedStore store;
    const Report report = store.verified();
    QVERIFY(report.isClean());
    QCOMPARE(report.files, 4);
}

void TestVerify::findsEveryKindOfDamage()
{
    const ImportedStore store;
    store.tree().write(kReadme, "Read me"); // same size, other content
    store.tree().write(u"store/assets/empty.txt"_s, "not empty");
    store.tree().remove(kShadow);
    store.tree().write(u"store/assets/data/stranger"_s, "");
    const Report report = store.verified();
    QCOMPARE(report.changed, (QStringList{u"empty.txt"_s, u"readme.txt"_s}));
    QCOMPARE(report.missing, QStringList{u"data/Işık/gölge.dat"_s});
    QCOMPARE(report.extra, QStringList{u"data/stranger"_s});
    QCOMPARE(report.errors, QStringList());
    QVERIFY(!report.isClean());
}

void TestVerify::listsEverythingAsMissingWithoutATree()
{
    const ImportedStore store;
    store.tree().remove(u"store/assets"_s);
    const Report report = store.verified();
    QCOMPARE(report.missing, readManifest(openDirectory(store.root(), Links::Refuse)).keys());
    QCOMPARE(report.files, 4);
    QVERIFY(report.bytes > 0);
    QVERIFY(report.changed.isEmpty() && report.extra.isEmpty() && report.errors.isEmpty());
}

void TestVerify::neverInspectsArchives()
{
    const ImportedStore store;
    store.tree().write(u"store/assets/broken.dat"_s, "QOMB broken");
    QCOMPARE(store.verified().extra, QStringList{u"broken.dat"_s});
    QCOMPARE(store.repaired().extra, QStringList{u"broken.dat"_s});
}

void TestVerify::stopsAtAnUnsafeTree_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<QString>("message");
    QTest::newRow("link") << u"link"_s << u"Symlinks and special files are not allowed: data/x"_s;
    QTest::newRow("pipe") << u"pipe"_s << u"Symlinks and special files are not allowed: data/x"_s;
    QTest::newRow("name that is not UTF-8") << u"name"_s << u"Unsafe asset path data/x\ufffd"_s;
}

void TestVerify::stopsAtAnUnsafeTree()
{
    QFETCH(QString, what);
    QFETCH(QString, message);
    const ImportedStore store;
    if (what == u"link"_s)
        store.tree().link(u"../readme.txt"_s, u"store/assets/data/x"_s);
    else if (what == u"pipe"_s)
        store.tree().makePipe(u"store/assets/data/x"_s);
    else
        store.tree().writeRawName(u"store/assets/data"_s, "x\xff"_ba, "");
    QCOMPARE(failureOf([&] { store.verified(); }), message);
    QCOMPARE(store.repaired().errors, QStringList{message});
}

void TestVerify::stopsWhereTheTreeIsNoDirectory_data()
{
    QTest::addColumn<bool>("isLink");
    QTest::newRow("link to the very tree") << true;
    QTest::newRow("file") << false;
}

void TestVerify::stopsWhereTheTreeIsNoDirectory()
{
    QFETCH(bool, isLink);
    const ImportedStore store;
    QVERIFY(QFile::rename(store.tree().path(u"store/assets"_s), store.tree().path(u"moved"_s)));
    if (isLink)
        store.tree().link(store.tree().path(u"moved"_s), u"store/assets"_s);
    else
        store.tree().write(u"store/assets"_s, "a file in the way");
    const QString message = u"Unsafe or unreadable directory "_s + store.tree().path(u"store/assets"_s);
    QCOMPARE(failureOf([&] { store.verified(); }), message);
    QCOMPARE(store.repaired().errors, QStringList{message});
}

void TestVerify::stopsWithoutAValidManifest()
{
    const ImportedStore store;
    store.tree().write(u"store/asset-manifest.json"_s, "{}");
    QCOMPARE(failureOf([&] { store.verified(); }), u"Unsupported asset manifest"_s);
    QCOMPARE(store.repaired().errors, QStringList{u"Unsupported asset manifest"_s});
    store.tree().remove(u"store/asset-manifest.json"_s);
    const QString message = u"Unsafe or unreadable file "_s + manifestPath(store.root());
    QCOMPARE(failureOf([&] { store.verified(); }), message);
    QCOMPARE(store.repaired().errors, QStringList{message});
}

void TestVerify::stopsWithoutAnInstallation()
{
    const SampleStore sample;
    QCOMPARE(failureOf([&] { verifyTree(sample.root()); }), u"Unsafe or unreadable directory "_s + sample.root());
    QCOMPARE(failureOf([] { verifyTree({}); }), u"A source and installation directory must be selected"_s);
    QVERIFY(!sample.tree().exists(u"store"_s));
}

void TestVerify::verifiesBesideAVerificationOnly()
{
    const ImportedStore store;
    const Directory root = requireRoot(store.root(), false, true, QDeadlineTimer(QDeadlineTimer::Forever));
    {
        const FileHandle shared = lockRoot(root, false, QDeadlineTimer(QDeadlineTimer::Forever));
        QVERIFY(store.verified().isClean());
    }
    const FileHandle exclusive = lockRoot(root, true, QDeadlineTimer(QDeadlineTimer::Forever));
    QCOMPARE(failureOf([&] { store.verified(); }), u"Another asset operation is running"_s);
}

void TestVerify::changesNothing()
{
    const ImportedStore store;
    store.tree().write(kReadme, "damaged");
    const QStringList listing = store.rootListing();
    const auto contents = store.tree().contents(u"store"_s);
    QVERIFY(!store.verified().isClean());
    QCOMPARE(store.rootListing(), listing);
    QCOMPARE(store.tree().contents(u"store"_s), contents);
}

void TestVerify::restoresDamagedAndMissingFiles()
{
    const ImportedStore store;
    const QByteArray manifest = store.tree().read(u"store/asset-manifest.json"_s);
    store.tree().write(kReadme, "damaged");
    store.tree().remove(u"store/assets/data"_s);
    const Report report = store.repaired();
    QVERIFY2(report.isClean(), qPrintable(report.errors.join(u' ')));
    QCOMPARE(report.files, 4);
    QCOMPARE(store.tree().contents(u"store/assets"_s), store.tree().contents(u"game/app/base"_s));
    QCOMPARE(store.tree().read(u"store/asset-manifest.json"_s), manifest);
    QCOMPARE(store.rootListing().filter(u"stage"_s), QStringList());
}

void TestVerify::restoresAWholeTree()
{
    const ImportedStore store;
    store.tree().remove(u"store/assets"_s);
    QVERIFY(store.repaired().isClean());
    QVERIFY(store.verified().isClean());
}

void TestVerify::keepsStrangersAndReportsThem()
{
    const ImportedStore store;
    store.tree().write(u"store/assets/stranger"_s, "kept");
    const Report report = store.repaired();
    QCOMPARE(report.extra, QStringList{u"stranger"_s});
    QVERIFY(report.missing.isEmpty() && report.changed.isEmpty() && report.errors.isEmpty());
    QCOMPARE(store.tree().read(u"store/assets/stranger"_s), QByteArray("kept"));
}

void TestVerify::needsACompleteSourceEvenWithNothingToDo()
{
    const ImportedStore store;
    const Report report = store.repaired();
    QVERIFY(report.isClean());
    QCOMPARE(report.files, 4);
    store.tree().remove(u"game/app/base/empty.txt"_s);
    QCOMPARE(store.repaired().errors, QStringList{u"Selected source differs from trusted manifest: empty.txt"_s});
}

void TestVerify::refusesASourceThatDiffersAnywhere_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("lacks the file") << QByteArray();
    QTest::newRow("other bytes") << "Read me"_ba;
    QTest::newRow("other size") << "read me!"_ba;
}

void TestVerify::refusesASourceThatDiffersAnywhere()
{
    QFETCH(QByteArray, content);
    const ImportedStore store;
    store.tree().write(kShadow, "damage elsewhere");
    store.tree().remove(u"game/app/base/readme.txt"_s);
    if (!content.isNull())
        store.tree().write(u"game/app/base/readme.txt"_s, content);
    const auto before = store.tree().contents(u"store"_s);
    const QStringList refusal{u"Selected source differs from trusted manifest: readme.txt"_s};
    QCOMPARE(store.repaired().errors, refusal);
    QCOMPARE(store.tree().contents(u"store"_s), before);

    // The refusal comes before anything is made.
    store.tree().remove(u"store/assets"_s);
    const QStringList listing = store.rootListing();
    QCOMPARE(store.repaired().errors, refusal);
    QCOMPARE(store.rootListing(), listing);
}

void TestVerify::acceptsASourceWithMore()
{
    const ImportedStore store;
    store.tree().write(u"game/app/base/more.txt"_s, "more");
    store.tree().write(kReadme, "damaged");
    QVERIFY(store.repaired().isClean());
    QVERIFY(!store.tree().exists(u"store/assets/more.txt"_s));
}

void TestVerify::repairStopsAtALinkInTheTree()
{
    const ImportedStore store;
    store.tree().write(u"outside"_s, "outside");
    store.tree().remove(kReadme);
    store.tree().link(store.tree().path(u"outside"_s), kReadme);
    QCOMPARE(store.repaired().errors, QStringList{u"Symlinks and special files are not allowed: readme.txt"_s});
    QCOMPARE(store.tree().read(u"outside"_s), QByteArray("outside"));
}

void TestVerify::repairWritesNothingThatWouldCollide_data()
{
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("to");
    QTest::addColumn<QString>("collision");
    QTest::newRow("file in other case") << u"readme.txt"_s << u"README.txt"_s << u"readme.txt"_s;
    QTest::newRow("directory in other case") << u"data"_s << u"Data"_s << u"data"_s;
    QTest::newRow("inner directory in other composition")
        << u"data/Işık"_s << u"data/Is\u0327ık"_s.normalized(QString::NormalizationForm_D) << u"data/Işık"_s;
}

void TestVerify::repairWritesNothingThatWouldCollide()
{
    QFETCH(QString, from);
    QFETCH(QString, to);
    QFETCH(QString, collision);
    const ImportedStore store;
    QVERIFY(QFile::rename(assetsPath(store.root()) + u'/' + from, assetsPath(store.root()) + u'/' + to));
    const QStringList before = store.rootListing();
    QCOMPARE(store.repaired().errors, QStringList{u"Colliding portable asset path "_s + collision});
    QCOMPARE(store.rootListing(), before);
    // The store can still be measured.
    QVERIFY(!store.verified().extra.isEmpty());
}

void TestVerify::repairRefusesBadRoots()
{
    const ImportedStore store;
    QCOMPARE(
        repairTree({}, store.root()).errors, QStringList{u"A source and installation directory must be selected"_s});
    QCOMPARE(
        repairTree(store.root(), store.root()).errors,
        QStringList{u"Source and installation directories must not overlap"_s});
    QCOMPARE(
        repairTree(store.tree().path(u"absent"_s), store.root()).errors,
        QStringList{u"Unsafe or unreadable directory "_s + store.tree().path(u"absent"_s)});
}

void TestVerify::repairNeedsTheLockForItself()
{
    const ImportedStore store;
    const QDeadlineTimer forever(QDeadlineTimer::Forever);
    const FileHandle lock = lockRoot(requireRoot(store.root(), false, true, forever), false, forever);
    QCOMPARE(store.repaired().errors, QStringList{u"Another asset operation is running"_s});
}

void TestVerify::repairReportsAFileThatCannotBeReplaced()
{
    const ImportedStore store;
    store.tree().remove(kReadme);
    store.tree().makeDirectory(kReadme);
    store.tree().write(kShadow, "damaged");
    QCOMPARE(store.repaired().errors, QStringList{u"Cannot commit repaired asset readme.txt"_s});
    // What came before it in key order is done, and right.
    QCOMPARE(store.tree().read(kShadow), QByteArray("shadow"));
    QCOMPARE(store.rootListing().filter(u"stage"_s), QStringList());
}

void TestVerify::repairReportsADirectoryThatCannotBeMade()
{
    const ImportedStore store;
    store.tree().remove(u"store/assets/data"_s);
    store.tree().write(u"store/assets/data"_s, "a file in the way");
    QCOMPARE(
        store.repaired().errors,
        QStringList{u"Cannot create asset directory: "_s + store.tree().path(u"store/assets/data/Işık"_s)});
    QCOMPARE(store.tree().read(u"store/assets/data"_s), QByteArray("a file in the way"));
}

QTEST_APPLESS_MAIN(TestVerify)
#include "test_verify.moc"
