#include "DataRates.h"

#include <cctype>
#include <cmath>

#include "Errors.h"

namespace qtmovie {
namespace {

// Below 1 kbit/s nothing useful survives; above 10 Gbit/s the movie's 32-bit
// bytes-per-second setting would overflow soon after.
constexpr double kMinRate = 1e3;
constexpr double kMaxRate = 1e10;

[[noreturn]] void badRate(const std::string& text) {
  throw UsageError("--bitrate must be bits per second from 1k to 10G (8000000, 2500k, 8M, 1.5M), not '" + text + "'");
}

double multiplier(char suffix) {
  switch (suffix) {
    case 'k':
    case 'K':
      return 1e3;
    case 'm':
    case 'M':
      return 1e6;
    case 'g':
    case 'G':
      return 1e9;
    default:
      return 0;
  }
}

}  // namespace

std::int64_t parseBitRate(const std::string& text) {
  // Digits, an optional fraction and an optional suffix, nothing else: no sign,
  // exponent, spaces or units, which a number parser would let through.
  std::size_t at = 0;
  double value = 0;
  const auto digits = [&](double scale) {
    const std::size_t first = at;
    for (; at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])); ++at) {
      if (scale == 1) {
        value = value * 10 + (text[at] - '0');
      } else {
        value += (text[at] - '0') * scale;
        scale /= 10;
      }
      if (value > kMaxRate) badRate(text);
    }
    return at > first;
  };
  if (!digits(1)) badRate(text);
  if (at < text.size() && text[at] == '.') {
    ++at;
    if (!digits(0.1)) badRate(text);
  }
  if (at < text.size()) {
    const double scale = multiplier(text[at]);
    if (scale == 0 || at + 1 != text.size()) badRate(text);
    value *= scale;
  }
  if (value < kMinRate || value > kMaxRate) badRate(text);
  return static_cast<std::int64_t>(std::llround(value));
}

}  // namespace qtmovie
