// A frame rate packed into 32 bits: a whole-number nominal rate in bits 0..30 and, in bit 31,
// the NTSC flag (true rate = nominal x 1000/1001). Converts between float rates, movie time
// scale plus frame duration, and back; passed by value as its raw 32-bit word.
#pragma once

#include <vantor/Export.h>

#include <cstdint>

namespace Vantor::QuickTime {

class VANTOR_EXPORT FrameRate {
 public:
  static constexpr std::uint32_t kNominalMask = 0x7FFFFFFFu;
  static constexpr std::uint32_t kNtscFlag = 0x80000000u;

  // Rate 0, not NTSC.
  constexpr FrameRate() noexcept = default;

  // 29.97 -> NTSC 30, 59.94 -> NTSC 60, 23.976 / 23.98 -> NTSC 24; any other rate keeps
  // its whole part (12.5 -> 12).
  explicit FrameRate(float rate) noexcept;

  // 30000/1001 -> NTSC 30, 2997/100 -> NTSC 30, 23976/1000 -> NTSC 24, 30000/1000 -> 30.
  // A frame duration of 0 gives rate 0 (not NTSC) instead of dividing by it.
  FrameRate(std::int32_t timeScale, std::int32_t frameDuration) noexcept;

  static constexpr FrameRate fromRaw(std::uint32_t raw) noexcept { return FrameRate(raw, RawTag{}); }
  constexpr std::uint32_t raw() const noexcept { return bits_; }

  constexpr std::uint32_t nominal() const noexcept { return bits_ & kNominalMask; }
  constexpr bool isNtsc() const noexcept { return (bits_ & kNtscFlag) != 0; }

  // Single precision: NTSC rates are nominal * 1000 / 1001, multiplied before dividing.
  float toFloat() const noexcept;

  // NTSC 60 -> 60000/1001, NTSC 30 -> 30000/1001, NTSC 24 -> 23976/1000; every other rate,
  // NTSC or not, -> nominal*100 / 100.
  std::int32_t timeScale() const noexcept;
  std::int32_t frameDuration() const noexcept;

  // Written out rather than defaulted, so that hosts built as C++17 can use the header.
  friend constexpr bool operator==(FrameRate a, FrameRate b) noexcept { return a.bits_ == b.bits_; }
  friend constexpr bool operator!=(FrameRate a, FrameRate b) noexcept { return a.bits_ != b.bits_; }

 private:
  struct RawTag {};
  constexpr FrameRate(std::uint32_t raw, RawTag) noexcept : bits_(raw) {}
  static constexpr FrameRate make(std::uint32_t nominal, bool ntsc) noexcept {
    return FrameRate((nominal & kNominalMask) | (ntsc ? kNtscFlag : 0u), RawTag{});
  }

  std::uint32_t bits_ = 0;
};

static_assert(sizeof(FrameRate) == 4, "FrameRate is passed across interfaces as one 32-bit word");

}  // namespace Vantor::QuickTime
