#include "Arguments.h"

#include <cstdlib>

#include "Errors.h"

namespace qtmovie {

Arguments::Arguments(const std::vector<std::string>& words, const OptionSpec& options) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word == "-h" || word == "--help") {
      help_ = true;
    } else if (options.switches.count(word)) {
      options_[word].push_back("");
    } else if (options.valued.count(word)) {
      if (i + 1 >= words.size()) throw UsageError(word + " needs a value");
      options_[word].push_back(words[++i]);
    } else if (word.size() > 1 && word[0] == '-') {
      throw UsageError("unknown option " + word);
    } else {
      positional_.push_back(word);
    }
  }
}

bool Arguments::has(const std::string& option) const { return options_.count(option) != 0; }

std::string Arguments::value(const std::string& option, const std::string& fallback) const {
  auto found = options_.find(option);
  return found == options_.end() ? fallback : found->second.back();
}

const std::vector<std::string>& Arguments::values(const std::string& option) const {
  static const std::vector<std::string> none;
  auto found = options_.find(option);
  return found == options_.end() ? none : found->second;
}

int parseInt(const std::string& text, const std::string& what, int low, int high) {
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || value < low || value > high)
    throw UsageError(what + " must be a whole number from " + std::to_string(low) + " to " + std::to_string(high) +
                     ", not '" + text + "'");
  return static_cast<int>(value);
}

double parseNumber(const std::string& text, const std::string& what) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0') throw UsageError(what + " must be a number, not '" + text + "'");
  return value;
}

}  // namespace qtmovie
