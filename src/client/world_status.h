/// What the account service tells of the world.
#pragma once

#include <QByteArray>

namespace vok::launcher_client
{

/// The port of the world out of a status answer. Throws std::runtime_error where the answer does not say in so many
/// words that the world is online, or names a port that is no number between 1 and 65535.
int parseWorldPort(const QByteArray& status);

} // namespace vok::launcher_client
