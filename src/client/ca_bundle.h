/// The system's CA certificates as the single file that the game client takes.
#pragma once

#include <QString>

namespace vok::launcher_client
{

/// The file that OpenSSL's environment variable names, or OpenSSL's own where that is not set. Throws
/// std::runtime_error where it is no file: not every system keeps its certificates in one.
QString systemCaBundle();

} // namespace vok::launcher_client
