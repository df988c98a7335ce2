// The program zemhost: command line in, exit code out.

#pragma once

namespace zemhost {

/// Runs one command.
///
/// Answers go to standard output, everything else to standard error.
/// \return The number of an ExitCode.
int runProgram(int argc, char const* const* argv);

}  // namespace zemhost
