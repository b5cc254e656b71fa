#include "assets/file_services.h"
#include "client/session_hand_over.h"

#include <QProcess>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <system_error>

namespace vok::launcher_client
{
namespace
{

using launcher_assets::FileHandle;

struct Pipe
{
    FileHandle readEnd;
    FileHandle writeEnd;
};

std::shared_ptr<Pipe> newPipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    return std::make_shared<Pipe>(Pipe{FileHandle(ends[0]), FileHandle(ends[1])});
}

} // namespace

// QProcess would copy the session into a buffer that it keeps as long as it lives. A pipe of our own takes it from
// where it lies.
SessionHandOver prepareSessionHandOver(QProcess& process)
{
    const std::shared_ptr<Pipe> pipe = newPipe();
    const int input = static_cast<int>(pipe->readEnd.value());
    process.setChildProcessModifier([input] { ::dup2(input, STDIN_FILENO); });
    return [&process, pipe](QByteArrayView session) {
        // A new pipe holds far more than a line, so this neither waits nor writes a part; and as long as this process
        // has the reading end too, a client that is gone raises no signal.
        launcher_assets::writeBlock(pipe->writeEnd, session.data(), session.size());
        launcher_assets::writeBlock(pipe->writeEnd, "\n", 1);
        pipe->writeEnd.close();
        pipe->readEnd.close();
        process.closeWriteChannel();
    };
}

} // namespace vok::launcher_client
