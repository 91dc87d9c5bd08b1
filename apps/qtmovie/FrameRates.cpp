#include "FrameRates.h"

#include <cmath>
#include <cstdio>
#include <numeric>

#include "Errors.h"

namespace qtmovie {
namespace {

// The decimal spellings people use for the 1000/1001 rates, and the time base
// each stands for. 23.976 becomes 24000/1001 (what other tools write), not
// the library's 23976/1000 for a float rate.
struct NtscSpelling {
  const char* text;
  std::int32_t timeScale;
};
constexpr NtscSpelling kNtscSpellings[] = {
    {"23.976", 24000}, {"23.98", 24000},   {"29.97", 30000},  {"47.952", 48000},
    {"59.94", 60000},  {"119.88", 120000}, {"11.988", 12000}, {"14.985", 15000},
};
constexpr std::int32_t kNtscDuration = 1001;
// Whole and decimal rates are written over a duration of 100, as the writer does for
// whole rates, so 12.5 is 1250/100 and 24 stays 2400/100.
constexpr std::int32_t kPlainDuration = 100;
constexpr double kMaxRate = 1000.0;

[[noreturn]] void badRate(const std::string& text) {
  throw UsageError("--fps must be a rate above 0 and up to 1000 (24, 12.5, 29.97, 30000/1001), not '" + text + "'");
}

bool wholeNumber(const std::string& text, long long& value) {
  if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos) return false;
  value = std::stoll(text);
  return true;
}

}  // namespace

int ExactRate::nominal() const { return static_cast<int>(std::ceil(perSecond() - 1e-9)); }

ExactRate parseFrameRate(const std::string& text) {
  for (const NtscSpelling& spelling : kNtscSpellings)
    if (text == spelling.text) return {spelling.timeScale, kNtscDuration};

  if (const auto slash = text.find('/'); slash != std::string::npos) {
    long long numerator = 0, denominator = 0;
    if (!wholeNumber(text.substr(0, slash), numerator) || !wholeNumber(text.substr(slash + 1), denominator) ||
        numerator == 0 || denominator == 0 || numerator > denominator * kMaxRate)
      badRate(text);
    const long long common = std::gcd(numerator, denominator);
    numerator /= common, denominator /= common;
    if (denominator == 1) return {static_cast<std::int32_t>(numerator * kPlainDuration), kPlainDuration};
    return {static_cast<std::int32_t>(numerator), static_cast<std::int32_t>(denominator)};
  }

  // A decimal with at most two places: exact over a duration of 100.
  const auto dot = text.find('.');
  long long whole = 0, fraction = 0;
  const std::string decimals = dot == std::string::npos ? "" : text.substr(dot + 1);
  if (!wholeNumber(text.substr(0, dot), whole) || decimals.size() > 2 ||
      (!decimals.empty() && !wholeNumber(decimals, fraction)) || (dot != std::string::npos && decimals.empty()))
    badRate(text);
  if (decimals.size() == 1) fraction *= 10;
  const long long hundredths = whole * 100 + fraction;
  if (hundredths <= 0 || hundredths > kMaxRate * 100) badRate(text);
  return {static_cast<std::int32_t>(hundredths), kPlainDuration};
}

}  // namespace qtmovie
