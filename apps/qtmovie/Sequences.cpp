#include "Sequences.h"

#include <glob.h>

#include <algorithm>
#include <filesystem>

#include "Errors.h"

namespace qtmovie {
namespace {

struct Conversion {
  std::size_t begin = std::string::npos, end = 0;  // [begin, end) in the pattern
  int width = 0;
  bool zeroPad = false;
};

// Finds the one %[0][width]d; escapes (%%) are left for formatNumbered to undo.
std::optional<Conversion> findConversion(const std::string& text) {
  std::optional<Conversion> found;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') continue;
    if (i + 1 < text.size() && text[i + 1] == '%') {
      ++i;
      continue;
    }
    Conversion c;
    c.begin = i++;
    if (i < text.size() && text[i] == '0') c.zeroPad = true, ++i;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') c.width = c.width * 10 + (text[i++] - '0');
    if (i >= text.size() || text[i] != 'd' || c.width > 9 || found)
      throw UsageError("'" + text + "' must hold one %d (or %04d) and %% for a percent sign");
    c.end = i + 1;
    found = c;
  }
  return found;
}

bool isGlob(const std::string& word) { return word.find_first_of("*?[") != std::string::npos; }

std::vector<std::string> globMatches(const std::string& pattern) {
  glob_t matches{};
  std::vector<std::string> files;
  if (glob(pattern.c_str(), 0, nullptr, &matches) == 0)
    for (std::size_t i = 0; i < matches.gl_pathc; ++i) files.emplace_back(matches.gl_pathv[i]);
  globfree(&matches);
  std::sort(files.begin(), files.end());  // glob sorts by locale; keep byte order
  return files;
}

}  // namespace

bool isNumberPattern(const std::string& text) { return findConversion(text).has_value(); }

std::string formatNumbered(const std::string& pattern, long long number) {
  const auto c = findConversion(pattern);
  std::string digits = std::to_string(number);
  if (c && static_cast<int>(digits.size()) < c->width)
    digits.insert(number < 0 ? 1 : 0, static_cast<std::size_t>(c->width) - digits.size(), c->zeroPad ? '0' : ' ');
  std::string out;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (c && i == c->begin) {
      out += digits;
      i = c->end - 1;
    } else if (pattern[i] == '%' && i + 1 < pattern.size() && pattern[i + 1] == '%') {
      out += '%';
      ++i;
    } else {
      out += pattern[i];
    }
  }
  return out;
}

std::vector<std::string> expandInputs(const std::vector<std::string>& words, std::optional<long long> start,
                                      std::optional<long long> count) {
  std::vector<std::string> files;
  const long long limit = count.value_or(-1);
  auto full = [&] { return limit >= 0 && static_cast<long long>(files.size()) >= limit; };
  long long skip = 0;
  for (const std::string& word : words) {
    if (isNumberPattern(word)) {
      long long number = start.value_or(-1);
      if (number < 0) {
        for (number = 0; number < 5; ++number)
          if (std::filesystem::exists(formatNumbered(word, number))) break;
      }
      for (; !full(); ++number) {
        const std::string path = formatNumbered(word, number);
        if (!std::filesystem::exists(path)) break;
        files.push_back(path);
      }
      if (files.empty()) throw Failure("no file matches " + word);
      continue;
    }
    std::vector<std::string> named = isGlob(word) ? globMatches(word) : std::vector<std::string>{word};
    if (named.empty()) throw Failure("no file matches " + word);
    for (const std::string& path : named) {
      if (start && skip++ < *start) continue;
      if (full()) break;
      files.push_back(path);
    }
  }
  if (files.empty()) throw Failure("no input frames after --start");
  return files;
}

}  // namespace qtmovie
