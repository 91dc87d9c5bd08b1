// The per-value arithmetic of the pixel kernels, shared by the reference loops and the
// vectorised loops so that both evaluate exactly the same single-precision expressions.
// Every expression keeps the order of operations of the conversion it belongs to.
#pragma once

#include <bit>
#include <cstdint>

namespace Vantor::QuickTime::pixelmath {
// Internal linkage: this header is compiled with different instruction sets in different
// files, and a shared out-of-line copy could carry instructions the processor lacks.
namespace {

inline constexpr float k1Over255 = std::bit_cast<float>(0x3B808081u);
inline constexpr float k1Over219 = std::bit_cast<float>(0x3B95A025u);
inline constexpr float k1Over218 = std::bit_cast<float>(0x3B964FDAu);

inline constexpr float kLumaExcursion = 219.0f;
inline constexpr float kChromaExcursion = 224.0f;

// Weighted sums before scaling; callers apply the excursion and offset.
inline float lumaSum(float r, float g, float b) { return (r * 0.299f + g * 0.587f) + b * 0.114f; }
inline float cbSum(float r, float g, float b) { return ((-r) * 0.16874f - g * 0.33126f) + b * 0.5f; }
inline float crSum(float r, float g, float b) { return (0.5f * r - 0.41869f * g) - 0.08131f * b; }

// Upper bound first, so a NaN ends at the upper bound; written as selects so that
// vector code maps them to min/max with the same NaN behaviour.
inline float clampRange(float v, float lo, float hi) {
  v = (v < hi) ? v : hi;
  v = (lo < v) ? v : lo;
  return v;
}

// 0 unless v > 0, then 1 unless 1 >= v: a NaN becomes 0.
inline float clamp01(float v) {
  v = (v > 0.0f) ? v : 0.0f;
  v = (1.0f >= v) ? v : 1.0f;
  return v;
}

inline float positivePart(float v) { return (v > 0.0f) ? v : 0.0f; }

// 8-bit luma above the black level, scaled to the host's range.
inline float lumaFromByte(uint8_t v, float scale) { return positivePart(v - 16.0f) * scale; }

inline uint8_t truncToByte(float v) { return static_cast<uint8_t>(static_cast<int>(v)); }

// r408: luma 0..218, chroma 16..235.
inline uint8_t r408Luma(float r, float g, float b) {
  return truncToByte(clampRange(lumaSum(r, g, b) * kLumaExcursion + 0.5f, 0.0f, 218.0f));
}
inline uint8_t chromaByte(float sum) { return truncToByte(clampRange(sum * kChromaExcursion + 128.5f, 16.0f, 235.0f)); }

// 2vuy luma before truncation: 16..235.
inline float twoVuyLuma(float r, float g, float b) {
  return clampRange(lumaSum(r, g, b) * kLumaExcursion + 0.5f, 0.0f, 219.0f) + 16.0f;
}

// r4fl: values scaled to 0..1 with chroma centred on 128/255.
inline float r4flLuma(float r, float g, float b) { return lumaSum(r, g, b) * kLumaExcursion * k1Over255; }
inline float r4flChroma(float sum) { return (sum * kChromaExcursion + 128.0f) * k1Over255; }

// Y'CbCr to R, G, B for the 2vuy and yuvs layouts.
struct Rgb {
  float r, g, b;
};
inline Rgb chromaToRgb(float y, float cb, float cr, float crToR, float cbToG, float crToG, float cbToB) {
  return {clamp01(y + crToR * cr), clamp01((y + cbToG * cb) + crToG * cr), clamp01(y + cbToB * cb)};
}

// yuvs chroma: Cb is centred on 127, Cr on 128.
inline float yuvsCb(uint8_t v) { return (v - 127.0f) / 255.0f; }
inline float centredChroma(uint8_t v) { return (v - 128.0f) / 255.0f; }
inline constexpr float kYuvsCrToR = 1.596f;
inline constexpr float kYuvsCbToG = -0.37294f;
inline constexpr float kYuvsCrToG = -0.81511f;
inline constexpr float kYuvsCbToB = 2.0472f;

// r4fl and r408 decoding: chroma offsets from 128 in 8-bit units; the weights are
// 1.402, 0.344136, 0.714136 and 1.772 divided by 224.
inline Rgb r4flToRgb(float y, float cb, float cr) {
  return {0.00625893f * cr + y, (y - 0.00153632f * cb) - 0.00318811f * cr, 0.00791071f * cb + y};
}
inline Rgb r408ToRgb(float y, float cb, float cr) {
  return {clamp01(y + 0.00625893f * cr), clamp01((y - 0.00153632f * cb) - 0.00318811f * cr),
          clamp01(y + 0.00791071f * cb)};
}

// The 16-bit maximum keeps the low 16 bits of (1 << bits) - 1: 65535 for 16 bits or more,
// and 0 for a bit count of 0 or less (where the shift itself would be undefined).
inline uint16_t shortMaximum(int bits) {
  if (bits <= 0) return 0;
  return bits >= 16 ? 0xFFFF : static_cast<uint16_t>((1u << bits) - 1u);
}

}  // namespace
}  // namespace Vantor::QuickTime::pixelmath
