// The two kinds of failure a qtmovie command reports: a wrong command line
// (exit 2, with a pointer to --help) and a failed operation (exit 1).
#pragma once

#include <stdexcept>

namespace qtmovie {

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace qtmovie
