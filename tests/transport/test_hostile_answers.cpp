#include "support/hostile_exchange.h"

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using namespace vok::test_support;

class TestHostileAnswers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { clearSettings(); }
    void endsWhatDoesNotEnd_data();
    void endsWhatDoesNotEnd();
    void endsFloodsAtTheirBounds_data();
    void endsFloodsAtTheirBounds();
    void refusesWhatIsPacked_data();
    void refusesWhatIsPacked();
};

namespace
{

constexpr int kRequestTimeoutMs = 500;
constexpr qint64 kFlatBytes = qint64{24} << 20;

const QString kDeadline = u"HTTPS operation wall deadline exceeded"_s;
const QString kResponseBound = u"HTTPS response exceeds configured bound"_s;

TestAuthority authority()
{
    return TestAuthority(u"Test CA"_s);
}

QByteArray lengthLine(qint64 length)
{
    return "Content-Length: " + QByteArray::number(length);
}

const QByteArray kChunked = hostile::head(200, {"Transfer-Encoding: chunked"});

void row(const char* name, const HostileAnswer& answer)
{
    QTest::newRow(name) << answer;
}

/// Sends `zeros` zeros, packed by gzip.
HostileAnswer packed(int status, qint64 zeros)
{
    const QByteArray body = hostile::gzippedZeros(zeros);
    return hostile::sent(hostile::head(status, {"Content-Encoding: gzip", lengthLine(body.size())}) + body);
}

/// Tests that `answer` ends with one of `failures`, and that the next request works.
void compareEnd(const HostileAnswer& answer, const QStringList& failures, int requestTimeoutMs, ExchangeEnd& end)
{
    const HostileServer server(authority().issue(), {answer});
    const auto [hostile, next] = endsOf(server, authority().pemPath(), requestTimeoutMs);
    qInfo("%lld ms, at most %lld KiB more", hostile.elapsedMs, hostile.grownBytes / 1024);
    end = hostile;
    QVERIFY2(failures.contains(hostile.failure), qPrintable(hostile.failure));
    QVERIFY(hostile.grownBytes < kFlatBytes);
    QCOMPARE(next.failure, QString());
    QCOMPARE(next.body, QByteArray("{}"));
}

} // namespace

void TestHostileAnswers::endsWhatDoesNotEnd_data()
{
    QTest::addColumn<HostileAnswer>("answer");
    row("nothing", hostile::sent({}));
    row("half a status line", hostile::sent("HTTP/1.1 20"));
    row("status line alone", hostile::sent("HTTP/1.1 200 OK\r\n"));
    row("half a header line", hostile::sent("HTTP/1.1 200 OK\r\nContent-Le"));
    row("head alone", hostile::sent(hostile::head(200, {lengthLine(10)})));
    row("head of a refusal alone", hostile::sent(hostile::head(403, {lengthLine(10)})));
    row("all but the last byte", hostile::sent(hostile::head(200, {lengthLine(10)}) + "123456789"));
    row("no length and no end", hostile::sent(hostile::head(200) + "{}"));
    row("half a chunk", hostile::sent(kChunked + "ff\r\nabc"));
    row("103 alone", hostile::sent(hostile::head(103)));
    row("dripped status line", hostile::dripped("HTTP/1.1 200 ", "x", 5ms));
    row("dripped header", hostile::dripped("HTTP/1.1 200 OK\r\nX: ", "x", 5ms));
    row("dripped header lines", hostile::dripped("HTTP/1.1 200 OK\r\n", "X:y\r\n", 1ms));
    row("dripped body", hostile::dripped(hostile::head(200, {lengthLine(1000000)}), "x", 5ms));
    row("dripped body of a refusal", hostile::dripped(hostile::head(500, {lengthLine(9999)}), "x", 5ms));
    row("dripped chunks", hostile::dripped(kChunked, "1\r\nx\r\n", 1ms));
    row("dripped size of a chunk", hostile::dripped(kChunked, "0", 5ms));
}

void TestHostileAnswers::endsWhatDoesNotEnd()
{
    QFETCH(HostileAnswer, answer);
    ExchangeEnd end;
    compareEnd(answer, {kDeadline}, kRequestTimeoutMs, end);
    // Qt's idle time-out is coarse: it may come a twentieth too early.
    QVERIFY(end.elapsedMs >= kRequestTimeoutMs * 9 / 10 && end.elapsedMs < kRequestTimeoutMs + 5000);
}

void TestHostileAnswers::endsFloodsAtTheirBounds_data()
{
    const QByteArray block(16384, 'x');
    QTest::addColumn<HostileAnswer>("answer");
    row("body", hostile::endless(hostile::head(200), block));
    row("body of a refusal", hostile::endless(hostile::head(500), block));
    row("chunks", hostile::endless(kChunked, hostile::chunk(block)));
    row("one chunk", hostile::endless(kChunked + "7fffffffffffffff\r\n", block));
    row("announced body", hostile::endless(hostile::head(200, {lengthLine(2097153)}), block));
    row("announced body of a refusal", hostile::endless(hostile::head(401, {lengthLine(65537)}), block));
    row("announced body of all there is", hostile::endless(hostile::head(200, {lengthLine(INT64_MAX)}), block));
}

void TestHostileAnswers::endsFloodsAtTheirBounds()
{
    QFETCH(HostileAnswer, answer);
    ExchangeEnd end;
    compareEnd(answer, {kResponseBound}, 60000, end);
}

void TestHostileAnswers::refusesWhatIsPacked_data()
{
    QTest::addColumn<HostileAnswer>("answer");
    row("a little", packed(200, 2));
    row("a thousandfold", packed(200, qint64{64} << 20));
    row("a refusal, a thousandfold", packed(403, qint64{64} << 20));
    row("members without content",
        hostile::endless(hostile::head(200, {"Content-Encoding: gzip"}), hostile::gzippedZeros(0)));
    row("in a way nobody knows", hostile::sent(hostile::head(200, {"Content-Encoding: x-none", lengthLine(2)}) + "{}"));
}

void TestHostileAnswers::refusesWhatIsPacked()
{
    QFETCH(HostileAnswer, answer);
    ExchangeEnd end;
    compareEnd(answer, {kResponseBound}, 60000, end);
    QCOMPARE(end.body, QByteArray());
}

VOK_WINDOW_TEST_MAIN(TestHostileAnswers)
#include "test_hostile_answers.moc"
