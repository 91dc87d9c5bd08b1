#include "Interrupt.h"

#include <csignal>

#include "Errors.h"

namespace qtmovie {
namespace {

volatile std::sig_atomic_t stopSignal = 0;

extern "C" void onStopSignal(int signal) { stopSignal = signal; }

}  // namespace

void installStopHandlers() {
  struct sigaction action {};
  action.sa_handler = onStopSignal;
  sigemptyset(&action.sa_mask);
  // No SA_RESTART: a blocking read or write returns early so the check comes sooner.
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool stopRequested() { return stopSignal != 0; }

void checkStop() {
  if (stopRequested()) throw Interrupted();
}

}  // namespace qtmovie
