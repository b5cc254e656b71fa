/// The session's way to the game client: through its standard input, where neither the process list nor the
/// environment, a file or a crash dump of the launcher shows it for longer than it takes.
#pragma once

#include <QByteArray>

class QProcess;

namespace vok::launcher_client
{

/// Writes `session` as one line to the standard input of `process`, which has started, and closes it behind the line.
/// The one copy that this takes is overwritten once the process's pipe has it or the process has ended.
void handOverSession(QProcess& process, QByteArrayView session);

} // namespace vok::launcher_client
