// How the library's own code prints a message: printf-style, with a level and
// the stream it goes to when the host has not taken messages over (see
// <vantor/Log.h>). Replaces printf, fprintf(stderr, ...) and perror one for one.
#pragma once

#include <vantor/Log.h>

namespace Vantor {

// Standard output by default.
void diagnostic(LogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));
// Standard error by default.
void diagnosticError(LogLevel level, const char* format, ...) __attribute__((format(printf, 2, 3)));
// perror's text ("text: reason for errno\n"), standard error by default.
void diagnosticPerror(LogLevel level, const char* text);

}  // namespace Vantor
