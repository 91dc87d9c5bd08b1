// Running a program or a function in a child process under an address-space
// limit and a time bound, with its output, how it ended and its peak memory.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Vantor::QuickTime::Reliability {

// The address-space limit a hostile input must stay under: a host given a
// damaged movie of a few kilobytes should never need more.
inline constexpr std::uint64_t kAddressSpaceLimit = std::uint64_t{1} << 30;

enum class RunEnd { Exited, Signalled, TimedOut };

struct BoundedRun {
  RunEnd end = RunEnd::Exited;
  int exitCode = 0;  // when Exited
  int signal = 0;    // when Signalled or TimedOut
  std::string output;
  std::string errors;
  long peakKilobytes = 0;  // the child's peak resident set
};

// Whether the limit can be set here: a sanitizer's shadow memory reserves
// terabytes of address space, so under one only the time bound applies.
bool addressSpaceLimitApplies();

// `argv[0]` run with `argv`, killed after `seconds`, its address space limited
// to `addressSpace` bytes when that applies.
BoundedRun runProgram(const std::vector<std::string>& argv, unsigned seconds, std::uint64_t addressSpace);

// `work` run in a forked child under the same bounds; what it returns is the
// result's output, and what the child printed (standard output and error) its
// errors.
BoundedRun runInChild(const std::function<std::string()>& work, unsigned seconds, std::uint64_t addressSpace);

}  // namespace Vantor::QuickTime::Reliability
