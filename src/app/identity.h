/// Under which names the launcher is known: to the desktop, where settings and data lie in folders of these names, and
/// to the player.
#pragma once

#include <QString>

namespace vok
{

/// What the player calls the product: the title of the window and of its messages.
inline const QString kProductName = QStringLiteral("Tarvun: Selvira");

/// Sets organisation, name and version on QCoreApplication. To be called before the application object exists.
void setApplicationIdentity();

} // namespace vok
