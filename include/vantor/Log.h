// The library's messages (decode and write failures, progress such as "Have
// duration ...", traces of the metadata read) and how a host routes or
// silences them. By default each goes where it always went, standard output
// or standard error; the level filters, and a callback takes them over.
#pragma once

#include <vantor/Export.h>

namespace Vantor {

// A message is passed on when its level is at or below the current level.
enum class LogLevel : int {
  kSilent = 0,   // as a current level: nothing at all
  kError = 1,    // an operation failed
  kWarning = 2,  // something was ignored or worked around
  kInfo = 3,     // progress worth a line
  kDebug = 4,    // traces
};

// Receives the text exactly as the library would have printed it, line end
// included where it ends a line (a trace may come in several pieces). Called
// on the thread that produced the message, possibly from several at once.
using LogCallback = void (*)(LogLevel level, const char* message, void* context);

// The current level. It starts from the environment variable
// VANTOR_QUICKTIME_LOG ("silent", "error", "warning", "info" or "debug",
// the default) and is then only changed by setLogLevel.
VANTOR_EXPORT void setLogLevel(LogLevel level);
VANTOR_EXPORT LogLevel logLevel();

// Sends every message that passes the level to `callback` instead of standard
// output or standard error; a null callback restores those streams.
VANTOR_EXPORT void setLogCallback(LogCallback callback, void* context);

}  // namespace Vantor
