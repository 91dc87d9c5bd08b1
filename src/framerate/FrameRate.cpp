// Frame-rate conversions between float rates, time scale plus frame duration, and the packed
// 32-bit form. The NTSC rates are recognised from the values that real movies and hosts use.
#include <vantor/quicktime/FrameRate.h>

#include <cmath>
#include <limits>

namespace Vantor::QuickTime {

namespace {

// A float rate times 100, rounded, that stands for an NTSC rate.
struct NtscRoundedRate {
  std::int32_t hundredths;
  std::uint32_t nominal;
};
constexpr NtscRoundedRate kNtscRoundedRates[] = {
    {5994, 60},
    {2997, 30},
    {2397, 24},
    {2398, 24},
};

// A time scale and frame duration (other than the x/1001 family) that stand for an NTSC rate.
struct NtscTimeBase {
  std::uint32_t timeScale;
  std::uint32_t frameDuration;
  std::uint32_t nominal;
};
constexpr NtscTimeBase kNtscTimeBasesIn[] = {
    {23976, 1000, 24}, {5994, 100, 60}, {2997, 100, 30}, {2997, 125, 24}, {2397, 100, 24}, {2398, 100, 24},
};

// The time base written for each NTSC rate that has one of its own.
constexpr NtscTimeBase kNtscTimeBasesOut[] = {
    {60000, 1001, 60},
    {30000, 1001, 30},
    {23976, 1000, 24},
};

constexpr std::uint32_t kNtscDuration = 1001;
constexpr std::uint32_t kPlainScalePerFrame = 100;

// Out-of-range rates saturate and NaN becomes 0, so the conversion to a 32-bit integer is
// always defined.
std::int32_t toInt32Saturated(double value) {
  if (std::isnan(value)) return 0;
  if (value >= static_cast<double>(std::numeric_limits<std::int32_t>::max()))
    return std::numeric_limits<std::int32_t>::max();
  if (value <= static_cast<double>(std::numeric_limits<std::int32_t>::min()))
    return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(value);
}

const NtscTimeBase* outputTimeBase(FrameRate rate) {
  if (!rate.isNtsc()) return nullptr;
  for (const NtscTimeBase& base : kNtscTimeBasesOut) {
    if (base.nominal == rate.nominal()) return &base;
  }
  return nullptr;
}

}  // namespace

FrameRate::FrameRate(float rate) noexcept {
  const double scaled = 100.0 * static_cast<double>(rate);
  const double rounded = scaled >= 0.0 ? std::trunc(0.5 + scaled) : -std::trunc(0.5 - scaled);
  const std::int32_t n = toInt32Saturated(rounded);

  for (const NtscRoundedRate& entry : kNtscRoundedRates) {
    if (entry.hundredths == n) {
      *this = make(entry.nominal, true);
      return;
    }
  }
  // Negative rates wrap through the unsigned division like any other 32-bit value; they
  // are never a meaningful movie rate.
  *this = make(static_cast<std::uint32_t>(n) / 100u, false);
}

FrameRate::FrameRate(std::int32_t timeScale, std::int32_t frameDuration) noexcept {
  const auto scale = static_cast<std::uint32_t>(timeScale);
  const auto duration = static_cast<std::uint32_t>(frameDuration);

  if (duration == kNtscDuration) {
    *this = make(scale / kNtscDuration + 1u, true);
    return;
  }
  for (const NtscTimeBase& base : kNtscTimeBasesIn) {
    if (base.timeScale == scale && base.frameDuration == duration) {
      *this = make(base.nominal, true);
      return;
    }
  }
  // A zero duration has no rate; report 0 rather than divide by it.
  *this = make(duration == 0 ? 0u : scale / duration, false);
}

float FrameRate::toFloat() const noexcept {
  const float rate = static_cast<float>(nominal());
  return isNtsc() ? rate * 1000.0f / 1001.0f : rate;
}

// Rates above 21474836 overflow nominal*100; the product wraps as a 32-bit value.
std::int32_t FrameRate::timeScale() const noexcept {
  if (const NtscTimeBase* base = outputTimeBase(*this)) return static_cast<std::int32_t>(base->timeScale);
  return static_cast<std::int32_t>(nominal() * kPlainScalePerFrame);
}

std::int32_t FrameRate::frameDuration() const noexcept {
  if (const NtscTimeBase* base = outputTimeBase(*this)) return static_cast<std::int32_t>(base->frameDuration);
  return static_cast<std::int32_t>(kPlainScalePerFrame);
}

}  // namespace Vantor::QuickTime
