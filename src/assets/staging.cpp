#include "assets/staging.h"

#include "assets/directory_chain.h"
#include "assets/failure.h"
#include "assets/safe_files.h"

#include <QUuid>

using namespace Qt::Literals::StringLiterals;

namespace vok::launcher_assets
{

Stage::Stage(const Directory& root)
    : m_root(root)
    , m_name(u".asset-stage-"_s + QUuid::createUuid().toString(QUuid::Id128))
{
    if (!createDirectoryIn(root, m_name))
        fail(u"Cannot create asset staging directory"_s);
    m_directory = openDirectoryIn(root, m_name);
    if (!m_directory.isOpen()) {
        removeTree(root, m_name);
        fail(u"Cannot create asset staging directory"_s);
    }
}

Stage::~Stage()
{
    m_directory.handle.close();
    removeTree(m_root, m_name);
}

void copyEntries(const Directory& sourceRoot, const Directory& target, const Manifest& files, QDeadlineTimer deadline)
{
    DirectoryChain sources(sourceRoot, DirectoryChain::Missing::Refuse);
    DirectoryChain targets(target, DirectoryChain::Missing::Create, u"Cannot sync copied asset "_s);
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        throwIfExpired(deadline);
        const QString& path = file.key();
        const QString name = path.section(u'/', -1);
        FileHandle source = openSafeIn(
            sources.enterParentOf(path, deadline), name, Access::Read, Disposition::OpenExisting, deadline,
            Sharing::Read);
        FileHandle copy = openSafeIn(
            targets.enterParentOf(path, deadline), name, Access::Write, Disposition::CreateNew, deadline,
            Sharing::None);
        const HashResult result = hashFile(source, copy, path, deadline);
        // Two readings may each be stable and yet not alike: the file changed between them.
        if (result.size != file->size || result.sha256 != file->sha256)
            fail(sourceDiffers(path));
    }
    targets.leave();
}

QString sourceDiffers(const QString& path)
{
    return u"Selected source differs from trusted manifest: "_s + path;
}

} // namespace vok::launcher_assets
