// Frame rates as the dialog shows and reads them: the preset list, the text of a rate, and
// the parsing of a typed rate.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vqt::dialogs {

// The word shown for rate 0, which keeps the current rate.
inline constexpr std::string_view kCurrentFrameRateWord = "Current";

// The highest rate accepted when typed.
inline constexpr float kMaxTypedFrameRate = 1000.0f;

std::span<const float> frameRatePresets();

// Six significant digits, no trailing zeros: 29.97 shows as "29.97", 24 as "24"; 0 shows as
// the "Current" word.
std::string frameRateText(float rate);

// A typed rate: a plain decimal number (with '.' as the point, whatever the locale) from 0 to
// kMaxTypedFrameRate, or the "Current" word for 0. Anything else is rejected, the empty text
// too: a cleared field is more likely a slip than a wish to keep the current rate.
std::optional<float> parseFrameRate(std::string_view text);

}  // namespace vqt::dialogs
