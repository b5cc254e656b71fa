#include "app/identity.h"

#include <QCoreApplication>

using namespace Qt::Literals::StringLiterals;

namespace vok
{

void setApplicationIdentity()
{
    QCoreApplication::setOrganizationName(u"VOKCommunity"_s);
    QCoreApplication::setApplicationName(u"VOKLauncher"_s);
    QCoreApplication::setApplicationVersion(u"0.10.4"_s);
}

} // namespace vok
