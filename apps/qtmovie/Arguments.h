// Command-line parsing for qtmovie: positional arguments, options that take a
// value (repeatable, e.g. --meta) and plain switches, checked against what
// each command accepts so that a typo is an error, not a silent default.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace qtmovie {

struct OptionSpec {
  std::set<std::string> valued;    // e.g. "-o", "--fps"
  std::set<std::string> switches;  // e.g. "--json", "--flatten"
};

class Arguments {
 public:
  // Throws UsageError for an unknown option or a missing value.
  Arguments(const std::vector<std::string>& words, const OptionSpec& options);

  bool has(const std::string& option) const;
  // The last value given, or `fallback`.
  std::string value(const std::string& option, const std::string& fallback = "") const;
  const std::vector<std::string>& values(const std::string& option) const;
  const std::vector<std::string>& positional() const { return positional_; }
  bool wantsHelp() const { return help_; }

 private:
  std::vector<std::string> positional_;
  std::map<std::string, std::vector<std::string>> options_;
  bool help_ = false;
};

// Parses a whole decimal number in [low, high]; throws UsageError naming `what` otherwise.
int parseInt(const std::string& text, const std::string& what, int low, int high);
double parseNumber(const std::string& text, const std::string& what);

}  // namespace qtmovie
