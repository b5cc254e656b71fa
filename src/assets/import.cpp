#include "assets/import.h"

#include "assets/failure.h"
#include "assets/manifest.h"
#include "assets/safe_files.h"
#include "assets/staging.h"
#include "assets/tree_scan.h"

#include <QStringList>

using namespace Qt::Literals::StringLiterals;

namespace vok::launcher_assets
{
namespace
{

TreeInventory scannedCorpus(const Directory& source, QDeadlineTimer deadline)
{
    TreeInventory inventory;
    scanTree(source, QString(), 0, inventory, true, deadline);
    if (inventory.files.isEmpty() || !inventory.foundOriginalArchive)
        fail(u"No nonempty valid original QOMB textures/lightmaps/objects corpus found in selected source"_s);
    return inventory;
}

void rejectExistingStore(const Directory& root)
{
    for (const QStringView name : {kAssetsName, kManifestName}) {
        if (kindIn(root, name.toString()) != EntryKind::Absent)
            fail(u"Assets or manifest already exist; use verification and repair instead of overwriting"_s);
    }
}

void stageManifest(const Stage& stage, const QByteArray& bytes, QDeadlineTimer deadline)
{
    const FileHandle file = openSafeIn(
        stage.directory(), kManifestName.toString(), Access::Write, Disposition::CreateNew, deadline, Sharing::None);
    writeAll(file, bytes, u"Cannot write asset manifest"_s, deadline);
    if (!flushFile(file))
        fail(u"Cannot sync asset manifest"_s);
}

/// The pair cannot be one rename. The manifest goes first: a manifest without a tree is a damaged store, which repair
/// completes; a tree without a manifest would have no way out.
void commit(const Stage& stage, const Directory& root, QDeadlineTimer deadline)
{
    const QString manifest = kManifestName.toString();
    const QString assets = kAssetsName.toString();
    throwIfExpired(deadline);
    commitRename({stage.directory(), manifest}, {root, manifest}, false, u"Cannot commit asset manifest"_s);
    try {
        throwIfExpired(deadline);
        commitRename({stage.directory(), assets}, {root, assets}, false, u"Cannot atomically commit imported assets"_s);
    } catch (...) {
        // Where the tree could not even be taken back, the manifest has to stay with it.
        if (kindIn(stage.directory(), assets) == EntryKind::Directory) {
            removeFile(root, manifest);
            flushDirectory(root);
        }
        throw;
    }
}

} // namespace

Directory resolveSourceRoot(const QString& path, QDeadlineTimer deadline)
{
    Directory root = requireRoot(normalizedRoot(path), false, true, deadline);
    if (kindIn(root, u"base"_s) != EntryKind::Absent)
        return requireDirectoryIn(root, u"base"_s, false, deadline);
    if (kindOfPath(root.pathOf(u"app/base"_s), Links::Refuse) != EntryKind::Absent)
        return requireDirectoryIn(requireDirectoryIn(root, u"app"_s, false, deadline), u"base"_s, false, deadline);
    return root;
}

Report importTree(const QString& source, const QString& installation, QDeadlineTimer deadline)
{
    return reported([&] {
        throwIfExpired(deadline);
        const Directory sourceRoot = resolveSourceRoot(source, deadline);
        const QString target = normalizedRoot(installation);
        rejectOverlap(sourceRoot.path, target);
        const TreeInventory inventory = scannedCorpus(sourceRoot, deadline);
        const QByteArray manifest = writeManifestBytes(inventory.files);

        // Hashing the whole source took long and wrote nothing; only from here on does the lock keep others out.
        const Directory root = requireRoot(target, true, true, deadline);
        rejectOverlap(canonicalPath(sourceRoot), canonicalPath(root));
        const FileHandle lock = lockRoot(root, true, deadline);
        rejectExistingStore(root);
        throwIfExpired(deadline);
        const Stage stage(root);
        copyEntries(
            sourceRoot, requireDirectoryIn(stage.directory(), kAssetsName.toString(), true, deadline), inventory.files,
            deadline);
        stageManifest(stage, manifest, deadline);
        commit(stage, root, deadline);

        Report report;
        report.files = inventory.files.size();
        report.bytes = static_cast<quint64>(inventory.totalBytes);
        return report;
    });
}

} // namespace vok::launcher_assets
