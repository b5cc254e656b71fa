#include "assets/safe_files.h"
#include "assets/tree_scan.h"
#include "support/failure_of.h"
#include "support/temp_tree.h"

#include <QFile>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace vok::launcher_assets;
using namespace vok::test_support;

/// The bounds of a store at their real size, as far as a disk can hold them.
class TestStoreLimits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void takes200000EntriesAndNoMore();
    void readsAFileOfExactly16GiB();
};

namespace
{

const QDeadlineTimer kForever(QDeadlineTimer::Forever);

TreeInventory scanned(const TempTree& tree)
{
    TreeInventory inventory;
    scanTree(tree.path(), QString(), 0, inventory, false, kForever);
    return inventory;
}

} // namespace

void TestStoreLimits::takes200000EntriesAndNoMore()
{
    constexpr int kDirectories = 500;
    constexpr int kFilesEach = 399;
    const TempTree tree;
    for (int directory = 0; directory < kDirectories; ++directory) {
        const QString path = tree.makeDirectory(QString::number(directory));
        for (int file = 0; file < kFilesEach; ++file) {
            QFile made(path + u'/' + QString::number(file));
            QVERIFY(made.open(QIODevice::WriteOnly));
        }
    }
    const TreeInventory inventory = scanned(tree);
    QCOMPARE(inventory.entryCount, 200000);
    QCOMPARE(inventory.files.size(), kDirectories * kFilesEach);

    tree.makeDirectory(u"one more"_s);
    QCOMPARE(failureOf([&] { scanned(tree); }), u"Asset tree exceeds 200000 entries"_s);
}

void TestStoreLimits::readsAFileOfExactly16GiB()
{
    constexpr qint64 kLargest = 17179869184;
    const TempTree tree;
    QVERIFY(QFile::resize(tree.write(u"large"_s, {}), kLargest));
    QCOMPARE(scanned(tree).files.value(u"large"_s).size, kLargest);
}

QTEST_APPLESS_MAIN(TestStoreLimits)
#include "test_store_limits.moc"
