#include "accounts/secret_bytes.h"
#include "accounts/session_reply.h"

#include <QTest>

using namespace vok;

class TestSessionReply : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void takesTheToken_data();
    void takesTheToken();
    void refusesWhatIsNoToken_data();
    void refusesWhatIsNoToken();
    void refusesEveryPrefixOfAnAnswer();
    void sharesTheTokenWithNobody();
};

namespace
{

const QByteArray kToken = "0123456789abcdef" + QByteArray(48, 'f');
const QByteArray kOther(64, 'a');

QByteArray session(const QByteArray& value)
{
    return "{\"session\":\"" + value + "\"}";
}

QByteArray escaped(const QByteArray& text)
{
    QByteArray result;
    for (const char letter : text)
        result += "\\u00" + QByteArray(1, letter).toHex();
    return result;
}

} // namespace

void TestSessionReply::takesTheToken_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("alone") << session(kToken);
    QTest::newRow("between blanks and line breaks") << "\r\n{ \"session\" :\t\"" + kToken + "\" }\n";
    QTest::newRow("behind a byte order mark") << "\xEF\xBB\xBF" + session(kToken);
    QTest::newRow("before what else looks like a token")
        << "{\"session\":\"" + kToken + "\",\"" + kOther + "\":\"" + kOther + "\"}";
    QTest::newRow("behind what else looks like a token")
        << "{\"" + kOther + "\":[\"" + kOther + "\"],\"session\":\"" + kToken + "\"}";
    QTest::newRow("beside an object with a session of its own")
        << "{\"a\":{\"session\":\"" + kOther + "\"},\"session\":\"" + kToken + "\"}";
    QTest::newRow("the last of two") << "{\"session\":\"" + kOther + "\",\"session\":\"" + kToken + "\"}";
    QTest::newRow("spelt with escapes") << session(escaped(kToken));
    QTest::newRow("first letter spelt with an escape") << session(escaped(kToken.first(1)) + kToken.sliced(1));
}

void TestSessionReply::takesTheToken()
{
    QFETCH(QByteArray, answer);
    QCOMPARE(parseSessionReply(answer), kToken);
}

void TestSessionReply::refusesWhatIsNoToken_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("no bytes") << QByteArray();
    QTest::newRow("no JSON") << kToken;
    QTest::newRow("a string") << "\"" + kToken + "\"";
    QTest::newRow("an array") << "[\"session\",\"" + kToken + "\"]";
    QTest::newRow("no session") << QByteArray("{}");
    QTest::newRow("another name") << "{\"Session\":\"" + kToken + "\"}";
    QTest::newRow("session of an object within") << "{\"a\":" + session(kToken) + "}";
    QTest::newRow("empty") << session("");
    QTest::newRow("63 characters") << session(kToken.first(63));
    QTest::newRow("65 characters") << session(kToken + "0");
    QTest::newRow("upper case") << session(kToken.toUpper());
    QTest::newRow("one letter in upper case") << session(kToken.first(63) + "F");
    QTest::newRow("letter behind f") << session(kToken.first(63) + "g");
    QTest::newRow("sign before 0") << session(kToken.first(63) + "/");
    QTest::newRow("sign behind 9") << session(":" + kToken.first(63));
    QTest::newRow("sign before a") << session("`" + kToken.first(63));
    QTest::newRow("blank at the end") << session(kToken + " ");
    QTest::newRow("quote before it") << session("\\\"" + kToken);
    QTest::newRow("zero byte in it") << session(kToken.first(63) + "\\u0000");
    QTest::newRow("Turkish letters of 64 bytes") << session(QByteArray("ı").repeated(32));
    QTest::newRow("letter of two bytes at the end") << session(kToken.first(62) + "ı");
    QTest::newRow("digits of another script") << session(QByteArray("٠").repeated(64));
    QTest::newRow("number") << "{\"session\":" + QByteArray(64, '1') + "}";
    QTest::newRow("null") << QByteArray("{\"session\":null}");
    QTest::newRow("true") << QByteArray("{\"session\":true}");
    QTest::newRow("array with a token") << "{\"session\":[\"" + kToken + "\"]}";
    QTest::newRow("object with a token") << "{\"session\":{\"session\":\"" + kToken + "\"}}";
    QTest::newRow("token and then a number") << "{\"session\":\"" + kToken + "\",\"session\":1}";
    QTest::newRow("something behind the object") << session(kToken) + "x";
    QTest::newRow("an error in a success") << QByteArray("{\"error\":{\"message\":\"yok\"}}");
}

void TestSessionReply::refusesWhatIsNoToken()
{
    QFETCH(QByteArray, answer);
    QCOMPARE(parseSessionReply(answer), QByteArray());
}

void TestSessionReply::refusesEveryPrefixOfAnAnswer()
{
    const QByteArray answer = session(kToken);
    for (qsizetype size = 0; size < answer.size(); ++size)
        QCOMPARE(parseSessionReply(answer.first(size)), QByteArray());
}

void TestSessionReply::sharesTheTokenWithNobody()
{
    QByteArray answer = session(kToken);
    QByteArray token = parseSessionReply(answer);
    const char* const held = token.constData();
    QVERIFY(held < answer.constData() || held >= answer.constData() + answer.size());
    QVERIFY(token.isDetached());
    overwrite(token);
    QCOMPARE(QByteArray(held, kSessionTokenBytes), QByteArray(kSessionTokenBytes, '\0'));
    QCOMPARE(parseSessionReply(answer), kToken);
}

QTEST_APPLESS_MAIN(TestSessionReply)
#include "test_session_reply.moc"
