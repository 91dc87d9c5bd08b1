// Sixteen-lane single-precision helpers for the AVX-512 kernels: the shuffles between
// interleaved 4-float pixels and channel vectors, and the writing of 16-pixel blocks of host
// floats, past the cache at any 16-byte alignment. Include only from files compiled with
// -mavx512f.
#pragma once

#include "Avx2Vectors.h"

#include <immintrin.h>

#include <cstdint>

namespace Vantor::QuickTime::vectors {
// Internal linkage for the same reason as PixelMath: each instruction-set file has its own copy.
namespace {

inline __m512 splat16(float v) { return _mm512_set1_ps(v); }
inline __m512 add(__m512 x, __m512 y) { return _mm512_add_ps(x, y); }
inline __m512 sub(__m512 x, __m512 y) { return _mm512_sub_ps(x, y); }
inline __m512 mul(__m512 x, __m512 y) { return _mm512_mul_ps(x, y); }
// The same operand order as the eight-lane clamp01, so the same result for NaN.
inline __m512 clamp01(__m512 v) { return _mm512_min_ps(_mm512_max_ps(v, _mm512_setzero_ps()), splat16(1.0f)); }

// Four vectors of four pixels each <-> four channel vectors. Every 128-bit lane is
// transposed on its own, so with vector i holding pixels 4i..4i+3, element 4L + i of a
// channel vector belongs to pixel 4i + L; the same shuffles undo it.
struct Quad {
  __m512 v0, v1, v2, v3;
};
inline Quad transpose(__m512 v0, __m512 v1, __m512 v2, __m512 v3) {
  const __m512 t0 = _mm512_unpacklo_ps(v0, v1), t1 = _mm512_unpackhi_ps(v0, v1);
  const __m512 t2 = _mm512_unpacklo_ps(v2, v3), t3 = _mm512_unpackhi_ps(v2, v3);
  return {_mm512_shuffle_ps(t0, t2, 0x44), _mm512_shuffle_ps(t0, t2, 0xEE), _mm512_shuffle_ps(t1, t3, 0x44),
          _mm512_shuffle_ps(t1, t3, 0xEE)};
}
inline Quad loadPixels16(const float* p) {
  return transpose(_mm512_loadu_ps(p), _mm512_loadu_ps(p + 16), _mm512_loadu_ps(p + 32), _mm512_loadu_ps(p + 48));
}

// Lanes kFirst..kEnd-1 (pixels) of `v` past the cache, lane kFirst at `p`.
template <int kFirst, int kEnd>
inline void streamLanes(float* p, __m512 v) {
  if constexpr (kFirst < kEnd) {
    _mm_stream_ps(p, _mm512_castps512_ps128(_mm512_shuffle_f32x4(v, v, kFirst)));
    streamLanes<kFirst + 1, kEnd>(p + 4, v);
  }
}
// The 64 bytes that begin kLead pixels into `low` and run on into `high`.
template <int kLead>
inline __m512 straddle(__m512 high, __m512 low) {
  return _mm512_castsi512_ps(_mm512_alignr_epi32(_mm512_castps_si512(high), _mm512_castps_si512(low), 4 * kLead));
}

// Writes `blocks` blocks of 16 pixels, block k (a Quad of pixels in row order from
// makeBlock(k)) at row + 64 k, past the cache. The row is 16-byte aligned; kLead is how many
// pixels lie before its first 64-byte boundary. Full-line streaming stores let the processor
// write a line without reading it first, so every vector store covers one whole line: with
// kLead > 0 each is cut from two neighbouring vectors, and only the row's first and last few
// pixels go out in 16-byte pieces.
template <int kLead, typename MakeBlock>
inline void streamBlocks(float* row, int blocks, MakeBlock& makeBlock) {
  __m512 carry = _mm512_setzero_ps();
  for (int k = 0; k < blocks; ++k) {
    const Quad px = makeBlock(k);
    float* block = row + 64 * k;
    if constexpr (kLead == 0) {
      _mm512_stream_ps(block, px.v0);
      _mm512_stream_ps(block + 16, px.v1);
      _mm512_stream_ps(block + 32, px.v2);
      _mm512_stream_ps(block + 48, px.v3);
    } else {
      float* line = block + 4 * kLead;  // the first 64-byte boundary in the block
      if (k == 0)
        streamLanes<0, kLead>(block, px.v0);
      else
        _mm512_stream_ps(line - 16, straddle<kLead>(px.v0, carry));
      _mm512_stream_ps(line, straddle<kLead>(px.v1, px.v0));
      _mm512_stream_ps(line + 16, straddle<kLead>(px.v2, px.v1));
      _mm512_stream_ps(line + 32, straddle<kLead>(px.v3, px.v2));
      carry = px.v3;
    }
  }
  if constexpr (kLead > 0)
    if (blocks > 0) streamLanes<kLead, 4>(row + 64 * blocks - 16 + 4 * kLead, carry);
}

// Writes `blocks` blocks of 16 pixels from makeBlock(k) at row + 64 k: through the cache, or
// past it (then fenced) when `stream` is set and the row is 16-byte aligned.
template <typename MakeBlock>
inline void writeBlocks(float* row, int blocks, bool stream, MakeBlock&& makeBlock) {
  if (!stream) {
    for (int k = 0; k < blocks; ++k) {
      const Quad px = makeBlock(k);
      _mm512_storeu_ps(row + 64 * k, px.v0);
      _mm512_storeu_ps(row + 64 * k + 16, px.v1);
      _mm512_storeu_ps(row + 64 * k + 32, px.v2);
      _mm512_storeu_ps(row + 64 * k + 48, px.v3);
    }
    return;
  }
  switch ((64 - (reinterpret_cast<uintptr_t>(row) & 63)) / 16 % 4) {
    case 0:
      streamBlocks<0>(row, blocks, makeBlock);
      break;
    case 1:
      streamBlocks<1>(row, blocks, makeBlock);
      break;
    case 2:
      streamBlocks<2>(row, blocks, makeBlock);
      break;
    default:
      streamBlocks<3>(row, blocks, makeBlock);
      break;
  }
  _mm_sfence();
}

}  // namespace
}  // namespace Vantor::QuickTime::vectors
