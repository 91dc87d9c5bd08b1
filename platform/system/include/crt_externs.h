// Access to the C runtime's process-wide variables: the environment of the
// calling process, as handed to child processes.
#pragma once

#include <unistd.h>

extern "C" char** environ;

inline char*** _NSGetEnviron() { return &environ; }
