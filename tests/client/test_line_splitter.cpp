#include "client/line_splitter.h"

#include <QTest>

#include <algorithm>
#include <stdexcept>

using namespace Qt::Literals::StringLiterals;

namespace vok::launcher_client
{

class TestLineSplitter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { lines.clear(); }
    void cutsLines_data();
    void cutsLines();
    void passesALineOfExactlyTheLimit_data();
    void passesALineOfExactlyTheLimit();
    void refusesALineAboveTheLimit_data();
    void refusesALineAboveTheLimit();
    void handsOutTheLinesBeforeARefusedOne();
    void goesOnAfterARefusal();
    void passesTwoLongLinesInOneChunk();
    void redactsASecretSplitAtAnyByte();
    void redacts_data();
    void redacts();
    void redactsALongLineFullOfSecrets();
    void decodesSplitCharactersWhole();
    void replacesBytesThatAreNoUtf8();
    void overwritesItsBuffer_data();
    void overwritesItsBuffer();
    void neverMovesItsBuffer();
    void staysUsableWhenTheHandlerThrows();
    void staysUsableWhenTheHandlerFeedsIt();

private:
    bool feed(LineSplitter& splitter, QByteArrayView chunk, bool isFinal = false, QByteArrayView secret = {})
    {
        return splitter.feed(chunk, secret, isFinal, [this](const QString& line) { lines.append(line); });
    }

    QStringList lines;
};

namespace
{

const QByteArray kToken = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

bool isZero(const char* bytes, qsizetype count)
{
    return std::all_of(bytes, bytes + count, [](char byte) { return byte == '\0'; });
}

} // namespace

void TestLineSplitter::cutsLines_data()
{
    QTest::addColumn<QByteArrayList>("chunks");
    QTest::addColumn<QStringList>("afterTheLastChunk");
    QTest::addColumn<QStringList>("afterTheEnd");
    const auto row = [](const char* name, const QByteArrayList& chunks, const QStringList& now,
                        const QStringList& end) { QTest::newRow(name) << chunks << now << end; };
    row("nothing", {}, {}, {});
    row("an empty chunk", {""}, {}, {});
    row("one line", {"a\n"}, {u"a"_s}, {u"a"_s});
    row("an empty line", {"\n"}, {u""_s}, {u""_s});
    row("two lines in a chunk", {"a\nb\n"}, {u"a"_s, u"b"_s}, {u"a"_s, u"b"_s});
    row("a line in three chunks", {"a", "b", "c\n"}, {u"abc"_s}, {u"abc"_s});
    row("no newline at the end", {"a\nb"}, {u"a"_s}, {u"a"_s, u"b"_s});
    row("carriage return", {"a\r\n"}, {u"a"_s}, {u"a"_s});
    row("carriage return and newline in two chunks", {"a\r", "\n"}, {u"a"_s}, {u"a"_s});
    row("two carriage returns", {"a\r\r\n"}, {u"a\r"_s}, {u"a\r"_s});
    row("carriage return within a line", {"a\rb\n"}, {u"a\rb"_s}, {u"a\rb"_s});
    row("carriage return at the end", {"a\r"}, {}, {u"a"_s});
    row("two carriage returns at the end", {"a\r\r"}, {}, {u"a\r"_s});
    row("only a carriage return at the end", {"\r"}, {}, {u""_s});
    row("NUL is a character like others", {QByteArray("a\0b\n", 4)}, {u"a\0b"_s}, {u"a\0b"_s});
}

void TestLineSplitter::cutsLines()
{
    QFETCH(QByteArrayList, chunks);
    LineSplitter splitter;
    for (const QByteArray& chunk : chunks)
        QVERIFY(feed(splitter, chunk));
    QTEST(lines, "afterTheLastChunk");
    QVERIFY(feed(splitter, {}, true));
    QTEST(lines, "afterTheEnd");
    QVERIFY(feed(splitter, {}, true));
    QTEST(lines, "afterTheEnd");
}

void TestLineSplitter::passesALineOfExactlyTheLimit_data()
{
    QTest::addColumn<qsizetype>("firstChunkBytes");
    QTest::newRow("in one chunk") << qsizetype(65536);
    QTest::newRow("in two chunks") << qsizetype(40000);
    QTest::newRow("its last byte alone") << qsizetype(65535);
}

void TestLineSplitter::passesALineOfExactlyTheLimit()
{
    QFETCH(qsizetype, firstChunkBytes);
    const QByteArray line(65536, 'x');
    LineSplitter splitter;
    QVERIFY(feed(splitter, line.first(firstChunkBytes)));
    QVERIFY(feed(splitter, line.sliced(firstChunkBytes)));
    QVERIFY(feed(splitter, "\n"));
    QVERIFY(feed(splitter, line));
    QVERIFY(feed(splitter, {}, true));
    QCOMPARE(lines, QStringList({QString::fromLatin1(line), QString::fromLatin1(line)}));
}

void TestLineSplitter::refusesALineAboveTheLimit_data()
{
    QTest::addColumn<QByteArrayList>("chunks");
    QTest::newRow("in one chunk") << QByteArrayList({QByteArray(65537, 'x')});
    QTest::newRow("in one chunk with its newline") << QByteArrayList({QByteArray(65537, 'x') + '\n'});
    QTest::newRow("by one byte of a second chunk") << QByteArrayList({QByteArray(65536, 'x'), "x\n"});
    QTest::newRow("by a carriage return") << QByteArrayList({QByteArray(65536, 'x') + "\r\n"});
}

void TestLineSplitter::refusesALineAboveTheLimit()
{
    QFETCH(QByteArrayList, chunks);
    LineSplitter splitter;
    for (qsizetype index = 0; index + 1 < chunks.size(); ++index)
        QVERIFY(feed(splitter, chunks.at(index)));
    QVERIFY(!feed(splitter, chunks.last()));
    QVERIFY(feed(splitter, {}, true));
    QCOMPARE(lines, QStringList());
}

void TestLineSplitter::handsOutTheLinesBeforeARefusedOne()
{
    LineSplitter splitter;
    QVERIFY(!feed(splitter, "first\n" + QByteArray(65537, 'x') + "\nlast\n"));
    QCOMPARE(lines, QStringList(u"first"_s));
}

void TestLineSplitter::goesOnAfterARefusal()
{
    LineSplitter splitter;
    QVERIFY(!feed(splitter, QByteArray(65537, 'x')));
    QVERIFY(feed(splitter, "a\n"));
    QCOMPARE(lines, QStringList(u"a"_s));
}

void TestLineSplitter::passesTwoLongLinesInOneChunk()
{
    const QByteArray line(40000, 'x');
    LineSplitter splitter;
    QVERIFY(feed(splitter, line + '\n' + line + '\n'));
    QCOMPARE(lines, QStringList({QString::fromLatin1(line), QString::fromLatin1(line)}));
}

void TestLineSplitter::redactsASecretSplitAtAnyByte()
{
    const QByteArray output = "session=" + kToken + " ok\n";
    for (qsizetype cut = 0; cut <= output.size(); ++cut) {
        lines.clear();
        LineSplitter splitter;
        QVERIFY(feed(splitter, output.first(cut), false, kToken));
        QVERIFY(feed(splitter, output.sliced(cut), false, kToken));
        QCOMPARE(lines, QStringList(u"session=[REDACTED] ok"_s));
    }
}

void TestLineSplitter::redacts_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("secret");
    QTest::addColumn<QString>("shown");
    QTest::newRow("no secret") << QByteArray("a[]b") << QByteArray() << u"a[]b"_s;
    QTest::newRow("the line itself") << kToken << kToken << u"[REDACTED]"_s;
    QTest::newRow("two in a row") << kToken + kToken << kToken << u"[REDACTED][REDACTED]"_s;
    QTest::newRow("at both ends") << kToken + "-" + kToken << kToken << u"[REDACTED]-[REDACTED]"_s;
    QTest::newRow("before a carriage return") << kToken + "\r" << kToken << u"[REDACTED]"_s;
    QTest::newRow("all but its last byte") << kToken.chopped(1) << kToken << QString::fromLatin1(kToken.chopped(1));
    QTest::newRow("in another case") << kToken.toUpper() << kToken << QString::fromLatin1(kToken.toUpper());
    QTest::newRow("shorter than its replacement") << QByteArray("abc") << QByteArray("b") << u"a[REDACTED]c"_s;
    QTest::newRow("overlapping itself") << QByteArray("aaa") << QByteArray("aa") << u"[REDACTED]a"_s;
    QTest::newRow("beside letters beyond ASCII") << "ış" + kToken + "ğ" << kToken << u"ış[REDACTED]ğ"_s;
    QTest::newRow("found in its own replacement") << QByteArray("RED") << QByteArray("RED") << u"[REDACTED]"_s;
}

void TestLineSplitter::redacts()
{
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, secret);
    QFETCH(QString, shown);
    LineSplitter splitter;
    QVERIFY(feed(splitter, output + '\n', false, secret));
    QVERIFY(feed(splitter, output, true, secret));
    QCOMPARE(lines, QStringList({shown, shown}));
}

void TestLineSplitter::redactsALongLineFullOfSecrets()
{
    LineSplitter splitter;
    QVERIFY(feed(splitter, kToken.repeated(1024) + '\n', false, kToken));
    QCOMPARE(lines, QStringList(u"[REDACTED]"_s.repeated(1024)));
}

void TestLineSplitter::decodesSplitCharactersWhole()
{
    LineSplitter splitter;
    for (const char byte : QByteArray("İğne ışık\n"))
        QVERIFY(feed(splitter, QByteArrayView(&byte, 1)));
    QCOMPARE(lines, QStringList(u"İğne ışık"_s));
}

void TestLineSplitter::replacesBytesThatAreNoUtf8()
{
    LineSplitter splitter;
    QVERIFY(feed(
        splitter, "a\xff"
                  "b\nok\n"));
    QCOMPARE(lines, QStringList({u"a\ufffdb"_s, u"ok"_s}));
}

void TestLineSplitter::overwritesItsBuffer_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<bool>("isFinal");
    QTest::addColumn<qsizetype>("usedBytes");
    QTest::newRow("after a line") << kToken + "\r\n" << false << qsizetype(129);
    QTest::newRow("after the last line") << kToken << true << qsizetype(128);
    QTest::newRow("after a refusal") << QByteArray(65537, 'x') << false << qsizetype(64);
}

void TestLineSplitter::overwritesItsBuffer()
{
    QFETCH(QByteArray, output);
    QFETCH(bool, isFinal);
    QFETCH(qsizetype, usedBytes);
    LineSplitter splitter;
    QVERIFY(feed(splitter, kToken));
    const char* const held = splitter.m_buffer.constData();
    QVERIFY(!isZero(held, kToken.size()));
    std::ignore = feed(splitter, output, isFinal, kToken);
    QCOMPARE(splitter.m_buffer.constData(), held);
    QCOMPARE(splitter.m_buffer.size(), 0);
    QVERIFY(isZero(held, usedBytes));
}

void TestLineSplitter::neverMovesItsBuffer()
{
    LineSplitter splitter;
    const char* const held = splitter.m_buffer.constData();
    for (int count = 0; count < 65536; ++count)
        QVERIFY(feed(splitter, "x"));
    QCOMPARE(splitter.m_buffer.constData(), held);
    QCOMPARE(splitter.m_buffer.size(), 65536);
    splitter.discard();
    QVERIFY(isZero(held, kLongestLineBytes));
    QVERIFY(feed(splitter, "a\n"));
    QCOMPARE(splitter.m_buffer.constData(), held);
}

void TestLineSplitter::staysUsableWhenTheHandlerThrows()
{
    LineSplitter splitter;
    QVERIFY_EXCEPTION_THROWN(
        std::ignore = splitter.feed("a\n", {}, false, [](const QString&) { throw std::runtime_error("full"); }),
        std::runtime_error);
    QVERIFY(feed(splitter, "b\n"));
    QCOMPARE(lines, QStringList(u"b"_s));
}

void TestLineSplitter::staysUsableWhenTheHandlerFeedsIt()
{
    LineSplitter splitter;
    QVERIFY(splitter.feed("a\nc\n", {}, false, [&](const QString& line) {
        lines.append(line);
        if (line == u"a"_s)
            QVERIFY(feed(splitter, "b\n"));
    }));
    QCOMPARE(lines, QStringList({u"a"_s, u"b"_s, u"c"_s}));
}

} // namespace vok::launcher_client

QTEST_APPLESS_MAIN(vok::launcher_client::TestLineSplitter)
#include "test_line_splitter.moc"
