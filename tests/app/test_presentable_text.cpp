#include "app/presentable_text.h"

#include <QTest>

#include <initializer_list>

using namespace Qt::Literals::StringLiterals;
using namespace vok;

class TestPresentableText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void leavesOrdinaryTextsAlone_data();
    void leavesOrdinaryTextsAlone();
    void makesControlsVisible_data();
    void makesControlsVisible();
    void keepsTheTabInALineOnly();
    void leavesNeighboursOfControlsAlone_data();
    void leavesNeighboursOfControlsAlone();
    void keepsALineInFullLength();
    void elidesTheMiddle_data();
    void elidesTheMiddle();
    void breaksLongWordsOnly_data();
    void breaksLongWordsOnly();
};

namespace
{

QString times(int count, const QString& text)
{
    return text.repeated(count);
}

} // namespace

void TestPresentableText::leavesOrdinaryTextsAlone_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("Turkish") << u"Varlık doğrulaması başarısız; tanılama ayrıntılarını inceleyin"_s;
    QTest::newRow("Windows path") << u"Kurulum klasörü: C:\\Oyun\\new\\u202e"_s;
    QTest::newRow("path") << u"Unsafe asset path data/maps/İğne ığdır/%1 & <b>.qomb"_s;
    QTest::newRow("beyond the first plane") << u"Unsafe asset path 😀/🗡.dds"_s;
    QTest::newRow("combining and non-breaking") << u"e\u0301 1\u00A0000"_s;
    QTest::newRow("hash") << u"Hash mismatch "_s + times(32, u"a"_s);
    QTest::newRow("Arabic") << u"ملف"_s;
}

void TestPresentableText::leavesOrdinaryTextsAlone()
{
    QFETCH(QString, text);
    QCOMPARE(oneLine(text), text);
    QCOMPARE(presentable(text), text);
    QCOMPARE(breakable(text), text);
}

void TestPresentableText::makesControlsVisible_data()
{
    QTest::addColumn<char16_t>("unit");
    QTest::addColumn<QString>("escape");
    const auto row = [](char16_t unit, const QString& escape) { QTest::newRow(qPrintable(escape)) << unit << escape; };
    row(u'\n', u"\\n"_s);
    row(u'\r', u"\\r"_s);
    for (const char16_t unit :
         std::initializer_list<char16_t>{0x00,   0x01,   0x08,   0x0B,   0x0C,   0x1B,   0x1F,   0x7F,   0x80,
                                         0x85,   0x9F,   0x061C, 0x200E, 0x200F, 0x2028, 0x2029, 0x202A, 0x202B,
                                         0x202C, 0x202D, 0x202E, 0x2066, 0x2067, 0x2068, 0x2069, 0xFDD0, 0xFDD1})
        row(unit, u"\\u"_s + QString::number(unit, 16).rightJustified(4, u'0'));
}

void TestPresentableText::makesControlsVisible()
{
    QFETCH(char16_t, unit);
    QFETCH(QString, escape);
    const QString text = u"a"_s + QChar(unit) + u"b"_s;
    QCOMPARE(oneLine(text), u"a"_s + escape + u"b"_s);
    QCOMPARE(presentable(text), u"a"_s + escape + u"b"_s);
}

void TestPresentableText::keepsTheTabInALineOnly()
{
    QCOMPARE(oneLine(u"a\tb"_s), u"a\tb"_s);
    QCOMPARE(presentable(u"a\tb"_s), u"a\\tb"_s);
}

void TestPresentableText::leavesNeighboursOfControlsAlone_data()
{
    QTest::addColumn<char16_t>("unit");
    for (const char16_t unit : std::initializer_list<char16_t>{
             0x20, 0x7E, 0xA0, 0x061B, 0x061D, 0x200D, 0x2010, 0x2027, 0x202F, 0x2065, 0x206A, 0xFDCF, 0xFDD2})
        QTest::newRow(qPrintable(QString::number(unit, 16))) << unit;
}

void TestPresentableText::leavesNeighboursOfControlsAlone()
{
    QFETCH(char16_t, unit);
    const QString text = u"a"_s + QChar(unit) + u"b"_s;
    QCOMPARE(oneLine(text), text);
    QCOMPARE(presentable(text), text);
}

void TestPresentableText::keepsALineInFullLength()
{
    QCOMPARE(oneLine(times(70000, u"W\n"_s)), times(70000, u"W\\n"_s));
}

void TestPresentableText::elidesTheMiddle_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");
    QTest::newRow("500 characters") << times(500, u"W"_s) << times(500, u"W"_s);
    QTest::newRow("501 characters") << times(250, u"a"_s) + u"x"_s + times(250, u"b"_s)
                                    << times(249, u"a"_s) + u"…"_s + times(249, u"b"_s);
    QTest::newRow("500 with their escapes") << times(250, u"\n"_s) << times(250, u"\\n"_s);
    QTest::newRow("502 with their escapes")
        << times(251, u"\n"_s) << times(124, u"\\n"_s) + u"…"_s + times(124, u"\\n"_s);
    QTest::newRow("no escape is cut") << times(300, u"\u202E"_s)
                                      << times(41, u"\\u202e"_s) + u"…"_s + times(41, u"\\u202e"_s);
    QTest::newRow("no pair is cut") << times(300, u"😀"_s) << times(124, u"😀"_s) + u"…"_s + times(124, u"😀"_s);
    QTest::newRow("a million") << times(1000000, u"W"_s) << times(249, u"W"_s) + u"…"_s + times(249, u"W"_s);
}

void TestPresentableText::elidesTheMiddle()
{
    QFETCH(QString, text);
    QTEST(presentable(text), "shown");
}

void TestPresentableText::breaksLongWordsOnly_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("broken");
    const QString word = times(32, u"W"_s);
    QTest::newRow("32 characters") << word << word;
    QTest::newRow("33 characters") << word + u"W"_s << word + u"\u200BW"_s;
    QTest::newRow("96 characters") << times(3, word) << word + u"\u200B"_s + word + u"\u200B"_s + word;
    QTest::newRow("words of 31 and their blanks")
        << times(5, times(31, u"W"_s) + u" "_s) << times(5, times(31, u"W"_s) + u" "_s);
    QTest::newRow("path that may break at its slashes") << times(20, u"/abcdefgh"_s) << times(20, u"/abcdefgh"_s);
    QTest::newRow("long word among short ones") << u"a "_s + word + u"WW b"_s << u"a "_s + word + u"\u200BWW b"_s;
    QTest::newRow("no pair is cut") << u"W"_s + times(30, u"\U00010400"_s)
                                    << u"W"_s + times(15, u"\U00010400"_s) + u"\u200B"_s + times(15, u"\U00010400"_s);
}

void TestPresentableText::breaksLongWordsOnly()
{
    QFETCH(QString, text);
    QTEST(breakable(text), "broken");
}

QTEST_APPLESS_MAIN(TestPresentableText)
#include "test_presentable_text.moc"
