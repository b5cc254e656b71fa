/// The host commands: what the executable does without any window when its first argument asks for the local server.
#pragma once

namespace vok::launcher_server
{

/// Runs the host command that `argv[1]` names and returns the exit code of the process: 2 where the arguments do not
/// have the command's form, with its usage on standard error; 1 otherwise, since this build has no local server.
int hostCommand(int argc, char** argv);

} // namespace vok::launcher_server
