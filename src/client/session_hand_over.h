/// The session's way to the game client: through its standard input, where neither the process list nor the environment
/// nor a file shows it, and past every buffer that would keep it. One half a platform.
#pragma once

#include <QByteArray>

#include <functional>

class QProcess;

namespace vok::launcher_client
{

/// Writes `session` as one line to the standard input of a process that has started, and closes it behind the line. To
/// be called once, while the process object lives.
using SessionHandOver = std::function<void(QByteArrayView session)>;

/// Prepares the hand-over to `process`, which has not started yet and will be in mode ReadWrite. Throws
/// std::system_error where the system has no pipe left.
SessionHandOver prepareSessionHandOver(QProcess& process);

} // namespace vok::launcher_client
