// qtmovie's own standard output. The library writes trace lines to standard
// output (e.g. each metadata item it reads); they would corrupt `info --json`
// and anything piped, so file descriptor 1 goes to /dev/null and qtmovie
// writes through a private copy of the original descriptor.
#pragma once

#include <cstdio>

namespace qtmovie {

// Call once at start-up, before any library call.
void divertLibraryOutput();
// Where qtmovie's results and help go.
std::FILE* output();

}  // namespace qtmovie
