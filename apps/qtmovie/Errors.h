// How a qtmovie command fails, and the exit code each kind of failure gives.
// The codes are the same for every command and documented in --help and the README.
#pragma once

#include <stdexcept>

namespace qtmovie {

enum ExitCode : int {
  kExitOk = 0,
  kExitUsage = 1,         // a wrong command line
  kExitInput = 2,         // an input that cannot be read or holds nothing to use
  kExitWrite = 3,         // an output that cannot be written
  kExitInterrupted = 130  // SIGINT or SIGTERM, as shells report a signal-killed job
};

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// An input that cannot be opened, read or decoded.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// An output that cannot be created, written or finished.
struct WriteFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Thrown between frames or chunks once a stop was requested, so that every
// writer and partial output is released on the way out.
struct Interrupted : std::runtime_error {
  Interrupted() : std::runtime_error("interrupted") {}
};

}  // namespace qtmovie
