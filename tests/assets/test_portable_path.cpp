#include "assets/portable_path.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_assets;

class TestPortablePath : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tellsPortablePathsFromOthers_data();
    void tellsPortablePathsFromOthers();
    void refusesEveryAsciiControlCharacter();
    void keepsSpellingsApartUnlessAFileSystemCouldMixThem_data();
    void keepsSpellingsApartUnlessAFileSystemCouldMixThem();
    void foldsAsciiLikeTheGeneralRule();
    void foldsLongRunsOfMarksLikeTheGeneralRule();
    void takesNoLongerForLongRunsOfMarks();
    void givesAParentTheKeyUpToTheSeparator();
};

namespace
{

QString pathWithComponents(int count)
{
    return QStringList(count, u"d"_s).join(u'/');
}

} // namespace

void TestPortablePath::tellsPortablePathsFromOthers_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("portable");
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("one unit") << u"a"_s << true;
    QTest::newRow("4096 units") << QString(4096, u'a') << true;
    QTest::newRow("4097 units") << QString(4097, u'a') << false;
    QTest::newRow("absolute") << u"/a"_s << false;
    QTest::newRow("backslash") << u"a\\b"_s << false;
    QTest::newRow("colon") << u"c:a"_s << false;
    QTest::newRow("NUL") << u"a"_s + QChar(u'\0') + u"b"_s << false;
    QTest::newRow("48 components") << pathWithComponents(48) << true;
    QTest::newRow("49 components") << pathWithComponents(49) << false;
    QTest::newRow("empty component") << u"a//b"_s << false;
    QTest::newRow("trailing separator") << u"a/"_s << false;
    QTest::newRow("dot") << u"a/./b"_s << false;
    QTest::newRow("dot dot") << u"a/../b"_s << false;
    QTest::newRow("only dot dot") << u".."_s << false;
    QTest::newRow("three dots are a name") << u"a/.../b"_s << true;
    QTest::newRow("tab") << u"a\tb"_s << false;
    QTest::newRow("unit 0x1f") << u"a\u001fb"_s << false;
    QTest::newRow("blank, unit 0x20") << u"a b"_s << true;
    QTest::newRow("unit 0x7e") << u"a~"_s << true;
    QTest::newRow("unit 0x7f") << u"a\u007f"_s << false;
    QTest::newRow("unit 0x80") << u"a\u0080"_s << true;
    QTest::newRow("reserved device name") << u"con"_s << true;
    QTest::newRow("trailing dot and blank") << u"a. "_s << true;
    QTest::newRow("Turkish letters") << u"İğne/ışık.dds"_s << true;
}

void TestPortablePath::tellsPortablePathsFromOthers()
{
    QFETCH(QString, path);
    QTEST(isPortablePath(path), "portable");
}

void TestPortablePath::refusesEveryAsciiControlCharacter()
{
    for (char16_t unit = 0; unit < 0x20; ++unit)
        QVERIFY2(!isPortablePath(u"a"_s + QChar(unit)), qPrintable(QString::number(unit)));
}

void TestPortablePath::keepsSpellingsApartUnlessAFileSystemCouldMixThem_data()
{
    QTest::addColumn<QString>("left");
    QTest::addColumn<QString>("right");
    QTest::addColumn<bool>("same");
    QTest::newRow("case") << u"Textures/A.dds"_s << u"textures/a.DDS"_s << true;
    QTest::newRow("composed and decomposed") << u"\u00e9.txt"_s << u"e\u0301.txt"_s << true;
    QTest::newRow("case beyond ASCII") << u"Ğ/Ş"_s << u"ğ/ş"_s << true;
    QTest::newRow("sharp s stays one letter") << u"ß"_s << u"ss"_s << false;
    QTest::newRow("dotless i is its own letter") << u"ı"_s << u"i"_s << false;
    QTest::newRow("compatibility forms stay apart") << u"ﬁ"_s << u"fi"_s << false;
    QTest::newRow("different names") << u"a"_s << u"b"_s << false;
}

void TestPortablePath::keepsSpellingsApartUnlessAFileSystemCouldMixThem()
{
    QFETCH(QString, left);
    QFETCH(QString, right);
    QTEST(portableKey(left) == portableKey(right), "same");
}

void TestPortablePath::foldsAsciiLikeTheGeneralRule()
{
    for (char16_t unit = 1; unit < 0x80; ++unit) {
        const QString text = u"x/"_s + QChar(unit);
        QCOMPARE(portableKey(text), text.normalized(QString::NormalizationForm_C).toCaseFolded());
    }
}

void TestPortablePath::foldsLongRunsOfMarksLikeTheGeneralRule()
{
    // Marks of several classes, among them one that counts as a starter and decomposes into two marks, one that is
    // composed of two, one outside the first plane, and letters that compose with them.
    const QList<char32_t> marks = {0x0345, 0x0334, 0x0301,  0x0323, 0x0344, 0x0f73,
                                   0x0f71, 0x0f72, 0x1d165, 0x05b0, 0x0340};
    const QList<char32_t> starters = {U'a', U'/', U'Ş', 0x1100, 0x1161, 0x212b};
    QRandomGenerator random(20);
    for (int round = 0; round < 2000; ++round) {
        QList<char32_t> text = {U'e'};
        while (text.size() < 120)
            text.append(
                random.bounded(40) == 0 ? starters.at(random.bounded(int(starters.size())))
                                        : marks.at(random.bounded(int(marks.size()))));
        const QString path = QString::fromUcs4(text.constData(), text.size());
        QCOMPARE(portableKey(path), path.normalized(QString::NormalizationForm_C).toCaseFolded());
    }
}

void TestPortablePath::takesNoLongerForLongRunsOfMarks()
{
    // A thousand paths of the longest kind; the general rule alone would take minutes for them.
    const QString path = u"a"_s + QString(2000, QChar(0x0345)) + QString(2000, QChar(0x0334));
    for (int i = 0; i < 1000; ++i)
        QVERIFY(!portableKey(path + QString::number(i)).isEmpty());
}

void TestPortablePath::givesAParentTheKeyUpToTheSeparator()
{
    for (const QString& parent : {u"A"_s, u"e\u0301"_s, u"İ"_s, u"\u1100"_s, u"<"_s}) {
        for (const QString& name : {u"b"_s, u"\u0338"_s, u"\u0301x"_s, u"\u1161"_s, u"\u0345"_s})
            QCOMPARE(portableKey(parent + u'/' + name), portableKey(parent) + u'/' + portableKey(name));
    }
}

QTEST_APPLESS_MAIN(TestPortablePath)
#include "test_portable_path.moc"
