// Stopping a long command cleanly on SIGINT or SIGTERM: the handler only sets
// a flag; commands check it between frames or chunks and unwind with
// Interrupted, so writers are destroyed and partial outputs removed.
#pragma once

namespace qtmovie {

void installStopHandlers();
bool stopRequested();
// Throws Interrupted once a stop was requested.
void checkStop();

}  // namespace qtmovie
