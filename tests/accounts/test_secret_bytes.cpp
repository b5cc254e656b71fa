#include "accounts/secret_bytes.h"

#include <QTest>

#include <algorithm>

using namespace vok;

class TestSecretBytes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void copiesIntoABufferOfItsOwn();
    void appendsWithinTheBufferAndBeyondIt();
    void overwritesTheVeryBufferThatHeldTheBytes();
    void overwritesEmptyBytesWithoutHarm();
};

void TestSecretBytes::copiesIntoABufferOfItsOwn()
{
    const QByteArray source(64, 'a');
    const QByteArray copy = ownedCopy(source);
    QCOMPARE(copy, source);
    QVERIFY(copy.constData() != source.constData());
}

void TestSecretBytes::appendsWithinTheBufferAndBeyondIt()
{
    QByteArray secret;
    QByteArray expected;
    for (int round = 0; round < 100; ++round) {
        const QByteArray more(round, static_cast<char>('a' + round % 26));
        const bool fits = secret.capacity() - secret.size() >= more.size();
        const char* const held = secret.constData();
        appendOwned(secret, more);
        expected += more;
        QCOMPARE(secret, expected);
        QCOMPARE(secret.constData() == held, fits);
    }
}

void TestSecretBytes::overwritesTheVeryBufferThatHeldTheBytes()
{
    QByteArray secret = ownedCopy("0123456789abcdef");
    const char* const held = secret.constData();
    overwrite(secret);
    QVERIFY(secret.isEmpty());
    QCOMPARE(secret.constData(), held);
    QVERIFY(std::all_of(held, held + 16, [](char byte) { return byte == '\0'; }));
}

void TestSecretBytes::overwritesEmptyBytesWithoutHarm()
{
    QByteArray secret;
    overwrite(secret);
    QVERIFY(secret.isEmpty());
}

QTEST_APPLESS_MAIN(TestSecretBytes)
#include "test_secret_bytes.moc"
