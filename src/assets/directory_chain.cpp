#include "assets/directory_chain.h"

#include "assets/failure.h"
#include "assets/safe_files.h"

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace vok::launcher_assets
{

DirectoryChain::DirectoryChain(const Directory& root, Missing missing, QString flushFailure)
    : m_root(root)
    , m_missing(missing)
    , m_flushFailure(std::move(flushFailure))
{
}

const Directory& DirectoryChain::enterParentOf(const QString& path, QDeadlineTimer deadline)
{
    throwIfExpired(deadline);
    QStringList wanted = path.split(u'/');
    wanted.removeLast();
    const qsizetype shared =
        std::mismatch(m_names.cbegin(), m_names.cend(), wanted.cbegin(), wanted.cend()).first - m_names.cbegin();
    leaveBelow(shared);
    for (qsizetype level = shared; level < wanted.size(); ++level)
        descend(wanted.at(level), path);
    return current();
}

void DirectoryChain::leave()
{
    leaveBelow(0);
    flushCurrent();
}

void DirectoryChain::leaveBelow(qsizetype level)
{
    while (m_names.size() > level) {
        flushCurrent();
        m_below.pop_back();
        m_names.removeLast();
    }
}

void DirectoryChain::flushCurrent() const
{
    if (m_missing == Missing::Create && !flushDirectory(current()))
        fail(m_flushFailure + m_names.join(u'/'));
}

void DirectoryChain::descend(const QString& name, const QString& path)
{
    const QString wanted = m_root.pathOf(path);
    const bool creates = m_missing == Missing::Create;
    if (creates) {
        const EntryKind kind = kindIn(current(), name);
        if (kind == EntryKind::File || (kind == EntryKind::Absent && !createDirectoryIn(current(), name)))
            fail(u"Cannot create asset directory: "_s + wanted.section(u'/', 0, -2));
    }
    Directory directory = openDirectoryIn(current(), name);
    if (!directory.isOpen() && creates)
        fail(u"Unsafe or unreadable directory "_s + wanted.section(u'/', 0, -2));
    if (!directory.isOpen())
        fail(u"Unsafe or unreadable directory for "_s + wanted);
    m_below.push_back(std::move(directory));
    m_names.append(name);
}

} // namespace vok::launcher_assets
