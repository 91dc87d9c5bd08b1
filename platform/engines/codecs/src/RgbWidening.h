// RGB frames of fewer than 16 bits per channel to 'b64a' and 'b48r' rows.
// Every level is widened exactly, by repeating its bits below itself (8 bits:
// v * 257, 10 bits: v << 6 | v >> 4), so white stays 0xFFFF and each level
// lands on its own 16-bit level; libswscale's own widening misses the top
// levels by a few steps (8-bit white came out as 0xFF03).
#pragma once

#include <cstdint>

extern "C" {
#include <libavutil/frame.h>
}

#include "vqt/codecs/Image.h"

namespace vqt::codecs {

// `value` of `depth` bits (1 to 16) to 16 bits by bit replication.
constexpr std::uint16_t widenTo16(unsigned value, int depth) {
  std::uint32_t widened = 0;
  int filled = 0;
  while (filled < 16) {
    widened = widened << depth | value;
    filled += depth;
  }
  return static_cast<std::uint16_t>(widened >> (filled - 16));
}

// True for integer RGB frames (palette ones too) whose channels all have fewer than 16 bits.
bool isNarrowRgb(const AVFrame& frame);

// `frame` (isNarrowRgb) to 'b64a' or 'b48r' rows; opaque where the frame has no alpha.
void widenRgbTo16(const AVFrame& frame, const ImageView& destination);

}  // namespace vqt::codecs
