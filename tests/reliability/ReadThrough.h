// Reading a whole movie through the public reader, and doing so in a forked
// child under a time bound, so that a crash or a hang on a damaged file is
// seen as an outcome instead of ending the test program.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace Vantor::QuickTime::Reliability {

// What one reading gave: the open result and, per decodeFrame and readAudio
// result code, how many calls returned it.
struct ReadOutcome {
  int openResult = -1;
  std::map<int, int> decodeResults;
  std::map<int, int> audioResults;
};

// Opens `path` with video and sound, reads the description and metadata, and
// as a host would, decodes every frame (at most `maxFrames`) into a buffer of
// the size it describes and reads all the sound it counts.
ReadOutcome readThrough(const std::string& path, int maxFrames = 1 << 30);

// How a child reading ended.
enum class ChildEnd { Finished, Crashed, TimedOut };

struct ChildRead {
  ChildEnd end = ChildEnd::Finished;
  int signal = 0;          // the signal that ended a crashed child
  ReadOutcome outcome;     // valid when Finished
  long peakKilobytes = 0;  // the child's peak resident set
};

// readThrough in a forked child killed after `seconds`, its address space
// limited to `addressSpace` bytes (0: no limit) where a limit applies.
ChildRead readThroughInChild(const std::string& path, unsigned seconds, std::uint64_t addressSpace = 0);

}  // namespace Vantor::QuickTime::Reliability
