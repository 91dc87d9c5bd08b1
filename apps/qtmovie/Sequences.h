// Numbered image sequences: `name_%04d.png` patterns (one %d conversion, with
// optional zero padding and width; %% for a percent sign) and shell globs.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qtmovie {

// True when `text` holds a %d conversion; throws UsageError for a malformed one
// (any other conversion, two of them, a width above 9).
bool isNumberPattern(const std::string& text);
// The pattern with its conversion replaced by `number`.
std::string formatNumbered(const std::string& pattern, long long number);

// The files a command line names, in order: a %d pattern gives the run of existing
// numbers from `start` (default: the first of 0 to 4 that exists); a glob gives its
// matches sorted; any other word is one file. `start` skips that many files of a glob or
// list; `count` keeps at most that many. Throws Failure when nothing matches.
std::vector<std::string> expandInputs(const std::vector<std::string>& words, std::optional<long long> start,
                                      std::optional<long long> count);

}  // namespace qtmovie
