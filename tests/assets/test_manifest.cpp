#include "assets/manifest.h"
#include "support/failure_of.h"
#include "support/manifest_builder.h"
#include "support/temp_tree.h"

#include <QFile>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_assets;
using namespace vok::test_support;

class TestManifest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void standsInTheInstallationRoot();
    void readsWhatItSays();
    void refusesEveryFault_data();
    void refusesEveryFault();
    void acceptsTheNearSideOfEveryBound_data();
    void acceptsTheNearSideOfEveryBound();
    void refusesAFileThatCannotBeOpenedSafely();
    void refusesAnEmptyFile();
    void readsUpTo64MiB();
    void boundsTheSumOfPathLengths();
    void boundsTheNumberOfEntries();
    void tellsTheFirstFaultOfAnEntry_data();
    void tellsTheFirstFaultOfAnEntry();
    void survivesEveryCut();
    void survivesEveryFlippedBit();
    void writesCompactReproducibleBytes();
    void readsBackWhatItWrites();
    void keepsAByteOrderMarkAtTheFrontOfAPath();
    void refusesToWriteAboveTheLimit();
};

namespace
{

Directory opened(const TempTree& tree)
{
    return openDirectory(tree.path(), Links::Refuse);
}

QString failureFor(const QByteArray& bytes, const StoreLimits& limits = {})
{
    const TempTree tree;
    tree.write(u"asset-manifest.json"_s, bytes);
    return failureOf([&] { readManifest(opened(tree), limits); });
}

QString components(int count)
{
    return QStringList(count, u"d"_s).join(u'/');
}

constexpr qint64 kLargestFile = 17179869184;

ManifestBuilder totalling(qint64 lastSize)
{
    ManifestBuilder manifest;
    for (int i = 0; i < 7; ++i)
        manifest.entry(u"f%1"_s.arg(i), kLargestFile);
    return manifest.entry(u"last"_s, lastSize);
}

const QString kInvalidEntry = u"Invalid asset manifest entry"_s;
const QString kInvalidHash = u"Invalid asset manifest SHA256"_s;
const QString kUnsupported = u"Unsupported asset manifest"_s;
const QString kDuplicate = u"Duplicate asset manifest path"_s;
const QString kCollision = u"Asset manifest file/directory collision"_s;
const QString kInvalidJson = u"Invalid asset manifest JSON"_s;

} // namespace

void TestManifest::standsInTheInstallationRoot()
{
    QCOMPARE(assetsPath(u"/store"_s), u"/store/assets"_s);
    QCOMPARE(manifestPath(u"/store"_s), u"/store/asset-manifest.json"_s);
    QCOMPARE(manifestPath(u"/"_s), u"/asset-manifest.json"_s);
}

void TestManifest::readsWhatItSays()
{
    const TempTree tree;
    const QString hash = QString::fromLatin1(sha256Of("abc"));
    tree.write(
        u"asset-manifest.json"_s,
        ManifestBuilder().entry(u"b/İki"_s, 3, hash).entry(u"a"_s).top(u"made_by"_s, u"hand"_s).bytes());
    const Manifest manifest = readManifest(opened(tree));
    QCOMPARE(manifest.keys(), (QStringList{u"a"_s, u"b/İki"_s}));
    QCOMPARE(manifest.value(u"b/İki"_s), (ManifestEntry{3, sha256Of("abc")}));
    QCOMPARE(manifest.value(u"a"_s), (ManifestEntry{0, kEmptySha256}));
}

void TestManifest::refusesEveryFault_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("message");
    const auto row = [](const char* name, const ManifestBuilder& manifest, const QString& message) {
        QTest::newRow(name) << manifest.bytes() << message;
    };
    const auto path = [&row](const char* name, const QString& value) {
        row(name, ManifestBuilder().entry(value), kInvalidEntry);
    };
    const auto size = [&row](const char* name, const QJsonValue& value) {
        row(name, ManifestBuilder().entry(u"a"_s, value), kInvalidEntry);
    };
    const auto hash = [&row](const char* name, const QJsonValue& value, const QString& message) {
        row(name, ManifestBuilder().entry(u"a"_s, 0, value), message);
    };
    const QString valid = QString::fromLatin1(kEmptySha256);

    QTest::newRow("not JSON") << "manifest"_ba << kInvalidJson;
    QTest::newRow("JSON array") << "[]"_ba << kInvalidJson;
    QTest::newRow("text behind the object") << ManifestBuilder().entry(u"a"_s).bytes() + "x" << kInvalidJson;
    row("format 2", ManifestBuilder().entry(u"a"_s).top(u"format"_s, 2), kUnsupported);
    row("format 0", ManifestBuilder().entry(u"a"_s).top(u"format"_s, 0), kUnsupported);
    row("format as text", ManifestBuilder().entry(u"a"_s).top(u"format"_s, u"1"_s), kUnsupported);
    row("format 1.5", ManifestBuilder().entry(u"a"_s).top(u"format"_s, 1.5), kUnsupported);
    row("other trust", ManifestBuilder().entry(u"a"_s).top(u"trust"_s, u"signed"_s), kUnsupported);
    row("trust in other case", ManifestBuilder().entry(u"a"_s).top(u"trust"_s, u"User-Selected-Local-Snapshot"_s),
        kUnsupported);
    row("files as object", ManifestBuilder().top(u"files"_s, QJsonObject()), kUnsupported);
    row("empty object", ManifestBuilder().top(u"files"_s, QJsonValue::Null), kUnsupported);
    row("no entries", ManifestBuilder(), u"Empty or oversized asset manifest"_s);

    path("49 components", components(49));
    path("empty component", u"a//b"_s);
    path("trailing separator", u"a/"_s);
    path("absolute", u"/a"_s);
    path("parent", u"a/../b"_s);
    path("backslash", u"a\\b"_s);
    path("colon", u"c:a"_s);
    path("tab", u"a\tb"_s);
    path("empty path", u""_s);
    path("4097 units", QString(4097, u'a'));
    size("one byte above 16 GiB", kLargestFile + 1);
    size("negative", -1);
    size("fraction", 1.5);
    size("missing size", QJsonValue::Undefined);
    size("size as text", u"1"_s);
    size("size beyond integers", 1e300);
    hash("63 characters", valid.chopped(1), kInvalidEntry);
    hash("65 characters", valid + u'0', kInvalidEntry);
    hash("missing hash", QJsonValue::Undefined, kInvalidEntry);
    hash("hash as number", 1, kInvalidEntry);
    hash("upper case", valid.toUpper(), kInvalidHash);
    hash("character below 0", u'/' + valid.mid(1), kInvalidHash);
    hash("character above 9", u':' + valid.mid(1), kInvalidHash);
    hash("character below a", u'`' + valid.mid(1), kInvalidHash);
    hash("character above f", valid.chopped(1) + u'g', kInvalidHash);
    hash("character beyond Latin-1", u'ş' + valid.mid(1), kInvalidHash);
    row("element that is no object", ManifestBuilder().element(7), kInvalidEntry);

    row("same path twice", ManifestBuilder().entry(u"a"_s).entry(u"a"_s), kDuplicate);
    row("same path but for case", ManifestBuilder().entry(u"Textures/A.dds"_s).entry(u"textures/a.dds"_s), kDuplicate);
    row("same path but for composition", ManifestBuilder().entry(u"\u00e9"_s).entry(u"e\u0301"_s), kDuplicate);
    row("one byte above 128 GiB", totalling(kLargestFile).entry(u"one"_s, 1), u"Manifest exceeds 128 GiB limit"_s);
    row("file as directory", ManifestBuilder().entry(u"a"_s).entry(u"A/b"_s), kCollision);
    row("file as directory among others",
        ManifestBuilder().entry(u"a"_s).entry(u"A-b/c"_s).entry(u"A/b/c"_s).entry(u"A/b/d"_s).entry(u"a0"_s),
        kCollision);
    row("file as inner directory", ManifestBuilder().entry(u"A/b"_s).entry(u"a/B/c"_s), kCollision);
    row("file as far directory", ManifestBuilder().entry(u"x/y"_s).entry(u"X/Y/z/w"_s), kCollision);
}

void TestManifest::refusesEveryFault()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, message);
    QCOMPARE(failureFor(bytes), message);
}

void TestManifest::acceptsTheNearSideOfEveryBound_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("16 GiB") << ManifestBuilder().entry(u"a"_s, kLargestFile).bytes();
    QTest::newRow("128 GiB") << totalling(kLargestFile).bytes();
    QTest::newRow("48 components") << ManifestBuilder().entry(components(48)).bytes();
    QTest::newRow("4096 units") << ManifestBuilder().entry(QString(4096, u'a')).bytes();
    QTest::newRow("extra keys") << ManifestBuilder()
                                       .element(QJsonObject{
                                           {u"path"_s, u"a"_s},
                                           {u"size"_s, 0},
                                           {u"sha256"_s, QString::fromLatin1(kEmptySha256)},
                                           {u"mode"_s, 420}})
                                       .top(u"signature"_s, QJsonArray{1, 2})
                                       .bytes();
    QTest::newRow("a name that begins like another") << ManifestBuilder().entry(u"a"_s).entry(u"ab/c"_s).bytes();
}

void TestManifest::acceptsTheNearSideOfEveryBound()
{
    QFETCH(QByteArray, bytes);
    QCOMPARE(failureFor(bytes), QString());
}

void TestManifest::refusesAFileThatCannotBeOpenedSafely()
{
    const TempTree tree;
    const QString message = u"Unsafe or unreadable file "_s + manifestPath(tree.path());
    QCOMPARE(failureOf([&] { readManifest(opened(tree)); }), message);
    tree.write(u"elsewhere.json"_s, ManifestBuilder().entry(u"a"_s).bytes());
    tree.link(u"elsewhere.json"_s, u"asset-manifest.json"_s);
    QCOMPARE(failureOf([&] { readManifest(opened(tree)); }), message);
}

void TestManifest::refusesAnEmptyFile()
{
    QCOMPARE(failureFor({}), u"Invalid asset manifest size"_s);
}

void TestManifest::readsUpTo64MiB()
{
    constexpr qsizetype kMost = 67108864;
    QByteArray bytes = ManifestBuilder().entry(u"a"_s).bytes();
    bytes += QByteArray(kMost - bytes.size(), ' ');
    QCOMPARE(failureFor(bytes), QString());
    QCOMPARE(failureFor(bytes + ' '), u"Invalid asset manifest size"_s);
}

void TestManifest::boundsTheSumOfPathLengths()
{
    StoreLimits limits;
    limits.pathBytes = 7;
    const QString message = u"Manifest paths exceed 64 MiB limit"_s;
    QCOMPARE(failureFor(ManifestBuilder().entry(u"abc"_s).entry(u"ışx"_s).bytes(), limits), message);
    limits.pathBytes = 8;
    QCOMPARE(failureFor(ManifestBuilder().entry(u"abc"_s).entry(u"ışx"_s).bytes(), limits), QString());
}

void TestManifest::boundsTheNumberOfEntries()
{
    const auto manifestOf = [](int count) {
        QByteArray bytes = R"({"format":1,"trust":"user-selected-local-snapshot","files":[)";
        for (int i = 0; i < count; ++i)
            bytes += R"({"path":")" + QByteArray::number(i) + R"(","size":0,"sha256":")" + kEmptySha256 + R"("},)";
        bytes.back() = ']';
        return bytes + '}';
    };
    QCOMPARE(failureFor(manifestOf(200000)), QString());
    QCOMPARE(failureFor(manifestOf(200001)), u"Empty or oversized asset manifest"_s);
}

void TestManifest::tellsTheFirstFaultOfAnEntry_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("message");
    const QString upper = QString::fromLatin1(kEmptySha256).toUpper();
    QTest::newRow("entry before hash") << ManifestBuilder().entry(u"a"_s, -1, upper).bytes() << kInvalidEntry;
    QTest::newRow("hash before duplicate")
        << ManifestBuilder().entry(u"a"_s).entry(u"a"_s, 0, upper).bytes() << kInvalidHash;
    QTest::newRow("duplicate before sum") << totalling(kLargestFile).entry(u"last"_s, 1).bytes() << kDuplicate;
    QTest::newRow("earlier entry first") << ManifestBuilder().entry(u"a"_s, 0, upper).entry(u"/b"_s).bytes()
                                         << kInvalidHash;
    QTest::newRow("collision last") << ManifestBuilder().entry(u"a"_s).entry(u"a/b"_s).entry(u"a"_s).bytes()
                                    << kDuplicate;
    QTest::newRow("format before number of entries") << ManifestBuilder().top(u"format"_s, 2).bytes() << kUnsupported;
}

void TestManifest::tellsTheFirstFaultOfAnEntry()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, message);
    QCOMPARE(failureFor(bytes), message);
}

void TestManifest::survivesEveryCut()
{
    const QByteArray whole = ManifestBuilder().entry(u"a/ş"_s, 5).entry(u"b"_s).bytes();
    const TempTree tree;
    for (qsizetype length = 1; length < whole.size(); ++length) {
        tree.write(u"asset-manifest.json"_s, whole.first(length));
        QCOMPARE(failureOf([&] { readManifest(opened(tree)); }), kInvalidJson);
    }
}

void TestManifest::survivesEveryFlippedBit()
{
    const QByteArray whole = ManifestBuilder().entry(u"a/ş"_s, 5).entry(u"b"_s).bytes();
    const TempTree tree;
    for (qsizetype bit = 0; bit < whole.size() * 8; ++bit) {
        QByteArray flipped = whole;
        flipped[bit / 8] = static_cast<char>(flipped.at(bit / 8) ^ (1 << (bit % 8)));
        tree.write(u"asset-manifest.json"_s, flipped);
        // A flip either breaks a rule or makes another valid manifest of two entries; it never passes as nothing.
        const QString failure = failureOf([&] { QCOMPARE(readManifest(opened(tree)).size(), 2); });
        QVERIFY2(failure.isEmpty() || failure.contains(u"manifest"_s), qPrintable(failure));
    }
}

void TestManifest::writesCompactReproducibleBytes()
{
    const Manifest files = {{u"b"_s, {7, sha256Of("b")}}, {u"a/ş"_s, {kLargestFile, sha256Of("a")}}};
    const QByteArray expected = R"({"files":[{"path":"a/ş","sha256":")" + sha256Of("a")
                                + R"(","size":17179869184},{"path":"b","sha256":")" + sha256Of("b")
                                + R"(","size":7}],"format":1,"trust":"user-selected-local-snapshot"})";
    QCOMPARE(writeManifestBytes(files), expected);
}

void TestManifest::readsBackWhatItWrites()
{
    const Manifest files = {
        {u"b"_s, {7, sha256Of("b")}},
        {u"a/\"quoted\" ş\u2028"_s, {kLargestFile, sha256Of("a")}},
        {u"\u0080\ufeff"_s, {0, sha256Of({})}}};
    const TempTree tree;
    tree.write(u"asset-manifest.json"_s, writeManifestBytes(files));
    QCOMPARE(readManifest(opened(tree)), files);
}

void TestManifest::keepsAByteOrderMarkAtTheFrontOfAPath()
{
    const ManifestEntry entry = {0, kEmptySha256};
    const Manifest files = {{u"\ufeff"_s, entry}, {u"\ufeffa/\ufeffb\ufeff"_s, entry}, {u"a/\ufeffb"_s, entry}};
    QCOMPARE(parseManifest(writeManifestBytes(files)), files);
}

void TestManifest::refusesToWriteAboveTheLimit()
{
    const Manifest files = {{u"a"_s, {0, kEmptySha256}}};
    StoreLimits limits;
    limits.manifestBytes = writeManifestBytes(files).size();
    QCOMPARE(failureOf([&] { writeManifestBytes(files, limits); }), QString());
    --limits.manifestBytes;
    QCOMPARE(failureOf([&] { writeManifestBytes(files, limits); }), u"Asset manifest exceeds 64 MiB limit"_s);
}

QTEST_APPLESS_MAIN(TestManifest)
#include "test_manifest.moc"
