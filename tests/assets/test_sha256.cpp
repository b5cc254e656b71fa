#include "assets/sha256.h"

#include <QCryptographicHash>
#include <QTest>

using namespace vok::launcher_assets;

class TestSha256 : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void givesTheDigestOfQtsClass_data();
    void givesTheDigestOfQtsClass();
    void startsAfreshAfterReset();
};

void TestSha256::givesTheDigestOfQtsClass_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {0, 1, 55, 56, 63, 64, 65, 127, 128, 129, 131071, 131072, 131073, 1000000})
        QTest::addRow("%d bytes", size) << size;
}

void TestSha256::givesTheDigestOfQtsClass()
{
    QFETCH(int, size);
    QByteArray message(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        message[i] = static_cast<char>(i * 31 + i / 251);
    Sha256 digest;
    // In two uneven parts, since a file comes in blocks.
    digest.update(message.constData(), size / 3);
    digest.update(message.constData() + size / 3, size - size / 3);
    QCOMPARE(digest.hexDigest(), QCryptographicHash::hash(message, QCryptographicHash::Sha256).toHex());
}

void TestSha256::startsAfreshAfterReset()
{
    Sha256 digest;
    digest.update("left over", 9);
    digest.reset();
    digest.update("abc", 3);
    QCOMPARE(digest.hexDigest(), QByteArray("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    digest.reset();
    QCOMPARE(digest.hexDigest(), QByteArray("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"));
}

QTEST_APPLESS_MAIN(TestSha256)
#include "test_sha256.moc"
