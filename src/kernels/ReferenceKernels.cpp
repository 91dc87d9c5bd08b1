// The plain definitions of the pixel kernels: one pixel (or one pair) at a time, any
// stride. The optimised kernels are checked against these bit for bit.
#include "PixelMath.h"

#include <vantor/quicktime/PixelKernels.h>

#include <cmath>

namespace Vantor::QuickTime::reference {

using namespace pixelmath;

void convertRgbToR4fl(const float* a, const float* r, const float* g, const float* b, int stride, float* out,
                      int count) {
  for (int i = 0; i < count; ++i, out += 4) {
    const long p = static_cast<long>(i) * stride;
    out[0] = a ? a[p] : 1.0f;
    out[1] = r4flLuma(r[p], g[p], b[p]);
    out[2] = r4flChroma(cbSum(r[p], g[p], b[p]));
    out[3] = r4flChroma(crSum(r[p], g[p], b[p]));
  }
}

void convertRgbToR408(const float* r, const float* g, const float* b, int stride, uint8_t* out, int count) {
  for (int i = 0; i < count; ++i, out += 4) {
    const long p = static_cast<long>(i) * stride;
    out[0] = 255;
    out[1] = r408Luma(r[p], g[p], b[p]);
    out[2] = chromaByte(cbSum(r[p], g[p], b[p]));
    out[3] = chromaByte(crSum(r[p], g[p], b[p]));
  }
}

void convertRgbTo2vuy(const float* r, const float* g, const float* b, int stride, uint8_t* out, int count) {
  // An odd last pixel has no partner to share chroma with and produces nothing.
  for (int i = 1; i < count; i += 2, out += 4) {
    const long p0 = static_cast<long>(i - 1) * stride;
    const long p1 = static_cast<long>(i) * stride;
    const float rMean = 0.5f * (r[p0] + r[p1]);
    const float gMean = 0.5f * (g[p0] + g[p1]);
    const float bMean = 0.5f * (b[p0] + b[p1]);
    out[0] = chromaByte(cbSum(rMean, gMean, bMean));
    out[1] = truncToByte(twoVuyLuma(r[p0], g[p0], b[p0]));
    out[2] = chromaByte(crSum(rMean, gMean, bMean));
    out[3] = truncToByte(twoVuyLuma(r[p1], g[p1], b[p1]));
  }
}

namespace {

void storePixel(float* a, float* r, float* g, float* b, long p, Rgb rgb) {
  if (a) a[p] = 1.0f;
  r[p] = rgb.r;
  g[p] = rgb.g;
  b[p] = rgb.b;
}

}  // namespace

// Both 4:2:2 layouts: a row of width w arrives as 2w bytes, so an odd width leaves a
// trailing group of two bytes whose Cr (and second luma) lie outside the row. Such a group
// still gives its one pixel, with Cr read as the neutral 128, and nothing is read or written
// past the row. A single trailing byte (no whole pixel) gives nothing.
void convertYuvsToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride, int byteCount) {
  long p = 0;
  for (int pos = 0; pos + 1 < byteCount; pos += 4) {
    const uint8_t* group = in + pos;
    const bool whole = pos + 3 < byteCount;
    const float y0 = lumaFromByte(group[0], k1Over218);
    const float cb = yuvsCb(group[1]);
    const float cr = whole ? centredChroma(group[3]) : 0.0f;
    storePixel(a, r, g, b, p, chromaToRgb(y0, cb, cr, kYuvsCrToR, kYuvsCbToG, kYuvsCrToG, kYuvsCbToB));
    p += stride;
    if (!whole) break;
    const float y1 = lumaFromByte(group[2], k1Over218);
    storePixel(a, r, g, b, p, chromaToRgb(y1, cb, cr, kYuvsCrToR, kYuvsCbToG, kYuvsCrToG, kYuvsCbToB));
    p += stride;
  }
}

void convert2vuyToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride, int byteCount,
                      ChromaCoefficients set) {
  long p = 0;
  for (int pos = 0; pos + 1 < byteCount; pos += 4) {
    const uint8_t* group = in + pos;
    const float cb = centredChroma(group[0]);
    const float y0 = lumaFromByte(group[1], set.lumaScale);
    const float cr = pos + 2 < byteCount ? centredChroma(group[2]) : 0.0f;
    storePixel(a, r, g, b, p, chromaToRgb(y0, cb, cr, set.crToR, set.cbToG, set.crToG, set.cbToB));
    p += stride;
    if (pos + 3 >= byteCount) break;
    const float y1 = lumaFromByte(group[3], set.lumaScale);
    storePixel(a, r, g, b, p, chromaToRgb(y1, cb, cr, set.crToR, set.cbToG, set.crToG, set.cbToB));
    p += stride;
  }
}

void convertR4flToRgb(const float* in, float* a, float* r, float* g, float* b, int stride, int count) {
  for (int i = 0; i < count; ++i, in += 4) {
    const long p = static_cast<long>(i) * stride;
    if (a) a[p] = in[0];
    const float y = in[1] * 255.0f * k1Over219;
    const Rgb rgb = r4flToRgb(y, in[2] * 255.0f - 128.0f, in[3] * 255.0f - 128.0f);
    r[p] = rgb.r;
    g[p] = rgb.g;
    b[p] = rgb.b;
  }
}

void convertR408ToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride, int count) {
  for (int i = 0; i < count; ++i, in += 4) {
    const long p = static_cast<long>(i) * stride;
    if (a) a[p] = in[0] / 255.0f;
    const float y = positivePart(in[1] * k1Over219);
    const Rgb rgb = r408ToRgb(y, in[2] - 128.0f, in[3] - 128.0f);
    r[p] = rgb.r;
    g[p] = rgb.g;
    b[p] = rgb.b;
  }
}

void convertFloatToByte(uint8_t* out, const float* in, int count, int inStride, int outStride) {
  for (int i = 0; i < count; ++i) {
    const float v = in[static_cast<long>(i) * inStride];
    uint8_t byte = 0;
    if (v >= 1.0f)
      byte = 255;
    else if (v > 0.0f)
      byte = static_cast<uint8_t>((128 + static_cast<int>(std::nearbyint(v * 65280.0f))) >> 8);
    out[static_cast<long>(i) * outStride] = byte;
  }
}

void convertFloatToShort(uint16_t* out, const float* in, int count, int bits, int outStride) {
  const uint16_t maximum = shortMaximum(bits);
  for (int i = 0; i < count; ++i) {
    const float v = in[i];
    uint16_t value = 0;
    if (v >= 1.0f)
      value = maximum;
    else if (v > 0.0f)
      value = static_cast<uint16_t>(std::nearbyint(v * static_cast<float>(maximum)));
    out[static_cast<long>(i) * outStride] = value;
  }
}

}  // namespace Vantor::QuickTime::reference
