#include "support/sample_store.h"

#include "assets/import.h"
#include "support/archive_builder.h"

using namespace Qt::Literals::StringLiterals;

namespace vok::test_support
{

SampleStore::SampleStore()
{
    const std::string archive =
        ArchiveBuilder("textures").file("a.dds", "pixels").enter("sub").file("b", "more").build();
    m_tree.write(u"game/app/base/data/textures_1.dat"_s, QByteArray::fromStdString(archive));
    m_tree.write(u"game/app/base/data/Işık/gölge.dat"_s, "shadow");
    m_tree.write(u"game/app/base/readme.txt"_s, "read me");
    m_tree.write(u"game/app/base/empty.txt"_s, "");
    m_tree.makeDirectory(u"game/app/base/hollow"_s);
    m_tree.write(u"game/uninstall.txt"_s, "not a part of the data");
}

void SampleStore::import() const
{
    const auto report = launcher_assets::importTree(source(), root(), QDeadlineTimer(QDeadlineTimer::Forever));
    if (!report.isClean())
        qFatal("cannot import the sample: %s", qUtf8Printable(report.errors.join(u' ')));
}

} // namespace vok::test_support
