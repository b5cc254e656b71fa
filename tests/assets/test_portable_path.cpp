#include "assets/portable_path.h"

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

QTEST_APPLESS_MAIN(TestPortablePath)
#include "test_portable_path.moc"
