// Row kernels that convert between the host's 32-bit float R, G, B, A pixels and the
// codec-side pixel layouts (r4fl, r408, 2vuy, yuvs, 16-bit and 8-bit integer channels).
// All arithmetic is single precision in a fixed order; every kernel is pure and re-entrant.
#pragma once

#include <vantor/Export.h>

#include <cstdint>

namespace Vantor::QuickTime {

// Luma scale and chroma weights used to turn a 2vuy row into R, G, B.
struct ChromaCoefficients {
  float lumaScale;
  float crToR;
  float cbToG;
  float crToG;
  float cbToB;
};

// The luma scales are exact single-precision values, written in hexadecimal so
// that the header needs no C++20 (0x3B964FDA and 0x3B95A025 as IEEE bits).
// Used for movies whose codec is 'mp4v' or 'avc1'.
inline constexpr ChromaCoefficients kVideo2vuyMpeg{0x1.2c9fb4p-8f, 1.5883f, -0.391998f, -0.813202f, 2.0457f};
// Used for every other codec.
inline constexpr ChromaCoefficients kVideo2vuyDefault{0x1.2b404ap-8f, 1.5966f, -0.391998f, -0.813202f, 2.0184f};

// Host channel pointers share one stride counted in floats (4 for interleaved pixels).
// `count` is a number of pixels; `byteCount` a number of input bytes. A count of 0 or less
// converts nothing. Where an alpha pointer may be null, no alpha is read or written.

// Encoder side: host floats to codec layout.
VANTOR_EXPORT void convertRgbToR4fl(const float* a, const float* r, const float* g, const float* b, int stride,
                                    float* out, int count);
// An odd `count` ends in a group of its own for the last pixel (its Y' twice):
// 2 * count + 2 bytes are written then, 2 * count otherwise.
VANTOR_EXPORT void convertRgbTo2vuy(const float* r, const float* g, const float* b, int stride, uint8_t* out,
                                    int count);
VANTOR_EXPORT void convertRgbToR408(const float* r, const float* g, const float* b, int stride, uint8_t* out,
                                    int count);

// Decoder side: codec layout to host floats. The 4:2:2 decoders (yuvs, 2vuy) read no byte at
// or past `byteCount`: a row of odd width (2 * width bytes) ends in half a group, whose one
// pixel is made with Cr taken as 128.
VANTOR_EXPORT void convertYuvsToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride,
                                    int byteCount);
VANTOR_EXPORT void convertR4flToRgb(const float* in, float* a, float* r, float* g, float* b, int stride, int count);
VANTOR_EXPORT void convertR408ToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride, int count);
VANTOR_EXPORT void convert2vuyToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride,
                                    int byteCount, ChromaCoefficients set);

// Float to integer channels (8-bit ARGB and 16-bit formats). Strides count elements.
VANTOR_EXPORT void convertFloatToByte(uint8_t* out, const float* in, int count, int inStride, int outStride);
VANTOR_EXPORT void convertFloatToShort(uint16_t* out, const float* in, int count, int bits, int outStride);

// The plain one-value-at-a-time definitions of the same kernels. The functions above may
// run vectorised code chosen for the processor; they give these results bit for bit, except
// that a NaN result may carry another NaN's sign or payload.
namespace reference {
VANTOR_EXPORT void convertRgbToR4fl(const float* a, const float* r, const float* g, const float* b, int stride,
                                    float* out, int count);
VANTOR_EXPORT void convertRgbTo2vuy(const float* r, const float* g, const float* b, int stride, uint8_t* out,
                                    int count);
VANTOR_EXPORT void convertRgbToR408(const float* r, const float* g, const float* b, int stride, uint8_t* out,
                                    int count);
VANTOR_EXPORT void convertYuvsToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride,
                                    int byteCount);
VANTOR_EXPORT void convertR4flToRgb(const float* in, float* a, float* r, float* g, float* b, int stride, int count);
VANTOR_EXPORT void convertR408ToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride, int count);
VANTOR_EXPORT void convert2vuyToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride,
                                    int byteCount, ChromaCoefficients set);
VANTOR_EXPORT void convertFloatToByte(uint8_t* out, const float* in, int count, int inStride, int outStride);
VANTOR_EXPORT void convertFloatToShort(uint16_t* out, const float* in, int count, int bits, int outStride);
}  // namespace reference

// The instruction-set levels the optimised kernels are built for. The public functions use
// the best level the processor supports; tests run every supported level against the
// reference.
enum class KernelLevel { kBaseline, kAvx2, kAvx512 };

struct KernelTable {
  decltype(&convertRgbToR4fl) rgbToR4fl;
  decltype(&convertRgbTo2vuy) rgbTo2vuy;
  decltype(&convertRgbToR408) rgbToR408;
  decltype(&convertYuvsToRgb) yuvsToRgb;
  decltype(&convertR4flToRgb) r4flToRgb;
  decltype(&convertR408ToRgb) r408ToRgb;
  decltype(&convert2vuyToRgb) twoVuyToRgb;
  decltype(&convertFloatToByte) floatToByte;
  decltype(&convertFloatToShort) floatToShort;
};

VANTOR_EXPORT bool kernelLevelSupported(KernelLevel level);
// The kernels built for `level`; only call them when kernelLevelSupported(level).
VANTOR_EXPORT const KernelTable& kernelTable(KernelLevel level);
VANTOR_EXPORT KernelLevel activeKernelLevel();
VANTOR_EXPORT const char* kernelLevelName(KernelLevel level);  // "baseline", "avx2", "avx512"

}  // namespace Vantor::QuickTime
