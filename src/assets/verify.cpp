#include "assets/verify.h"

#include "assets/directory_chain.h"
#include "assets/failure.h"
#include "assets/import.h"
#include "assets/portable_path.h"
#include "assets/safe_files.h"
#include "assets/staging.h"

using namespace Qt::Literals::StringLiterals;

namespace vok::launcher_assets
{
namespace
{

const QDeadlineTimer kForever(QDeadlineTimer::Forever);

TreeInventory scannedTree(const Directory& directory)
{
    TreeInventory inventory;
    scanTree(directory, QString(), 0, inventory, false, kForever);
    return inventory;
}

/// The entries of `manifest` that `inventory` lacks or has otherwise.
Manifest damagedEntries(const TreeInventory& inventory, const Manifest& manifest)
{
    Manifest damaged;
    for (auto entry = manifest.cbegin(); entry != manifest.cend(); ++entry) {
        const auto found = inventory.files.constFind(entry.key());
        if (found == inventory.files.cend() || *found != *entry)
            damaged.insert(entry.key(), *entry);
    }
    return damaged;
}

void requireSameData(const Directory& sourceRoot, const Manifest& manifest)
{
    const Manifest missed = damagedEntries(scannedTree(sourceRoot), manifest);
    if (!missed.isEmpty())
        fail(sourceDiffers(missed.firstKey()));
}

Directory assetsOf(const Directory& root, bool create)
{
    return requireDirectoryIn(root, kAssetsName.toString(), create, kForever);
}

/// A file that would come to stand beside one that only another spelling tells apart makes a tree that no scan accepts
/// any more. Such a tree needs its owner's hand, so nothing is written.
void rejectCollisions(const Directory& assets, const TreeInventory& tree, const Manifest& damaged)
{
    for (auto file = damaged.keyBegin(); file != damaged.keyEnd(); ++file) {
        const QString key = portableKey(*file);
        for (qsizetype last = 0; last <= file->count(u'/'); ++last) {
            const QString path = file->section(u'/', 0, last);
            if (tree.portableKeys.contains(key.section(u'/', 0, last)) && kindIn(assets, path) == EntryKind::Absent)
                fail(u"Colliding portable asset path "_s + path);
        }
    }
}

Manifest repairSet(const Directory& assets, const Manifest& manifest)
{
    const TreeInventory tree = scannedTree(assets);
    Manifest damaged = damagedEntries(tree, manifest);
    rejectCollisions(assets, tree, damaged);
    return damaged;
}

void commitRepaired(const Stage& stage, const Directory& assets, const Manifest& files)
{
    const QString failure = u"Cannot commit repaired asset "_s;
    DirectoryChain staged(stage.directory(), DirectoryChain::Missing::Refuse);
    DirectoryChain targets(assets, DirectoryChain::Missing::Create, failure);
    for (auto file = files.keyBegin(); file != files.keyEnd(); ++file) {
        const QString name = file->section(u'/', -1);
        const Directory& target = targets.enterParentOf(*file, kForever);
        if (!renameEntry(staged.enterParentOf(*file, kForever), name, target, name, true)) {
            // What was restored so far stays, so it has to stay restored.
            targets.leave();
            fail(failure + *file);
        }
    }
    targets.leave();
}

} // namespace

Report compareInventory(const TreeInventory& inventory, const Manifest& manifest)
{
    Report report;
    report.files = manifest.size();
    for (auto entry = manifest.cbegin(); entry != manifest.cend(); ++entry) {
        report.bytes += static_cast<quint64>(entry->size);
        const auto found = inventory.files.constFind(entry.key());
        if (found == inventory.files.cend())
            report.missing.append(entry.key());
        else if (*found != *entry)
            report.changed.append(entry.key());
    }
    for (auto file = inventory.files.keyBegin(); file != inventory.files.keyEnd(); ++file) {
        if (!manifest.contains(*file))
            report.extra.append(*file);
    }
    return report;
}

Report verifyTree(const QString& installation)
{
    const Directory root = requireRoot(normalizedRoot(installation), false, true, kForever);
    const FileHandle lock = lockRoot(root, false, kForever);
    const Manifest manifest = readManifest(root);
    if (kindIn(root, kAssetsName.toString()) == EntryKind::Absent)
        return compareInventory(TreeInventory(), manifest);
    return compareInventory(scannedTree(assetsOf(root, false)), manifest);
}

Report repairTree(const QString& source, const QString& installation)
{
    return reported([&] {
        const Directory sourceRoot = resolveSourceRoot(source, kForever);
        const QString path = normalizedRoot(installation);
        rejectOverlap(sourceRoot.path, path);
        const Directory root = requireRoot(path, false, true, kForever);
        rejectOverlap(canonicalPath(sourceRoot), canonicalPath(root));
        const FileHandle lock = lockRoot(root, true, kForever);
        const Manifest manifest = readManifest(root);
        // The proof that the source is the same data comes before the first write, and for all of it.
        requireSameData(sourceRoot, manifest);
        const Directory assets = assetsOf(root, true);
        const Manifest damaged = repairSet(assets, manifest);
        const Stage stage(root);
        copyEntries(sourceRoot, stage.directory(), damaged, kForever);
        commitRepaired(stage, assets, damaged);
        return compareInventory(scannedTree(assetsOf(root, false)), manifest);
    });
}

} // namespace vok::launcher_assets
