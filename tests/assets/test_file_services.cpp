#include "assets/file_services.h"
#include "support/temp_tree.h"

#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_assets;
using vok::test_support::TempTree;

class TestFileServices : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void neverReplacesWhenNotAsked_data();
    void neverReplacesWhenNotAsked();
    void replacesAFileWhenAsked();
    void removesATreeByTheDisksOwnSpellings();
    void removesLinksAndNotWhatTheyNameTo();
    void neverFollowsALinkAsLastComponent();
    void opensAPipeWithoutWaitingForAPeer();
    void staysInTheOpenDirectoryWhenItsNameIsSwapped();
    void tellsNamesThatAreNoUnicodeText();
    void keepsAByteOrderMarkInAName();
    void listsHiddenNames();
    void saysWhenADirectoryCannotBeListed();
    void tellsTheKindsOfEntriesApart();
    void handsNoHandleToChildren();
    void givesModificationTimesWithAllDigits();
};

namespace
{

Directory opened(const TempTree& tree, const QString& relative = {})
{
    return openDirectory(tree.path(relative), Links::Refuse);
}

bool closesOnExec(const FileHandle& handle)
{
    return (::fcntl(static_cast<int>(handle.value()), F_GETFD) & FD_CLOEXEC) != 0;
}

} // namespace

void TestFileServices::neverReplacesWhenNotAsked_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("target");
    for (const char* source : {"file", "directory"}) {
        for (const char* target : {"other-file", "other-directory", "empty-directory", "link", "dangling-link"})
            QTest::addRow("%s onto %s", source, target) << QString::fromLatin1(source) << QString::fromLatin1(target);
    }
}

void TestFileServices::neverReplacesWhenNotAsked()
{
    QFETCH(QString, source);
    QFETCH(QString, target);
    const TempTree tree;
    tree.write(u"file"_s, "new");
    tree.write(u"directory/inner"_s, "new");
    tree.write(u"other-file"_s, "old");
    tree.write(u"other-directory/inner"_s, "old");
    tree.makeDirectory(u"empty-directory"_s);
    tree.link(u"other-file"_s, u"link"_s);
    tree.link(u"nowhere"_s, u"dangling-link"_s);
    const QStringList before = tree.listing();

    const Directory root = opened(tree);
    QVERIFY(!renameEntry(root, source, root, target, false));
    QCOMPARE(tree.listing(), before);
    QCOMPARE(tree.read(u"other-file"_s), QByteArray("old"));
}

void TestFileServices::replacesAFileWhenAsked()
{
    const TempTree tree;
    tree.write(u"stage/a"_s, "new");
    tree.write(u"live/a"_s, "old");
    QVERIFY(renameEntry(opened(tree, u"stage"_s), u"a"_s, opened(tree, u"live"_s), u"a"_s, true));
    QCOMPARE(tree.read(u"live/a"_s), QByteArray("new"));
    QVERIFY(!tree.exists(u"stage/a"_s));
}

void TestFileServices::removesATreeByTheDisksOwnSpellings()
{
    const TempTree tree;
    tree.writeRawName(u"stage/deep/er"_s, "\xff\xfe"_ba, "x");
    tree.writeRawName(u"stage"_s, "latin-\xfc"_ba, "x");
    std::filesystem::create_directory(std::filesystem::path(tree.path(u"stage"_s).toStdString()) / "dir\xc0");
    tree.write(u"beside"_s, "stays");
    removeTree(opened(tree), u"stage"_s);
    QCOMPARE(tree.listing(), QStringList{u"beside"_s});
}

void TestFileServices::removesLinksAndNotWhatTheyNameTo()
{
    const TempTree tree;
    tree.write(u"kept/file"_s, "stays");
    tree.link(tree.path(u"kept"_s), u"stage/link"_s);
    removeTree(opened(tree), u"stage"_s);
    QCOMPARE(tree.listing(), (QStringList{u"kept/"_s, u"kept/file"_s}));
    tree.link(tree.path(u"kept"_s), u"stage"_s);
    removeTree(opened(tree), u"stage"_s);
    QCOMPARE(tree.listing(), (QStringList{u"kept/"_s, u"kept/file"_s}));
}

void TestFileServices::neverFollowsALinkAsLastComponent()
{
    const TempTree tree;
    tree.write(u"file"_s, "content");
    tree.makeDirectory(u"directory"_s);
    tree.link(u"file"_s, u"file-link"_s);
    tree.link(u"directory"_s, u"directory-link"_s);
    tree.link(u"absent"_s, u"dangling-link"_s);
    const Directory root = opened(tree);
    QVERIFY(openFileIn(root, u"file"_s, Access::Read, Disposition::OpenExisting, Sharing::Read).isValid());
    QVERIFY(!openFileIn(root, u"file-link"_s, Access::Read, Disposition::OpenExisting, Sharing::Read).isValid());
    QVERIFY(!openFileIn(root, u"dangling-link"_s, Access::ReadWrite, Disposition::OpenAlways, Sharing::ReadWrite)
                 .isValid());
    QVERIFY(!tree.exists(u"absent"_s));
    QVERIFY(openDirectoryIn(root, u"directory"_s).isOpen());
    QVERIFY(!openDirectoryIn(root, u"directory-link"_s).isOpen());
    QVERIFY(!openDirectory(tree.path(u"directory-link"_s), Links::Refuse).isOpen());
    QVERIFY(openDirectory(tree.path(u"directory-link"_s), Links::Follow).isOpen());
}

void TestFileServices::opensAPipeWithoutWaitingForAPeer()
{
    const TempTree tree;
    tree.makePipe(u"pipe"_s);
    // Without the flag that forbids waiting, this call would never return.
    const FileHandle pipe = openFileIn(opened(tree), u"pipe"_s, Access::Read, Disposition::OpenExisting, Sharing::Read);
    QVERIFY(pipe.isValid());
    QCOMPARE(informationOf(pipe)->kind, EntryKind::Special);
}

void TestFileServices::staysInTheOpenDirectoryWhenItsNameIsSwapped()
{
    const TempTree tree;
    tree.write(u"checked/file"_s, "checked");
    tree.write(u"planted/file"_s, "planted");
    const Directory checked = opened(tree, u"checked"_s);
    std::filesystem::rename(tree.path(u"checked"_s).toStdString(), tree.path(u"away"_s).toStdString());
    tree.link(u"planted"_s, u"checked"_s);

    const FileHandle file = openFileIn(checked, u"file"_s, Access::Read, Disposition::OpenExisting, Sharing::Read);
    QByteArray content(7, '\0');
    QCOMPARE(readBlock(file, content.data(), content.size()), 7);
    QCOMPARE(content, QByteArray("checked"));
}

void TestFileServices::tellsNamesThatAreNoUnicodeText()
{
    const TempTree tree;
    tree.writeRawName({}, "plain"_ba, "");
    tree.writeRawName({}, "bad\xff"_ba, "");
    tree.writeRawName({}, "cut\xc3"_ba, "");
    tree.writeRawName({}, "long\xc0\xaf"_ba, "");
    tree.writeRawName({}, "half\xed\xa0\x80"_ba, "");
    tree.writeRawName({}, "\xc4\xb0\xc5\x9f\xc4\xb1k"_ba, "");
    QMap<QString, bool> names;
    QVERIFY(listNames(opened(tree), [&](const DirectoryName& name) { names.insert(name.text, name.isExact); }));
    QCOMPARE(names.size(), 6);
    QCOMPARE(names.value(u"plain"_s), true);
    QCOMPARE(names.value(u"İşık"_s), true);
    QCOMPARE(names.values().count(false), 4);
    QVERIFY(names.contains(u"bad\ufffd"_s));
}

void TestFileServices::keepsAByteOrderMarkInAName()
{
    const TempTree tree;
    tree.write(u"\ufeffa"_s, "with mark");
    QStringList names;
    QVERIFY(listNames(opened(tree), [&](const DirectoryName& name) { names.append(name.text); }));
    QCOMPARE(names, QStringList{u"\ufeffa"_s});
    QCOMPARE(kindIn(opened(tree), names.first()), EntryKind::File);
}

void TestFileServices::listsHiddenNames()
{
    const TempTree tree;
    tree.write(u".hidden"_s, "");
    tree.write(u"..odd"_s, "");
    QStringList names;
    QVERIFY(listNames(opened(tree), [&](const DirectoryName& name) { names.append(name.text); }));
    names.sort();
    QCOMPARE(names, (QStringList{u"..odd"_s, u".hidden"_s}));
}

void TestFileServices::saysWhenADirectoryCannotBeListed()
{
    const TempTree tree;
    tree.write(u"file"_s, "");
    Directory file{openFileIn(opened(tree), u"file"_s, Access::Read, Disposition::OpenExisting, Sharing::Read), {}};
    QVERIFY(!listNames(file, [](const DirectoryName&) {}));
}

void TestFileServices::tellsTheKindsOfEntriesApart()
{
    const TempTree tree;
    tree.write(u"file"_s, "");
    tree.makeDirectory(u"directory"_s);
    tree.makeDirectory(u"locked"_s);
    tree.link(u"directory"_s, u"link"_s);
    tree.link(u"absent"_s, u"dangling"_s);
    tree.makePipe(u"pipe"_s);
    const Directory root = opened(tree);
    QCOMPARE(kindIn(root, u"file"_s), EntryKind::File);
    QCOMPARE(kindIn(root, u"directory"_s), EntryKind::Directory);
    QCOMPARE(kindIn(root, u"link"_s), EntryKind::Special);
    QCOMPARE(kindIn(root, u"dangling"_s), EntryKind::Special);
    QCOMPARE(kindIn(root, u"pipe"_s), EntryKind::Special);
    QCOMPARE(kindIn(root, u"absent"_s), EntryKind::Absent);
    QCOMPARE(kindOfPath(tree.path(u"link"_s), Links::Refuse), EntryKind::Special);
    QCOMPARE(kindOfPath(tree.path(u"link"_s), Links::Follow), EntryKind::Directory);
    QCOMPARE(kindOfPath(tree.path(u"file/below"_s), Links::Refuse), EntryKind::Absent);
    QCOMPARE(kindOfPath(tree.path(QString(300, u'n')), Links::Refuse), EntryKind::Unreadable);
}

void TestFileServices::handsNoHandleToChildren()
{
    const TempTree tree;
    tree.makeDirectory(u"directory"_s);
    const Directory root = opened(tree);
    QVERIFY(closesOnExec(root.handle));
    QVERIFY(closesOnExec(openDirectoryIn(root, u"directory"_s).handle));
    QVERIFY(closesOnExec(openFileIn(root, u"new"_s, Access::Write, Disposition::CreateNew, Sharing::None)));
}

void TestFileServices::givesModificationTimesWithAllDigits()
{
    const TempTree tree;
    const QByteArray path = tree.write(u"file"_s, "").toUtf8();
    const FileHandle file = openFileIn(opened(tree), u"file"_s, Access::Read, Disposition::OpenExisting, Sharing::Read);
    const auto timeAfterSetting = [&](long nanoseconds) {
        const std::array<timespec, 2> times = {{{1, 0}, {1700000000, nanoseconds}}};
        [&] { QCOMPARE(::utimensat(AT_FDCWD, path.constData(), times.data(), 0), 0); }();
        return informationOf(file)->modified;
    };
    const auto first = timeAfterSetting(123456789);
    const auto second = timeAfterSetting(123456790);
    QVERIFY(first != second);
    QCOMPARE(first.seconds, 1700000000);
    QCOMPARE(first.nanoseconds, 123456789);
}

QTEST_APPLESS_MAIN(TestFileServices)
#include "test_file_services.moc"
