#include "YCbCrPacking.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace vqt::codecs {
namespace {

// One pixel in 8-bit video-range units (Y' 16..235, chroma centred on 128), alpha 0..1.
struct Yuva {
  float y, cb, cr, a;
};

struct PlaneLayout {
  int depth;
  int chromaShiftX;
  int chromaShiftY;
  bool hasAlpha;
};

PlaneLayout layoutOf(const AVFrame& frame) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  return {d->comp[0].depth, d->log2_chroma_w, d->log2_chroma_h, (d->flags & AV_PIX_FMT_FLAG_ALPHA) != 0};
}

float sampleAt(const AVFrame& frame, int plane, int depth, int x, int y) {
  const std::uint8_t* row = frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane];
  if (depth <= 8) return row[x];
  std::uint16_t value;
  std::memcpy(&value, row + 2 * x, 2);
  return static_cast<float>(value);
}

void storeAt(AVFrame& frame, int plane, int depth, int x, int y, float value8) {
  const float maximum = static_cast<float>((1 << depth) - 1);
  const float scaled = std::clamp(std::nearbyint(value8 * static_cast<float>(1 << (depth - 8))), 0.0f, maximum);
  std::uint8_t* row = frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane];
  if (depth <= 8) {
    row[x] = static_cast<std::uint8_t>(scaled);
  } else {
    const auto value = static_cast<std::uint16_t>(scaled);
    std::memcpy(row + 2 * x, &value, 2);
  }
}

Yuva readPacked(const ConstImageView& image, int x, int y) {
  const std::uint8_t* row = image.data + y * image.bytesPerRow;
  if (image.pixelFormat == kPixelFormatR4fl) {
    float v[4];
    std::memcpy(v, row + 16 * x, 16);
    return {v[1] * 255.0f + 16.0f, v[2] * 255.0f, v[3] * 255.0f, v[0]};
  }
  const std::uint8_t* p = row + 4 * x;
  return {p[1] + 16.0f, static_cast<float>(p[2]), static_cast<float>(p[3]), p[0] / 255.0f};
}

void writePacked(const ImageView& image, int x, int y, const Yuva& v) {
  std::uint8_t* row = image.data + y * image.bytesPerRow;
  if (image.pixelFormat == kPixelFormatR4fl) {
    const float out[4] = {v.a, (v.y - 16.0f) / 255.0f, v.cb / 255.0f, v.cr / 255.0f};
    std::memcpy(row + 16 * x, out, 16);
    return;
  }
  auto toByte = [](float value) {
    return static_cast<std::uint8_t>(std::clamp(std::nearbyint(value), 0.0f, 255.0f));
  };
  std::uint8_t* p = row + 4 * x;
  p[0] = toByte(v.a * 255.0f);
  p[1] = toByte(v.y - 16.0f);
  p[2] = toByte(v.cb);
  p[3] = toByte(v.cr);
}

}  // namespace

bool isDirectPlanarYuv(const AVFrame& frame) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  if (d == nullptr || d->nb_components < 3) return false;
  if (d->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_BITSTREAM |
                  AV_PIX_FMT_FLAG_FLOAT))
    return false;
  if (!(d->flags & AV_PIX_FMT_FLAG_PLANAR)) return false;
  for (int c = 0; c < d->nb_components; ++c) {
    if (d->comp[c].plane != c || d->comp[c].shift != 0 || d->comp[c].depth != d->comp[0].depth) return false;
  }
  if (d->comp[0].depth < 8 || d->comp[0].depth > 16) return false;
  const bool fullRange = frame.color_range == AVCOL_RANGE_JPEG || frame.format == AV_PIX_FMT_YUVJ420P ||
                         frame.format == AV_PIX_FMT_YUVJ422P || frame.format == AV_PIX_FMT_YUVJ444P;
  return !fullRange;
}

void packPlanarYuv(const AVFrame& frame, const ImageView& destination) {
  const PlaneLayout layout = layoutOf(frame);
  const float unit = 1.0f / static_cast<float>(1 << (layout.depth - 8));
  const float alphaScale = 1.0f / static_cast<float>((1 << layout.depth) - 1);
  const int width = std::min(destination.width, frame.width);
  const int height = std::min(destination.height, frame.height);
  for (int y = 0; y < height; ++y) {
    const int cy = y >> layout.chromaShiftY;
    for (int x = 0; x < width; ++x) {
      const int cx = x >> layout.chromaShiftX;
      Yuva v{sampleAt(frame, 0, layout.depth, x, y) * unit, sampleAt(frame, 1, layout.depth, cx, cy) * unit,
             sampleAt(frame, 2, layout.depth, cx, cy) * unit,
             layout.hasAlpha ? sampleAt(frame, 3, layout.depth, x, y) * alphaScale : 1.0f};
      writePacked(destination, x, y, v);
    }
  }
}

void unpackToPlanarYuv(const ConstImageView& source, AVFrame& frame) {
  const PlaneLayout layout = layoutOf(frame);
  const int width = std::min(source.width, frame.width);
  const int height = std::min(source.height, frame.height);
  const int blockW = 1 << layout.chromaShiftX;
  const int blockH = 1 << layout.chromaShiftY;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const Yuva v = readPacked(source, x, y);
      storeAt(frame, 0, layout.depth, x, y, v.y);
      if (layout.hasAlpha) storeAt(frame, 3, layout.depth, x, y, v.a * 255.0f);
    }
  }
  // Each chroma sample is the mean of the pixels it covers.
  for (int cy = 0; cy * blockH < height; ++cy) {
    for (int cx = 0; cx * blockW < width; ++cx) {
      float cb = 0, cr = 0;
      int count = 0;
      for (int y = cy * blockH; y < std::min(height, (cy + 1) * blockH); ++y) {
        for (int x = cx * blockW; x < std::min(width, (cx + 1) * blockW); ++x) {
          const Yuva v = readPacked(source, x, y);
          cb += v.cb;
          cr += v.cr;
          ++count;
        }
      }
      storeAt(frame, 1, layout.depth, cx, cy, cb / static_cast<float>(count));
      storeAt(frame, 2, layout.depth, cx, cy, cr / static_cast<float>(count));
    }
  }
}

void rotateRgbaToArgb64(std::span<std::uint8_t> row) {
  for (std::size_t i = 0; i + 8 <= row.size(); i += 8) {
    std::uint8_t* p = row.data() + i;
    std::rotate(p, p + 6, p + 8);
  }
}

void rotateArgbToRgba64(std::span<std::uint8_t> row) {
  for (std::size_t i = 0; i + 8 <= row.size(); i += 8) {
    std::uint8_t* p = row.data() + i;
    std::rotate(p, p + 2, p + 8);
  }
}

}  // namespace vqt::codecs
