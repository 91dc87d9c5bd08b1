// Eight-lane single-precision helpers for the hand-written AVX2 (and wider) kernels: the
// reference expressions as vector operations, and the shuffles between interleaved 4-float
// pixels and channel vectors. Include only from files compiled with -mavx2.
#pragma once

#include "PixelMath.h"

#include <immintrin.h>

namespace Vantor::QuickTime::vectors {
// Internal linkage for the same reason as PixelMath: each instruction-set file has its own copy.
namespace {

using namespace pixelmath;

inline __m256 splat(float v) { return _mm256_set1_ps(v); }
inline __m256 add(__m256 x, __m256 y) { return _mm256_add_ps(x, y); }
inline __m256 sub(__m256 x, __m256 y) { return _mm256_sub_ps(x, y); }
inline __m256 mul(__m256 x, __m256 y) { return _mm256_mul_ps(x, y); }
inline __m256 neg(__m256 x) { return _mm256_xor_ps(x, splat(-0.0f)); }

// MINPS(v, hi) is v < hi ? v : hi and MAXPS(v, lo) is v > lo ? v : lo, which is the
// scalar clamp exactly, NaN included.
inline __m256 clampRange(__m256 v, float lo, float hi) { return _mm256_max_ps(_mm256_min_ps(v, splat(hi)), splat(lo)); }
// max first turns NaN into 0; min then differs from (1 >= v ? v : 1) only at v == 1,
// where both give 1.
inline __m256 clamp01(__m256 v) { return _mm256_min_ps(_mm256_max_ps(v, _mm256_setzero_ps()), splat(1.0f)); }

inline __m256 lumaSum(__m256 r, __m256 g, __m256 b) {
  return add(add(mul(r, splat(0.299f)), mul(g, splat(0.587f))), mul(b, splat(0.114f)));
}
inline __m256 cbSum(__m256 r, __m256 g, __m256 b) {
  return add(sub(mul(neg(r), splat(0.16874f)), mul(g, splat(0.33126f))), mul(b, splat(0.5f)));
}
inline __m256 crSum(__m256 r, __m256 g, __m256 b) {
  return sub(sub(mul(splat(0.5f), r), mul(splat(0.41869f), g)), mul(splat(0.08131f), b));
}
inline __m256i chromaBytes(__m256 sum) {
  return _mm256_cvttps_epi32(clampRange(add(mul(sum, splat(kChromaExcursion)), splat(128.5f)), 16.0f, 235.0f));
}
inline __m256 scaledLuma(__m256 r, __m256 g, __m256 b) {
  return add(mul(lumaSum(r, g, b), splat(kLumaExcursion)), splat(0.5f));
}

// Eight interleaved 4-float pixels <-> four channel vectors. The channel vectors hold the
// pixels in the order 0 2 4 6 | 1 3 5 7, which the same shuffles undo.
struct Channels {
  __m256 c0, c1, c2, c3;
};
inline Channels transpose(__m256 v0, __m256 v1, __m256 v2, __m256 v3) {
  const __m256 t0 = _mm256_unpacklo_ps(v0, v1), t1 = _mm256_unpackhi_ps(v0, v1);
  const __m256 t2 = _mm256_unpacklo_ps(v2, v3), t3 = _mm256_unpackhi_ps(v2, v3);
  return {_mm256_shuffle_ps(t0, t2, 0x44), _mm256_shuffle_ps(t0, t2, 0xEE), _mm256_shuffle_ps(t1, t3, 0x44),
          _mm256_shuffle_ps(t1, t3, 0xEE)};
}
inline Channels loadPixels(const float* p) {
  return transpose(_mm256_loadu_ps(p), _mm256_loadu_ps(p + 8), _mm256_loadu_ps(p + 16), _mm256_loadu_ps(p + 24));
}
inline void storePixels(float* p, __m256 r, __m256 g, __m256 b, __m256 a) {
  const Channels px = transpose(r, g, b, a);
  _mm256_storeu_ps(p, px.c0);
  _mm256_storeu_ps(p + 8, px.c1);
  _mm256_storeu_ps(p + 16, px.c2);
  _mm256_storeu_ps(p + 24, px.c3);
}

// Wide rows of host floats are written past the cache: a 1080p float frame is 33 MB, more
// than any cache holds, and loading every line before overwriting it doubles the memory
// traffic. Needs 16-byte aligned pixels (the host's buffer of malloc is); the kernel ends
// with endStreaming() so the stores are ordered before whatever reads the row next.
constexpr int kStreamingPixels = 1024;
inline bool streams(const float* p, int pixels) {
  return pixels >= kStreamingPixels && (reinterpret_cast<uintptr_t>(p) & 15) == 0;
}
inline void streamHalves(float* p, __m256 v) {
  _mm_stream_ps(p, _mm256_castps256_ps128(v));
  _mm_stream_ps(p + 4, _mm256_extractf128_ps(v, 1));
}
inline void putPixels(bool stream, float* p, __m256 r, __m256 g, __m256 b, __m256 a) {
  if (!stream) return storePixels(p, r, g, b, a);
  const Channels px = transpose(r, g, b, a);
  streamHalves(p, px.c0);
  streamHalves(p + 8, px.c1);
  streamHalves(p + 16, px.c2);
  streamHalves(p + 24, px.c3);
}
inline void endStreaming(bool stream) {
  if (stream) _mm_sfence();
}

}  // namespace
}  // namespace Vantor::QuickTime::vectors
