#include "FrameRateText.h"

#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace vqt::dialogs {

namespace {
constexpr std::array<float, 8> kPresets{23.976f, 24.0f, 25.0f, 29.97f, 30.0f, 50.0f, 59.94f, 60.0f};

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
  return text;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
  return true;
}
}  // namespace

std::span<const float> frameRatePresets() { return kPresets; }

std::string frameRateText(float rate) {
  if (rate == 0.0f) return std::string(kCurrentFrameRateWord);
  char text[32];
  std::snprintf(text, sizeof text, "%g", double(rate));
  return text;
}

std::optional<float> parseFrameRate(std::string_view text) {
  text = trimmed(text);
  if (equalsIgnoringCase(text, kCurrentFrameRateWord)) return 0.0f;
  // Digits and one point only: from_chars alone would also take exponents, "inf" and "nan".
  bool seenDigit = false;
  bool seenPoint = false;
  for (char c : text) {
    if (c >= '0' && c <= '9') {
      seenDigit = true;
    } else if (c == '.' && !seenPoint) {
      seenPoint = true;
    } else {
      return std::nullopt;
    }
  }
  if (!seenDigit) return std::nullopt;
  float rate = 0.0f;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), rate, std::chars_format::fixed);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (!(rate >= 0.0f && rate <= kMaxTypedFrameRate)) return std::nullopt;
  return rate;
}

}  // namespace vqt::dialogs
