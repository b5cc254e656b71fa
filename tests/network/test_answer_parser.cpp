#include "network/answer_parser.h"
#include "support/failure_of.h"

#include <QTest>

using namespace vok;
using vok::test_support::failureOf;

using Headers = QList<std::pair<QByteArray, QByteArray>>;

class TestAnswerParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsAnAnswerCutAnywhere_data();
    void readsAnAnswerCutAnywhere();
    void stopsBehindTheHead();
    void takesNoMoreThanThereIsRoomFor();
    void knowsWhereAnAnswerMayEnd_data();
    void knowsWhereAnAnswerMayEnd();
    void readsNoBodyOfTheAnswerToAHead();
    void boundsEverythingBesideTheBody_data();
    void boundsEverythingBesideTheBody();
};

namespace
{

const QByteArray kOk = "HTTP/1.1 200 OK\r\n";

/// Feeds `answer` in pieces of `step` bytes, as a connection does: what was not taken is given again.
QByteArray bodyOf(AnswerParser& parser, const QByteArray& answer, qsizetype step, qsizetype room = 4096)
{
    QByteArray body;
    QByteArray input;
    for (qsizetype at = 0; at < answer.size() && !parser.isComplete(); at += step) {
        input += answer.mid(at, step);
        for (qsizetype taken = 1; taken > 0 && !input.isEmpty() && !parser.isComplete();) {
            taken = parser.feed(input, body, room);
            input.remove(0, taken);
        }
    }
    return body;
}

} // namespace

void TestAnswerParser::readsAnAnswerCutAnywhere_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("length") << kOk + "Content-Length: 5\r\n\r\nhello" << QByteArray("hello");
    QTest::newRow("chunks") << kOk + "Transfer-Encoding: chunked\r\n\r\n2;x=y\r\nhe\r\n3\r\nllo\r\n0\r\nA: b\r\n\r\n"
                            << QByteArray("hello");
    QTest::newRow("after informational answers")
        << "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: x\r\n\r\n" + kOk
               + "Content-Length: 2\r\n\r\n{}"
        << QByteArray("{}");
    QTest::newRow("two answers") << kOk + "Content-Length: 1\r\n\r\naHTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nb"
                                 << QByteArray("a");
    QTest::newRow("nothing") << kOk + "Content-Length: 0\r\n\r\n" << QByteArray();
}

void TestAnswerParser::readsAnAnswerCutAnywhere()
{
    QFETCH(QByteArray, answer);
    for (qsizetype step = 1; step <= answer.size(); ++step)
        for (const qsizetype room : {1, 4096}) {
            AnswerParser parser;
            QTEST(bodyOf(parser, answer, step, room), "body");
            QVERIFY(parser.isComplete());
            QCOMPARE(parser.status(), 200);
            QCOMPARE(parser.reason(), QByteArray("OK"));
        }
}

void TestAnswerParser::stopsBehindTheHead()
{
    const QByteArray head = kOk + "Content-Length: 2\r\nX: a\r\nX: b\r\n\r\n";
    AnswerParser parser;
    QByteArray body;
    QVERIFY(!parser.hasHead());
    QCOMPARE(parser.feed(head + "{}", body, 100), head.size());
    QVERIFY(parser.hasHead());
    QVERIFY(!parser.isComplete());
    QCOMPARE(body, QByteArray());
    QCOMPARE(parser.headers(), (Headers{{"Content-Length", "2"}, {"X", "a"}, {"X", "b"}}));
    QCOMPARE(parser.feed("{}", body, 100), 2);
    QVERIFY(parser.isComplete());
}

void TestAnswerParser::takesNoMoreThanThereIsRoomFor()
{
    AnswerParser parser;
    QByteArray body;
    QCOMPARE(parser.feed(kOk + "Content-Length: 10\r\n\r\n", body, 3), kOk.size() + 22);
    QCOMPARE(parser.feed("0123456789", body, 3), 3);
    QCOMPARE(body, QByteArray("012"));
    QCOMPARE(parser.feed("3456789", body, 7), 7);
    QVERIFY(parser.isComplete());
}

void TestAnswerParser::knowsWhereAnAnswerMayEnd_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("isWhole");
    QTest::newRow("nothing") << QByteArray() << false;
    QTest::newRow("half a head") << kOk << false;
    QTest::newRow("informational answer") << QByteArray("HTTP/1.1 100 Continue\r\n\r\n") << false;
    QTest::newRow("half a body") << kOk + "Content-Length: 2\r\n\r\n{" << false;
    QTest::newRow("no last chunk") << kOk + "Transfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n" << false;
    QTest::newRow("no length") << kOk + "\r\n{}" << true;
}

void TestAnswerParser::knowsWhereAnAnswerMayEnd()
{
    QFETCH(QByteArray, answer);
    AnswerParser parser;
    bodyOf(parser, answer, answer.size() + 1);
    QTEST(parser.end(), "isWhole");
}

void TestAnswerParser::readsNoBodyOfTheAnswerToAHead()
{
    AnswerParser parser(false);
    QByteArray body;
    const QByteArray head = kOk + "Content-Length: 7\r\n\r\n";
    QCOMPARE(parser.feed(head, body, 100), head.size());
    QVERIFY(parser.isComplete());
}

void TestAnswerParser::boundsEverythingBesideTheBody_data()
{
    QTest::addColumn<QByteArray>("begin");
    QTest::addColumn<QByteArray>("rest");
    QTest::addColumn<QString>("refusal");
    const QByteArray chunked = kOk + "Transfer-Encoding: chunked\r\n\r\n";
    const QString head = QStringLiteral("header limit exceeded");
    const QString line = QStringLiteral("Oversized header");
    QTest::newRow("status line") << QByteArray("HTTP/1.1 200 ") << QByteArray("x") << head;
    QTest::newRow("header") << kOk + "X: " << QByteArray("x") << head;
    QTest::newRow("headers") << kOk << QByteArray("X: y\r\n") << head;
    QTest::newRow("size of a chunk") << chunked + "1;" << QByteArray("x") << line;
    QTest::newRow("trailer") << chunked + "0\r\n" << QByteArray("X: y\r\n") << line;
    QTest::newRow("informational answers") << QByteArray() << QByteArray("HTTP/1.1 100 Continue\r\n\r\n") << line;
}

void TestAnswerParser::boundsEverythingBesideTheBody()
{
    QFETCH(QByteArray, begin);
    QFETCH(QByteArray, rest);
    const auto fed = [&](qsizetype bytes) {
        return failureOf([&] {
            AnswerParser parser;
            bodyOf(parser, begin + rest.repeated(bytes / rest.size()), 4096);
        });
    };
    QCOMPARE(fed(kLargestHeadBytes - begin.size() - rest.size()), QString());
    QTEST(fed(2 * kLargestHeadBytes), "refusal");
}

QTEST_APPLESS_MAIN(TestAnswerParser)
#include "test_answer_parser.moc"
