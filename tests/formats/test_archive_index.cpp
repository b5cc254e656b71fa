#include "formats/archive_index.h"
#include "support/archive_builder.h"
#include "support/failure_of.h"

#include <QTest>

#include <sstream>

using namespace vok::launcher_formats;
using namespace vok::test_support;
using namespace Qt::Literals::StringLiterals;
using namespace std::string_literals;

class TestArchiveIndex : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listsFilesInTraversalOrder();
    void acceptsAnArchiveOfNothing();
    void acceptsWhatOnlyLooksWrong_data();
    void acceptsWhatOnlyLooksWrong();
    void refusesWhatIsNoArchive_data();
    void refusesWhatIsNoArchive();
    void tellsTheFirstOfTwoFaults_data();
    void tellsTheFirstOfTwoFaults();
    void judgesEveryByteOfAName_data();
    void judgesEveryByteOfAName();
    void keepsEveryLimit_data();
    void keepsEveryLimit();
    void boundsExpandedPathsAt64MiB();
    void findsOnePairAmongTheMostSiblings_data();
    void findsOnePairAmongTheMostSiblings();
};

namespace
{

const QString kBadMagic = u"invalid QOMB signature"_s;
const QString kBadVersion = u"unsupported QOMB version (only v1 is supported)"_s;
const QString kNoPayload = u"QOMB payload does not end at exact EOF"_s;
const QString kTooLarge = u"QOMB index exceeds file size or 64 MiB budget"_s;
const QString kBadName = u"QOMB name is empty or not NUL terminated"_s;
const QString kBadPadding = u"QOMB name has nonzero NUL padding"_s;
const QString kUnsafe = u"unsafe QOMB path component"_s;
const QString kTooDeep = u"QOMB directory nesting exceeds 64 levels"_s;
const QString kTooMany = u"QOMB entry count exceeds index budget"_s;
const QString kPathsTooLong = u"QOMB expanded paths exceed 64 MiB budget"_s;
const QString kOutOfRange = u"QOMB entry range exceeds EOF"_s;
const QString kDuplicate = u"duplicate QOMB path"_s;
const QString kOverlap = u"QOMB payload overlaps index"_s;
const QString kGap = u"QOMB payload is not contiguous in index traversal order"_s;
const QString kAccepted;

ArchiveIndex readIndex(const std::string& bytes, const ArchiveLimits& limits = {})
{
    std::istringstream stream(bytes);
    return readArchiveIndex(stream, bytes.size(), limits);
}

std::string numbered(char letter, int number)
{
    std::string name(1, letter);
    name += std::to_string(number);
    return name;
}

QString refusal(const std::string& bytes, const ArchiveLimits& limits = {})
{
    return failureOf<std::runtime_error>([&] { readIndex(bytes, limits); });
}

/// An archive with a directory at each of `levels` levels below the root.
ArchiveBuilder nested(unsigned levels)
{
    ArchiveBuilder builder("r");
    for (unsigned level = 0; level < levels; ++level)
        builder.enter("d");
    return builder;
}

void row(const char* name, const ArchiveBuilder& builder, const QString& message)
{
    QTest::newRow(name) << builder.build() << message;
}

void limitRow(const char* name, const ArchiveBuilder& builder, const ArchiveLimits& limits, const QString& message)
{
    QTest::newRow(name) << builder.build() << limits << message;
}

} // namespace

void TestArchiveIndex::listsFilesInTraversalOrder()
{
    ArchiveBuilder builder("objects");
    builder.enter("a").file("one", "1").enter("b").file("two", "22").leave().leave();
    builder.enter("c").file("three", "333").leave().file("zero", "");
    const std::string bytes = builder.build();

    const ArchiveIndex index = readIndex(bytes);

    const auto start = static_cast<std::uint32_t>(builder.indexBytes());
    const std::vector<ArchiveEntry> expected{
        {"objects/zero", start, 0},
        {"objects/a/one", start, 1},
        {"objects/a/b/two", start + 1, 2},
        {"objects/c/three", start + 3, 3},
    };
    QCOMPARE(index.entries.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        QCOMPARE(index.entries[i].path, expected[i].path);
        QCOMPARE(index.entries[i].offset, expected[i].offset);
        QCOMPARE(index.entries[i].size, expected[i].size);
    }
    QCOMPARE(index.indexEnd, builder.indexBytes());
    QCOMPARE(index.payloadEnd, std::uint64_t{bytes.size()});
}

void TestArchiveIndex::acceptsAnArchiveOfNothing()
{
    const std::string bytes = ArchiveBuilder().build();
    QCOMPARE(bytes.size(), std::size_t{74});

    const ArchiveIndex index = readIndex(bytes);

    QVERIFY(index.entries.empty());
    QCOMPARE(index.indexEnd, std::uint64_t{74});
    QCOMPARE(index.payloadEnd, std::uint64_t{74});
}

void TestArchiveIndex::acceptsWhatOnlyLooksWrong_data()
{
    QTest::addColumn<std::string>("bytes");
    const auto accepted = [](const char* name, const ArchiveBuilder& builder) {
        QTest::newRow(name) << builder.build();
    };
    accepted("empty entry between others", ArchiveBuilder().file("a", "1").file("b").file("c", "3"));
    accepted("empty entry at the very end", ArchiveBuilder().file("a", "1").file("b"));
    accepted("names that differ in case", ArchiveBuilder().file("Ab").file("ab"));
    accepted("file and directory that differ in case", ArchiveBuilder().file("D").enter("d"));
    accepted("one name in two directories", ArchiveBuilder().file("a").enter("d").file("a").leave());
    accepted("child with its directory's name", ArchiveBuilder("a").file("a").enter("b").file("b"));
    accepted("name that continues another", ArchiveBuilder().file("a").file("ab").file("abc"));
    accepted("63 bytes for a directory", ArchiveBuilder(std::string(63, 'r')));
    accepted("127 bytes for a file", ArchiveBuilder().file(std::string(127, 'f')));
    accepted("three dots", ArchiveBuilder("...").file("...").enter(".a"));
    accepted("blanks and dots at the end", ArchiveBuilder().file("a. ").file(" "));
    accepted("characters another system forbids", ArchiveBuilder("c:").file("a*?<>|\""));
    accepted("contents that look like an archive", ArchiveBuilder().file("a", ArchiveBuilder().build()));
    accepted("level 64", nested(64).file("f", "1"));
}

void TestArchiveIndex::acceptsWhatOnlyLooksWrong()
{
    QFETCH(std::string, bytes);
    QCOMPARE(readIndex(bytes).payloadEnd, std::uint64_t{bytes.size()});
}

void TestArchiveIndex::refusesWhatIsNoArchive_data()
{
    QTest::addColumn<std::string>("bytes");
    QTest::addColumn<QString>("message");
    const auto file = [](std::string_view field) { return ArchiveBuilder().file("x").withFileField(field); };
    const auto root = [](std::string_view field) { return ArchiveBuilder().withDirectoryField(field); };

    QTest::newRow("no byte") << ""s << kTooLarge;
    QTest::newRow("3 bytes of magic") << "QOM"s << kTooLarge;
    QTest::newRow("3 other bytes") << "ABC"s << kTooLarge;
    row("other magic", ArchiveBuilder().withMagic("QOMC"), kBadMagic);
    row("magic in small letters", ArchiveBuilder().withMagic("qomb"), kBadMagic);
    QTest::newRow("only the magic") << "QOMB"s << kTooLarge;
    QTest::newRow("half a version") << "QOMB\1"s << kTooLarge;
    row("version 0", ArchiveBuilder().withVersion(0), kBadVersion);
    row("version 2", ArchiveBuilder().withVersion(2), kBadVersion);
    row("version 257", ArchiveBuilder().withVersion(257), kBadVersion);
    QTest::newRow("only the header") << "QOMB\1\0"s << kTooLarge;
    QTest::newRow("one byte short of a root") << ArchiveBuilder().build().substr(0, 73) << kTooLarge;

    row("root's name without NUL", root(std::string(64, 'r')), kBadName);
    row("root's name empty", root(std::string(64, '\0')), kBadName);
    row("root's name begins with NUL", root(archiveNameField("\0a"s, 64)), kBadName);
    row("file's name without NUL", file(std::string(128, 'f')), kBadName);
    row("file's name empty", file(std::string(128, '\0')), kBadName);
    row("stray byte right behind the NUL", root(archiveNameField("r\0x"s, 64)), kBadPadding);
    row("stray byte at the root field's end", root(archiveNameField("r", 63) + "x"), kBadPadding);
    row("stray byte at the file field's end", file(archiveNameField("f", 127) + "\xff"), kBadPadding);
    row("dot as root", ArchiveBuilder("."), kUnsafe);
    row("dot dot as root", ArchiveBuilder(".."), kUnsafe);
    row("dot as directory", ArchiveBuilder().enter("."), kUnsafe);
    row("dot as file", ArchiveBuilder().file("."), kUnsafe);
    row("dot dot as file", ArchiveBuilder().file(".."), kUnsafe);
    row("separator in a file's name", ArchiveBuilder().file("a/b"), kUnsafe);
    row("absolute file", ArchiveBuilder().file("/a"), kUnsafe);
    row("backslash in a directory's name", ArchiveBuilder().enter("a\\b"), kUnsafe);

    row("one file more than there is", ArchiveBuilder().withFileCount(1), kTooLarge);
    row("file record one byte short", ArchiveBuilder().withFileCount(1).withAppended(std::string(135, 'x')), kTooLarge);
    row("directory more than there is", ArchiveBuilder().withSubdirectoryCount(1), kTooLarge);
    row("directory record one byte short", ArchiveBuilder().withSubdirectoryCount(1).withAppended(std::string(67, 'x')),
        kTooLarge);
    row("counts of a million in 74 bytes", ArchiveBuilder().withFileCount(65535).withSubdirectoryCount(65535),
        kTooLarge);
    row("level 65", nested(65), kTooDeep);

    row("offset one behind the end", ArchiveBuilder().file("a").withOffset(211), kOutOfRange);
    row("size one too large", ArchiveBuilder().file("a", "12").withSize(3), kOutOfRange);
    row("offset and size that wrap", ArchiveBuilder().file("a", "12").withSize(0xffffffff), kOutOfRange);
    row("largest offset", ArchiveBuilder().file("a").withOffset(0xffffffff), kOutOfRange);

    row("two files of one name", ArchiveBuilder().file("a").file("a"), kDuplicate);
    row("two files of one name far apart", ArchiveBuilder().file("a").file("b").file("c").file("a"), kDuplicate);
    row("two directories of one name", ArchiveBuilder().enter("d").leave().enter("d").leave(), kDuplicate);
    row("file and directory of one name", ArchiveBuilder().file("a").enter("a"), kDuplicate);
    row("duplicates in a deep directory", nested(64).file("a").file("a"), kDuplicate);
    row("duplicates below a directory without any", ArchiveBuilder().file("x").file("y").enter("d").file("a").file("a"),
        kDuplicate);
    row("two longest names", ArchiveBuilder().file(std::string(127, 'f')).file(std::string(127, 'f')), kDuplicate);

    row("content inside the index", ArchiveBuilder().file("a", "1").withOffset(209), kOverlap);
    row("content at the beginning", ArchiveBuilder().file("a", "1").withOffset(0), kOverlap);
    row("empty content inside the index", ArchiveBuilder().file("a").withOffset(209), kOverlap);
    row("gap before the first content", ArchiveBuilder().file("a").withOffset(211).withAppended("1"), kGap);
    row("two files in the wrong order", ArchiveBuilder().file("a", "1").withOffset(347).file("b", "2").withOffset(346),
        kGap);
    row("two files over each other", ArchiveBuilder().file("a", "1").file("b", "1").withOffset(346), kGap);
    row("empty entry off the cursor", ArchiveBuilder().file("a", "1").file("b").withOffset(346), kGap);
    row("one byte after the payload", ArchiveBuilder().file("a", "1").withAppended("x"), kNoPayload);
    row("one byte after nothing", ArchiveBuilder().withAppended("x"), kNoPayload);
    row("last size one too small", ArchiveBuilder().file("a", "12").withSize(1), kNoPayload);
    QTest::newRow("payload cut by a byte") << ArchiveBuilder().file("a", "12").build().substr(0, 211) << kOutOfRange;
}

void TestArchiveIndex::refusesWhatIsNoArchive()
{
    QFETCH(std::string, bytes);
    QTEST(refusal(bytes), "message");
}

void TestArchiveIndex::tellsTheFirstOfTwoFaults_data()
{
    QTest::addColumn<std::string>("bytes");
    QTest::addColumn<ArchiveLimits>("limits");
    QTest::addColumn<QString>("message");
    const std::string full(128, '/');
    limitRow("signature before version", ArchiveBuilder().withMagic("QOMC").withVersion(2), {}, kBadMagic);
    QTest::newRow("version before a missing root") << "QOMB\2\0"s << ArchiveLimits{} << kBadVersion;
    limitRow("missing NUL before forbidden bytes", ArchiveBuilder().file("x").withFileField(full), {}, kBadName);
    limitRow(
        "padding before forbidden bytes", ArchiveBuilder().withDirectoryField(archiveNameField("/\0/"s, 64)), {},
        kBadPadding);
    limitRow("name before counts", ArchiveBuilder("/").withFileCount(1), {}, kUnsafe);
    QTest::newRow("name before missing counts")
        << ArchiveBuilder("/").build().substr(0, 70) << ArchiveLimits{} << kUnsafe;
    limitRow("room before count", ArchiveBuilder().withFileCount(1), {.fileRecords = 0}, kTooLarge);
    limitRow("count before nesting", ArchiveBuilder().file("a").enter("d"), {.fileRecords = 0, .depth = 0}, kTooMany);
    limitRow("nesting before the path budget", ArchiveBuilder().enter("d"), {.pathBytes = 0, .depth = 0}, kTooDeep);
    limitRow("nesting before the files' names", nested(64).file("/").enter("d"), {}, kTooDeep);
    limitRow("directory's path before its files' names", ArchiveBuilder().file("/"), {.pathBytes = 7}, kPathsTooLong);
    limitRow("file's name before its range", ArchiveBuilder().file("/").withOffset(0xffffffff), {}, kUnsafe);
    limitRow(
        "range before the path budget", ArchiveBuilder().file("a").withOffset(0xffffffff), {.pathBytes = 8},
        kOutOfRange);
    limitRow("files before subdirectories", ArchiveBuilder().file("..").enter("\n"), {}, kUnsafe);
    limitRow(
        "later record before a duplicate", ArchiveBuilder().file("a").file("a").enter(std::string(64, 'd')), {},
        kBadName);
    limitRow("duplicate before overlap", ArchiveBuilder().file("a").file("a").withOffset(0), {}, kDuplicate);
    limitRow("overlap before a gap", ArchiveBuilder().file("a", "1").file("b").withOffset(0), {}, kOverlap);
    limitRow("gap before the end", ArchiveBuilder().file("a").withOffset(211).withAppended("12"), {}, kGap);
}

void TestArchiveIndex::tellsTheFirstOfTwoFaults()
{
    QFETCH(std::string, bytes);
    QFETCH(ArchiveLimits, limits);
    QTEST(refusal(bytes, limits), "message");
}

void TestArchiveIndex::judgesEveryByteOfAName_data()
{
    QTest::addColumn<bool>("inFile");
    QTest::newRow("directory") << false;
    QTest::newRow("file") << true;
}

void TestArchiveIndex::judgesEveryByteOfAName()
{
    QFETCH(bool, inFile);
    for (int byte = 1; byte < 256; ++byte) {
        const std::string name = "a"s + static_cast<char>(byte) + "b";
        const ArchiveBuilder builder = inFile ? ArchiveBuilder().file(name) : ArchiveBuilder().enter(name).file("f");
        const bool allowed = (byte >= 32 && byte <= 126 && byte != 47 && byte != 92) || byte >= 160;
        QCOMPARE(refusal(builder.build()), allowed ? kAccepted : kUnsafe);
        if (allowed)
            QCOMPARE(readIndex(builder.build()).entries[0].path, "textures/" + name + (inFile ? "" : "/f"));
    }
}

void TestArchiveIndex::keepsEveryLimit_data()
{
    QTest::addColumn<std::string>("bytes");
    QTest::addColumn<ArchiveLimits>("limits");
    QTest::addColumn<QString>("message");
    const ArchiveBuilder two = ArchiveBuilder("r").file("f", "1").enter("d").file("f", "1").leave();
    limitRow("an index as long as its budget", two, {.indexBytes = 414}, kAccepted);
    limitRow("an index one byte longer", two, {.indexBytes = 413}, kTooLarge);
    limitRow("as many files as allowed", two, {.fileRecords = 2}, kAccepted);
    limitRow("one file more", two, {.fileRecords = 1}, kTooMany);
    // "r", "r/f", "r/d" and "r/d/f" are 12 bytes together.
    limitRow("paths as long as their budget", two, {.pathBytes = 12}, kAccepted);
    limitRow("last file's path one byte longer", two, {.pathBytes = 11}, kPathsTooLong);
    limitRow("directory's path one byte longer", two, {.pathBytes = 6}, kPathsTooLong);
    limitRow("root's path one byte longer", two, {.pathBytes = 0}, kPathsTooLong);
    limitRow("a directory at the deepest level", two, {.depth = 1}, kAccepted);
    limitRow("a directory below the deepest level", two, {.depth = 0}, kTooDeep);
}

void TestArchiveIndex::keepsEveryLimit()
{
    QFETCH(std::string, bytes);
    QFETCH(ArchiveLimits, limits);
    QTEST(refusal(bytes, limits), "message");
}

void TestArchiveIndex::boundsExpandedPathsAt64MiB()
{
    // The paths of 65 nested directories take 63, 127, ... 4159 bytes, and that of every file below 4160 and its name.
    ArchiveBuilder exact(std::string(63, 'd'));
    for (int level = 1; level <= 64; ++level)
        exact.enter(std::string(63, 'd'));
    constexpr std::uint64_t kForFiles = 67108864 - 65 * (63 + 4159) / 2;
    constexpr std::uint64_t kFiles = kForFiles / (4160 + 127) + 1;
    constexpr std::uint64_t kForNames = kForFiles - kFiles * 4160;
    const auto name = [](std::uint64_t file, std::uint64_t length) {
        const std::string number = std::to_string(file);
        return std::string(length - number.size(), 'f') + number;
    };
    for (std::uint64_t file = 0; file < kFiles - 1; ++file)
        exact.file(name(file, kForNames / kFiles + (file < kForNames % kFiles ? 1 : 0)));
    ArchiveBuilder longer = exact;
    exact.file(name(kFiles, kForNames / kFiles));
    longer.file(name(kFiles, kForNames / kFiles + 1));

    QCOMPARE(std::uint64_t{readIndex(exact.build()).entries.size()}, kFiles);
    QCOMPARE(refusal(longer.build()), kPathsTooLong);
}

void TestArchiveIndex::findsOnePairAmongTheMostSiblings_data()
{
    QTest::addColumn<bool>("pairInFiles");
    QTest::newRow("two files") << true;
    QTest::newRow("a file and a directory") << false;
}

void TestArchiveIndex::findsOnePairAmongTheMostSiblings()
{
    QFETCH(bool, pairInFiles);
    ArchiveBuilder builder;
    ArchiveBuilder paired;
    for (int i = 0; i < 65534; ++i) {
        builder.file(numbered('f', i));
        paired.file(numbered('f', i));
    }
    builder.file("last");
    paired.file(pairInFiles ? "f31415" : "d27182");
    for (int i = 0; i < 65535; ++i) {
        builder.enter(numbered('d', i)).leave();
        paired.enter(numbered('d', i)).leave();
    }

    QCOMPARE(refusal(builder.build()), kAccepted);
    QCOMPARE(refusal(paired.build()), kDuplicate);
}

QTEST_APPLESS_MAIN(TestArchiveIndex)
#include "test_archive_index.moc"
