#include "formats/archive_index.h"
#include "support/failure_of.h"
#include "support/sample_game.h"

#include <QCryptographicHash>
#include <QDirIterator>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <fstream>

using namespace vok::launcher_formats;
using namespace vok::test_support;
using namespace Qt::Literals::StringLiterals;

class TestSampleGame : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasExactlyTheSizeAskedFor_data();
    void hasExactlyTheSizeAskedFor();
    void hasExactlyTheEntriesAskedFor_data();
    void hasExactlyTheEntriesAskedFor();
    void givesTheSameBytesForTheSameSeed();
    void holdsValidArchivesOfEveryKind();
    void holdsWhatAnImportHasToCopeWith();
    void refusesDirectoriesThatHoldSomething();
    void refusesOptionsOutOfRange();
    void runsAsAProgram();
};

namespace
{

constexpr std::uint64_t kMiB = 1048576;

std::filesystem::path native(const QString& path)
{
    return path.toStdU16String();
}

/// Every path below `root`, sorted; directories end with a slash.
QStringList pathsBelow(const QString& root)
{
    QStringList paths;
    QDirIterator iterator(root, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (iterator.hasNext()) {
        iterator.next();
        const QString relative = iterator.filePath().mid(root.size() + 1);
        paths.append(iterator.fileInfo().isDir() ? relative + u'/' : relative);
    }
    paths.sort();
    return paths;
}

std::uint64_t bytesBelow(const QString& root)
{
    std::uint64_t bytes = 0;
    for (const QString& path : pathsBelow(root))
        bytes += path.endsWith(u'/') ? 0 : static_cast<std::uint64_t>(QFileInfo(root + u'/' + path).size());
    return bytes;
}

QByteArray digestOf(const QString& root)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (const QString& path : pathsBelow(root)) {
        hash.addData(path.toUtf8() + '\0');
        QFile file(root + u'/' + path);
        if (!path.endsWith(u'/') && file.open(QIODevice::ReadOnly))
            hash.addData(&file);
    }
    return hash.result();
}

} // namespace

void TestSampleGame::hasExactlyTheSizeAskedFor_data()
{
    QTest::addColumn<std::uint64_t>("bytes");
    QTest::newRow("smallest") << kSmallestSampleBytes;
    QTest::newRow("an odd number") << std::uint64_t{1234567};
    QTest::newRow("16 MiB") << 16 * kMiB;
    QTest::newRow("100 MiB") << 100 * kMiB;
}

void TestSampleGame::hasExactlyTheSizeAskedFor()
{
    QFETCH(std::uint64_t, bytes);
    const QTemporaryDir folder;
    const SampleGameTotals totals = writeSampleGame(native(folder.path()), {.bytes = bytes});
    QCOMPARE(totals.bytes, bytes);
    QCOMPARE(bytesBelow(folder.path()), bytes);
}

void TestSampleGame::hasExactlyTheEntriesAskedFor_data()
{
    QTest::addColumn<std::uint64_t>("entries");
    QTest::newRow("fewest") << kFewestSampleEntries;
    QTest::newRow("full zones") << std::uint64_t{1021};
    QTest::newRow("many") << std::uint64_t{5000};
}

void TestSampleGame::hasExactlyTheEntriesAskedFor()
{
    QFETCH(std::uint64_t, entries);
    const QTemporaryDir folder;
    const SampleGameTotals totals =
        writeSampleGame(native(folder.path()), {.bytes = kSmallestSampleBytes, .entries = entries});
    QCOMPARE(totals.files + totals.directories, entries);
    QCOMPARE(static_cast<std::uint64_t>(pathsBelow(folder.filePath(u"app/base"_s)).size()), entries);
    QCOMPARE(totals.bytes, kSmallestSampleBytes);
}

void TestSampleGame::givesTheSameBytesForTheSameSeed()
{
    const QTemporaryDir folder;
    const auto digest = [&](const QString& name, std::uint64_t seed) {
        writeSampleGame(native(folder.filePath(name)), {.bytes = 2 * kMiB, .seed = seed});
        return digestOf(folder.filePath(name));
    };
    const QByteArray first = digest(u"first"_s, 7);
    QCOMPARE(digest(u"again"_s, 7), first);
    QVERIFY(digest(u"other"_s, 8) != first);
}

void TestSampleGame::holdsValidArchivesOfEveryKind()
{
    const QTemporaryDir folder;
    writeSampleGame(native(folder.path()), {.bytes = 8 * kMiB});
    for (const QString& root : {u"textures"_s, u"lightmaps"_s, u"objects"_s, u"sounds"_s}) {
        const QString path = folder.filePath(u"app/base/"_s + root + u".qomb"_s);
        std::ifstream stream(native(path), std::ios::binary);
        const ArchiveIndex index = readArchiveIndex(stream, static_cast<std::uint64_t>(QFileInfo(path).size()));
        int images = 0;
        int deep = 0;
        for (const ArchiveEntry& entry : index.entries) {
            QVERIFY(entry.path.starts_with(root.toStdString() + "/"));
            deep += std::count(entry.path.begin(), entry.path.end(), '/') == 3 ? 1 : 0;
            if (!entry.path.ends_with(".dds"))
                continue;
            const EntryPrefix prefix = readEntryPrefix(stream, entry);
            QCOMPARE(std::string(prefix.bytes.data(), 4), std::string("DDS "));
            ++images;
        }
        QVERIFY2(deep > 0, qPrintable(root));
        QCOMPARE(images > 0, root != u"sounds"_s);
    }
}

void TestSampleGame::holdsWhatAnImportHasToCopeWith()
{
    const QTemporaryDir folder;
    writeSampleGame(native(folder.path()), {.bytes = kSmallestSampleBytes});
    const QStringList paths = pathsBelow(folder.filePath(u"app/base"_s));
    QVERIFY(paths.contains(u"boş klasör/"_s));
    QVERIFY(QDir(folder.filePath(u"app/base/boş klasör"_s)).isEmpty());
    QVERIFY(paths.contains(u"fonts/okubeni ş.txt"_s));
    const QString all = paths.join(u'\n');
    for (const QChar letter : u"İışğçöü"_s)
        QVERIFY2(all.contains(letter), qPrintable(QString(letter)));
    QVERIFY(std::any_of(
        paths.begin(), paths.end(), [](const QString& path) { return path.count(u'/') == 2 && !path.endsWith(u'/'); }));
}

void TestSampleGame::refusesDirectoriesThatHoldSomething()
{
    const QTemporaryDir folder;
    const QString directory = folder.filePath(u"game"_s);
    writeSampleGame(native(directory), {.bytes = kSmallestSampleBytes});
    const QByteArray digest = digestOf(directory);
    const QString message =
        failureOf<std::runtime_error>([&] { writeSampleGame(native(directory), {.bytes = kSmallestSampleBytes}); });
    QCOMPARE(message, directory + u" is not empty"_s);
    QCOMPARE(digestOf(directory), digest);
}

void TestSampleGame::refusesOptionsOutOfRange()
{
    const QTemporaryDir folder;
    const QString directory = folder.filePath(u"game"_s);
    const auto message = [&](const SampleGameOptions& options) {
        return failureOf<std::invalid_argument>([&] { writeSampleGame(native(directory), options); });
    };
    const QString badSize = u"the size of a sample game lies between 1 MiB and 128 GiB"_s;
    const QString badEntries = u"the entries of a sample game lie between 50 and 200000"_s;
    QCOMPARE(message({.bytes = kSmallestSampleBytes - 1}), badSize);
    QCOMPARE(message({.bytes = kLargestSampleBytes + 1}), badSize);
    QCOMPARE(message({.entries = kFewestSampleEntries - 1}), badEntries);
    QCOMPARE(message({.entries = kMostSampleEntries + 1}), badEntries);
    QVERIFY(!QFileInfo::exists(directory));
}

void TestSampleGame::runsAsAProgram()
{
    const QTemporaryDir folder;
    const auto run = [](const QStringList& arguments) {
        QProcess program;
        program.start(QStringLiteral(VOK_SAMPLE_GAME), arguments);
        program.waitForFinished();
        return std::pair(program.exitCode(), QString::fromUtf8(program.readAll() + program.readAllStandardError()));
    };
    const auto [helpCode, help] = run({u"--help"_s});
    QCOMPARE(helpCode, 0);
    QVERIFY(help.contains(u"--entries"_s));
    const QString directory = folder.filePath(u"game"_s);
    const QStringList valid{u"--size"_s, u"2MiB"_s, u"--seed"_s, u"5"_s, u"--entries"_s, u"100"_s, directory};
    QCOMPARE(run(valid).first, 0);
    QCOMPARE(bytesBelow(directory), 2 * kMiB);
    QCOMPARE(run(valid), std::pair(1, u"vok-sample-game: %1 is not empty\n"_s.arg(directory)));
    QCOMPARE(run({}), std::pair(1, u"vok-sample-game: exactly one DIR is needed; --help tells more\n"_s));
    QCOMPARE(
        run({u"--size"_s, u"2MB"_s, directory}),
        std::pair(1, u"vok-sample-game: not a size, such as 16MiB or 2GiB: 2MB\n"_s));
    QCOMPARE(
        run({u"--entries"_s, u"0"_s, folder.filePath(u"none"_s)}),
        std::pair(1, u"vok-sample-game: the entries of a sample game lie between 50 and 200000\n"_s));
}

QTEST_GUILESS_MAIN(TestSampleGame)
#include "test_sample_game.moc"
