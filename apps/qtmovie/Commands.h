// The qtmovie commands. Each takes the words after its name, prints its own
// --help, and throws UsageError or Failure; main turns those into one line.
#pragma once

#include <string>
#include <vector>

namespace qtmovie {

using Words = std::vector<std::string>;

int runInfo(const Words& words);
int runFrame(const Words& words);
int runAudio(const Words& words);
int runEncode(const Words& words);
int runCodecs(const Words& words);

}  // namespace qtmovie
