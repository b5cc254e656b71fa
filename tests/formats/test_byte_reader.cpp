#include "formats/byte_reader.h"

#include <QTest>

#include <cstdint>

using namespace vok::launcher_formats;
using namespace std::string_view_literals;

class TestByteReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsTheLowestByteFirst();
    void readsWithoutRegardToSigns();
    void refusesWhatIsNotWhollyInside_data();
    void refusesWhatIsNotWhollyInside();
};

void TestByteReader::readsTheLowestByteFirst()
{
    constexpr std::string_view bytes = "\x01\x02\x03\x04\x05\x06\x07\x08\x09"sv;
    QCOMPARE(littleEndian<std::uint8_t>(bytes, 8), std::uint8_t{0x09});
    QCOMPARE(littleEndian<std::uint16_t>(bytes), std::uint16_t{0x0201});
    QCOMPARE(littleEndian<std::uint16_t>(bytes, 7), std::uint16_t{0x0908});
    QCOMPARE(littleEndian<std::uint32_t>(bytes, 1), std::uint32_t{0x05040302});
    QCOMPARE(littleEndian<std::uint64_t>(bytes, 1), std::uint64_t{0x0908070605040302});
}

void TestByteReader::readsWithoutRegardToSigns()
{
    constexpr std::string_view bytes = "\xff\xff\xff\xff\xff\xff\xff\x80"sv;
    QCOMPARE(littleEndian<std::uint8_t>(bytes), std::uint8_t{0xff});
    QCOMPARE(littleEndian<std::uint16_t>(bytes), std::uint16_t{0xffff});
    QCOMPARE(littleEndian<std::uint32_t>(bytes), std::uint32_t{0xffffffff});
    QCOMPARE(littleEndian<std::uint64_t>(bytes), std::uint64_t{0x80ffffffffffffff});
}

void TestByteReader::refusesWhatIsNotWhollyInside_data()
{
    QTest::addColumn<std::size_t>("offset");
    QTest::addColumn<bool>("inside");
    QTest::newRow("ends with the bytes") << std::size_t{4} << true;
    QTest::newRow("one byte too far") << std::size_t{5} << false;
    QTest::newRow("begins at the end") << std::size_t{8} << false;
    QTest::newRow("begins behind the end") << std::size_t{9} << false;
    QTest::newRow("an end that wraps") << SIZE_MAX - 1 << false;
}

void TestByteReader::refusesWhatIsNotWhollyInside()
{
    QFETCH(std::size_t, offset);
    QFETCH(bool, inside);
    const auto read = [&] { return littleEndian<std::uint32_t>("12345678"sv, offset); };
    if (inside)
        QCOMPARE(read(), std::uint32_t{0x38373635});
    else
        QVERIFY_EXCEPTION_THROWN(read(), std::out_of_range);
}

QTEST_APPLESS_MAIN(TestByteReader)
#include "test_byte_reader.moc"
