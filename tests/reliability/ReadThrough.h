// Reading a whole movie through the public reader, and doing so in a forked
// child under a time bound, so that a crash or a hang on a damaged file is
// seen as an outcome instead of ending the test program.
#pragma once

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
// decodes every frame (at most `maxFrames`) and all its sound.
ReadOutcome readThrough(const std::string& path, int maxFrames = 1000);

// How a child reading ended.
enum class ChildEnd { Finished, Crashed, TimedOut };

struct ChildRead {
  ChildEnd end = ChildEnd::Finished;
  int signal = 0;       // the signal that ended a crashed child
  ReadOutcome outcome;  // valid when Finished
};

// readThrough in a forked child killed after `seconds`.
ChildRead readThroughInChild(const std::string& path, unsigned seconds);

}  // namespace Vantor::QuickTime::Reliability
