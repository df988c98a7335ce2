// The assertion call of the module.

#pragma once

/// Reports a failed assertion to the process's assertion sink, and returns.
///
/// It never throws and never ends the process, whatever the sink does: code that has to stop tests
/// its condition again behind the call.
///
/// \param expression  Text of the condition that failed.
/// \param message     A note for the reader, or null.
/// \param file        Source path, kept as given.
/// \param line        Line in it, from 1.
void zemcCallAssert(char const* expression, char const* message, char const* file, int line);
