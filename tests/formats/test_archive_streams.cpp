#include "formats/archive_index.h"
#include "support/archive_builder.h"
#include "support/awkward_streams.h"
#include "support/failure_of.h"
#include "support/largest_archive.h"
#include "support/little_endian.h"

#include <QTemporaryDir>
#include <QTest>

#include <filesystem>
#include <fstream>
#include <sstream>

using namespace vok::launcher_formats;
using namespace vok::test_support;
using namespace Qt::Literals::StringLiterals;
using namespace std::string_literals;

class TestArchiveStreams : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusesEveryPrefixOfAnArchive();
    void refusesEveryFlippedBitOrReadsAWholeArchive();
    void tellsAStreamThatEndsInsideTheIndex();
    void tellsAStreamThatThrowsInsideTheIndex();
    void needsNothingBehindTheIndex();
    void readsNothingBehindTheGivenLength();
    void readsNothingBehindTheIndexFromAPipe();
    void tellsAStreamThatFailedBefore();
    void tellsAFileThatCannotBeRead();
    void believesTheGivenLength_data();
    void believesTheGivenLength();
    void readsTheLargestIndex_data();
    void readsTheLargestIndex();
    void refusesOneRecordMoreThanTheLargestIndex();
    void readsAnIndexAcrossManyBlocks();
    void readsPrefixes_data();
    void readsPrefixes();
    void refusesPrefixesThatAreNotThere();
    void readsWholeEntries();
    void refusesEntriesAboveTheBudget();
    void refusesEntriesThatAreNotThere();
};

namespace
{

const QString kAccepted;
const QString kTruncated = u"truncated QOMB index"_s;
const QString kTooLarge = u"QOMB index exceeds file size or 64 MiB budget"_s;
const QString kCannotSeek = u"cannot seek to QOMB entry"_s;

ArchiveBuilder sample()
{
    ArchiveBuilder builder("textures");
    builder.file("a.dds", "first").file("b.dds").enter("deep").file("c.dds", "third").enter("er").leave().leave();
    return builder;
}

/// Files "f0", "f1", ... whose contents are their numbers.
ArchiveBuilder archiveOf(int files)
{
    ArchiveBuilder builder;
    for (int file = 0; file < files; ++file)
        builder.file("f"s.append(std::to_string(file)), std::to_string(file));
    return builder;
}

QString refusal(std::istream& stream, std::uint64_t fileSize)
{
    return failureOf<std::runtime_error>([&] { readArchiveIndex(stream, fileSize); });
}

QString refusal(const std::string& bytes, std::uint64_t fileSize)
{
    std::istringstream stream(bytes);
    return refusal(stream, fileSize);
}

/// The same, out of a stream that allows no block to be read.
QString trickledRefusal(
    const std::string& bytes, std::uint64_t fileSize, TricklingBuffer::End end = TricklingBuffer::End::Quiet)
{
    TricklingBuffer buffer(bytes, end);
    std::istream stream(&buffer);
    return refusal(stream, fileSize);
}

bool coversExactly(const ArchiveIndex& index, std::uint64_t fileSize)
{
    std::uint64_t cursor = index.indexEnd;
    for (const ArchiveEntry& entry : index.entries) {
        if (entry.offset != cursor)
            return false;
        cursor += entry.size;
    }
    return cursor == index.payloadEnd && cursor == fileSize;
}

std::string text(const std::vector<char>& bytes)
{
    return {bytes.begin(), bytes.end()};
}

} // namespace

void TestArchiveStreams::refusesEveryPrefixOfAnArchive()
{
    const std::string whole = sample().build();
    QCOMPARE(refusal(whole, whole.size()), kAccepted);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const QString message = refusal(whole.substr(0, length), length);
        QVERIFY2(message != kAccepted, qPrintable(QString::number(length)));
        QCOMPARE(trickledRefusal(whole.substr(0, length), length), message);
    }
}

void TestArchiveStreams::refusesEveryFlippedBitOrReadsAWholeArchive()
{
    const std::string whole = sample().build();
    int accepted = 0;
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        std::string flipped = whole;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        const QString message = refusal(flipped, flipped.size());
        QCOMPARE(trickledRefusal(flipped, flipped.size()), message);
        if (message != kAccepted)
            continue;
        ++accepted;
        std::istringstream stream(flipped);
        QVERIFY2(
            coversExactly(readArchiveIndex(stream, flipped.size()), flipped.size()), qPrintable(QString::number(bit)));
    }
    // Bits of contents and most bits of names may flip; nothing else may.
    QVERIFY(accepted >= 80);
    QVERIFY(accepted < 400);
}

void TestArchiveStreams::tellsAStreamThatEndsInsideTheIndex()
{
    const ArchiveBuilder builder = sample();
    const std::string whole = builder.build();
    for (std::size_t length = 0; length < builder.indexBytes(); ++length) {
        QCOMPARE(refusal(whole.substr(0, length), whole.size()), kTruncated);
        QCOMPARE(trickledRefusal(whole.substr(0, length), whole.size()), kTruncated);
    }
}

void TestArchiveStreams::tellsAStreamThatThrowsInsideTheIndex()
{
    const ArchiveBuilder builder = sample();
    const std::string whole = builder.build();
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const QString message = trickledRefusal(whole.substr(0, length), whole.size(), TricklingBuffer::End::Throwing);
        QCOMPARE(message, length < builder.indexBytes() ? kTruncated : kAccepted);
    }
}

void TestArchiveStreams::needsNothingBehindTheIndex()
{
    const ArchiveBuilder builder = sample();
    const std::string whole = builder.build();
    for (std::size_t length = builder.indexBytes(); length <= whole.size(); ++length) {
        std::istringstream stream(whole.substr(0, length));
        const ArchiveIndex index = readArchiveIndex(stream, whole.size());
        QVERIFY(stream.good());
        for (const ArchiveEntry& entry : index.entries) {
            if (entry.offset + entry.size <= length)
                QCOMPARE(text(readEntry(stream, entry, 100)), whole.substr(entry.offset, entry.size));
        }
    }
}

void TestArchiveStreams::readsNothingBehindTheGivenLength()
{
    // Long enough for several blocks, the last of which could reach into what follows.
    const std::string whole = archiveOf(1000).build();
    std::istringstream stream(whole + std::string(100000, 'x'));
    QCOMPARE(refusal(stream, whole.size()), kAccepted);
    QVERIFY(stream.tellg() <= std::streamoff(whole.size()));

    HesitantBuffer buffer(sample().build() + std::string(1000, 'x'));
    std::istream hesitant(&buffer);
    QCOMPARE(refusal(hesitant, sample().build().size()), kAccepted);
    QVERIFY(buffer.given() <= sample().build().size());
}

void TestArchiveStreams::readsNothingBehindTheIndexFromAPipe()
{
    const ArchiveBuilder builder = sample();
    const std::string whole = builder.build();
    TricklingBuffer buffer(whole);
    std::istream stream(&buffer);
    QCOMPARE(refusal(stream, whole.size()), kAccepted);
    QCOMPARE(std::uint64_t{buffer.given()}, builder.indexBytes());
    QVERIFY(stream.good());
}

void TestArchiveStreams::tellsAStreamThatFailedBefore()
{
    const std::string whole = sample().build();
    for (const auto state : {std::ios::failbit, std::ios::badbit, std::ios::eofbit}) {
        std::istringstream stream(whole);
        stream.setstate(state);
        QCOMPARE(refusal(stream, whole.size()), kTruncated);
        stream.clear(state);
        QCOMPARE(refusal(stream, 3), kTooLarge);
    }
}

void TestArchiveStreams::tellsAFileThatCannotBeRead()
{
    const QTemporaryDir folder;
    std::ifstream directory(folder.path().toStdString(), std::ios::binary);
    QCOMPARE(refusal(directory, 1000), kTruncated);
    std::ifstream missing(folder.filePath(u"missing"_s).toStdString(), std::ios::binary);
    QCOMPARE(refusal(missing, 1000), kTruncated);
}

void TestArchiveStreams::believesTheGivenLength_data()
{
    QTest::addColumn<int>("difference");
    QTest::addColumn<QString>("message");
    QTest::newRow("a byte longer than the stream") << 1 << u"QOMB payload does not end at exact EOF"_s;
    QTest::newRow("as long as the stream") << 0 << kAccepted;
    QTest::newRow("a byte shorter than the stream") << -1 << u"QOMB entry range exceeds EOF"_s;
    QTest::newRow("without the payload") << -10 << u"QOMB entry range exceeds EOF"_s;
    QTest::newRow("a byte shorter than the index") << -11 << u"QOMB entry range exceeds EOF"_s;
    QTest::newRow("without the last directory") << -78 << u"QOMB entry range exceeds EOF"_s;
}

void TestArchiveStreams::believesTheGivenLength()
{
    QFETCH(int, difference);
    const std::string whole = sample().build();
    QTEST(refusal(whole, whole.size() + static_cast<std::uint64_t>(difference)), "message");
}

void TestArchiveStreams::readsTheLargestIndex_data()
{
    QTest::addColumn<NameShape>("shape");
    QTest::addColumn<std::size_t>("lastPathBytes");
    QTest::newRow("rising names") << NameShape::Rising << std::size_t{28};
    QTest::newRow("shuffled names") << NameShape::Shuffled << std::size_t{28};
    QTest::newRow("longest names") << NameShape::Longest << std::size_t{136};
}

void TestArchiveStreams::readsTheLargestIndex()
{
    QFETCH(NameShape, shape);
    const QTemporaryDir folder;
    const std::filesystem::path path = folder.filePath(u"largest"_s).toStdString();
    writeLargestArchive(path, shape);
    QCOMPARE(std::uint64_t{std::filesystem::file_size(path)}, kLargestArchiveBytes);
    std::ifstream stream(path, std::ios::binary);

    const ArchiveIndex index = readArchiveIndex(stream, kLargestArchiveBytes);

    QCOMPARE(std::uint64_t{index.entries.size()}, kLargestArchiveRecords);
    QCOMPARE(index.indexEnd, kLargestArchiveBytes);
    QTEST(index.entries.back().path.size(), "lastPathBytes");
    QVERIFY(index.entries.back().path.starts_with("textures/d7/0"));
    QVERIFY(stream.good());
}

void TestArchiveStreams::refusesOneRecordMoreThanTheLargestIndex()
{
    const QTemporaryDir folder;
    const std::filesystem::path path = folder.filePath(u"larger"_s).toStdString();
    writeLargestArchive(path);
    constexpr std::uint64_t kLastDirectory = kLargestArchiveBytes - kArchiveDirectoryBytes
                                             - (kLargestArchiveRecords - std::uint64_t{7} * 65535) * kArchiveFileBytes;
    std::string count;
    appendLittleEndian(count, static_cast<std::uint16_t>(kLargestArchiveRecords - std::uint64_t{7} * 65535 + 1));
    {
        std::fstream archive(path, std::ios::binary | std::ios::in | std::ios::out);
        archive.seekp(std::streamoff(kLastDirectory + 66));
        archive.write(count.data(), 2);
    }
    // The file itself is long enough for the record; only the budget is not.
    std::filesystem::resize_file(path, kLargestArchiveBytes + 1000);

    std::ifstream stream(path, std::ios::binary);
    QCOMPARE(refusal(stream, kLargestArchiveBytes + 1000), kTooLarge);
}

void TestArchiveStreams::readsAnIndexAcrossManyBlocks()
{
    const std::string whole = archiveOf(3000).build();
    const QTemporaryDir folder;
    const std::filesystem::path path = folder.filePath(u"archive"_s).toStdString();
    std::ofstream(path, std::ios::binary) << whole;
    std::ifstream stream(path, std::ios::binary);

    const ArchiveIndex index = readArchiveIndex(stream, whole.size());

    QCOMPARE(index.entries.size(), std::size_t{3000});
    for (std::size_t file = 0; file < index.entries.size(); ++file) {
        QCOMPARE(index.entries[file].path, "textures/f"s + std::to_string(file));
        QCOMPARE(text(readEntry(stream, index.entries[file], 4)), std::to_string(file));
    }
}

void TestArchiveStreams::readsPrefixes_data()
{
    QTest::addColumn<std::uint32_t>("size");
    QTest::addColumn<std::size_t>("length");
    QTest::newRow("nothing") << 0U << std::size_t{0};
    QTest::newRow("one byte") << 1U << std::size_t{1};
    QTest::newRow("127 bytes") << 127U << std::size_t{127};
    QTest::newRow("128 bytes") << 128U << std::size_t{128};
    QTest::newRow("129 bytes") << 129U << std::size_t{128};
    QTest::newRow("more than the stream holds") << 0xffffffffU << std::size_t{128};
}

void TestArchiveStreams::readsPrefixes()
{
    QFETCH(std::uint32_t, size);
    QFETCH(std::size_t, length);
    std::istringstream stream("skip" + std::string(200, 'p'));

    const EntryPrefix prefix = readEntryPrefix(stream, {"textures/a", 4, size});

    QCOMPARE(prefix.length, length);
    const std::string bytes(prefix.bytes.data(), prefix.bytes.size());
    QCOMPARE(bytes, archiveNameField(std::string(length, 'p'), 128));
}

void TestArchiveStreams::refusesPrefixesThatAreNotThere()
{
    const auto message = [](std::istream& stream, const ArchiveEntry& entry) {
        return failureOf<std::runtime_error>([&] { readEntryPrefix(stream, entry); });
    };
    std::istringstream shortStream("12345");
    QCOMPARE(message(shortStream, {"a", 2, 4}), u"truncated QOMB payload prefix"_s);
    QCOMPARE(message(shortStream, {"a", 2, 3}), kCannotSeek);
    TricklingBuffer pipe("12345");
    std::istream fixed(&pipe);
    QCOMPARE(message(fixed, {"a", 0, 0}), kCannotSeek);
    BoastingBuffer boasting("12345", 1000);
    std::istream boaster(&boasting);
    QCOMPARE(message(boaster, {"a", 900, 1}), u"truncated QOMB payload prefix"_s);
}

void TestArchiveStreams::readsWholeEntries()
{
    std::istringstream stream("prefixDATA");
    QCOMPARE(text(readEntry(stream, {"test", 6, 4}, 4)), "DATA"s);
    QCOMPARE(text(readEntry(stream, {"test", 0, 10}, 0xffffffffff)), "prefixDATA"s);
    QCOMPARE(text(readEntry(stream, {"test", 10, 0}, 0)), ""s);
    QVERIFY(stream.good());
}

void TestArchiveStreams::refusesEntriesAboveTheBudget()
{
    std::istringstream stream("prefixDATA");
    const auto message = [&](std::uint32_t size, std::uint64_t maximumBytes) {
        return failureOf<std::runtime_error>([&] { readEntry(stream, {"over-budget", 6, size}, maximumBytes); });
    };
    QCOMPARE(message(4, 4), kAccepted);
    QCOMPARE(message(4, 3), u"QOMB entry exceeds byte budget or stream range"_s);
    QCOMPARE(message(0xffffffff, 0xfffffffe), u"QOMB entry exceeds byte budget or stream range"_s);
    QVERIFY(stream.good());
}

void TestArchiveStreams::refusesEntriesThatAreNotThere()
{
    const auto message = [](std::istream& stream, const ArchiveEntry& entry) {
        return failureOf<std::runtime_error>([&] { readEntry(stream, entry, 0xffffffff); });
    };
    std::istringstream stream("prefixDATA");
    QCOMPARE(message(stream, {"past-EOF", 6, 5}), u"QOMB entry range exceeds stream EOF"_s);
    QCOMPARE(message(stream, {"past-EOF", 11, 0}), u"QOMB entry range exceeds stream EOF"_s);
    QCOMPARE(message(stream, {"past-EOF", 0xffffffff, 0xffffffff}), u"QOMB entry range exceeds stream EOF"_s);
    QCOMPARE(message(stream, {"past-EOF", 0xffffffff, 2}), u"QOMB entry range exceeds stream EOF"_s);
    QCOMPARE(message(stream, {"a", 6, 4}), kAccepted);
    stream.setstate(std::ios::failbit);
    QCOMPARE(message(stream, {"a", 6, 4}), u"QOMB entry range exceeds stream EOF"_s);
    TricklingBuffer pipe("12345");
    std::istream fixed(&pipe);
    QCOMPARE(message(fixed, {"a", 0, 1}), u"QOMB entry range exceeds stream EOF"_s);
    BoastingBuffer boasting("12345", 1000);
    std::istream boaster(&boasting);
    QCOMPARE(message(boaster, {"a", 3, 3}), u"truncated QOMB payload"_s);
    boaster.clear();
    boasting.refusePositions();
    QCOMPARE(message(boaster, {"a", 3, 1}), kCannotSeek);
}

QTEST_APPLESS_MAIN(TestArchiveStreams)
#include "test_archive_streams.moc"
