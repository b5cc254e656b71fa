/// Under which names the launcher is known to the desktop. Settings and data lie in folders of these names.
#pragma once

namespace vok
{

/// Sets organisation, name and version on QCoreApplication. To be called before the application object exists.
void setApplicationIdentity();

} // namespace vok
