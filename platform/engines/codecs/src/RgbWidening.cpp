#include "RgbWidening.h"

#include <algorithm>
#include <array>
#include <vector>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace vqt::codecs {
namespace {

void putBigEndian(std::uint8_t* out, std::uint16_t word) {
  out[0] = static_cast<std::uint8_t>(word >> 8);
  out[1] = static_cast<std::uint8_t>(word);
}

}  // namespace

bool isNarrowRgb(const AVFrame& frame) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  if (d == nullptr) return false;
  if (d->flags & (AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_HWACCEL))
    return false;
  if (d->flags & AV_PIX_FMT_FLAG_PAL) return d->nb_components == 1 && d->comp[0].depth == 8;
  if (!(d->flags & AV_PIX_FMT_FLAG_RGB) || d->nb_components < 3) return false;
  for (int c = 0; c < d->nb_components; ++c)
    if (d->comp[c].depth >= 16) return false;
  return true;
}

void widenRgbTo16(const AVFrame& frame, const ImageView& destination) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const bool palette = (d->flags & AV_PIX_FMT_FLAG_PAL) != 0;
  const bool frameHasAlpha = palette || d->nb_components == 4;
  const bool withAlpha = destination.pixelFormat == kPixelFormatB64a;
  const int width = destination.width;
  const int height = std::min(frame.height, destination.height);
  const std::uint8_t* planes[4] = {frame.data[0], frame.data[1], frame.data[2], frame.data[3]};
  const auto* entries = palette ? reinterpret_cast<const std::uint32_t*>(frame.data[1]) : nullptr;

  // Levels of one row, channel by channel in the order R, G, B, A.
  std::array<std::vector<std::uint16_t>, 4> levels;
  for (auto& channel : levels) channel.assign(static_cast<std::size_t>(width), 0);
  std::array<int, 4> depth{8, 8, 8, 8};
  if (!palette)
    for (int c = 0; c < d->nb_components; ++c) depth[c] = d->comp[c].depth;

  for (int y = 0; y < height; ++y) {
    if (palette) {
      av_read_image_line2(levels[0].data(), planes, frame.linesize, d, 0, y, 0, width, 0, 2);
      for (int x = 0; x < width; ++x) {
        const std::uint32_t entry = entries[levels[0][x]];  // 0xAARRGGBB in host order
        levels[0][x] = static_cast<std::uint16_t>(entry >> 16 & 0xFF);
        levels[1][x] = static_cast<std::uint16_t>(entry >> 8 & 0xFF);
        levels[2][x] = static_cast<std::uint16_t>(entry & 0xFF);
        levels[3][x] = static_cast<std::uint16_t>(entry >> 24);
      }
    } else {
      for (int c = 0; c < d->nb_components; ++c)
        av_read_image_line2(levels[c].data(), planes, frame.linesize, d, 0, y, c, width, 0, 2);
    }
    std::uint8_t* out = destination.data + y * destination.bytesPerRow;
    for (int x = 0; x < width; ++x) {
      if (withAlpha) {
        putBigEndian(out, frameHasAlpha ? widenTo16(levels[3][x], depth[3]) : std::uint16_t{0xFFFF});
        out += 2;
      }
      for (int c = 0; c < 3; ++c, out += 2) putBigEndian(out, widenTo16(levels[c][x], depth[c]));
    }
  }
}

}  // namespace vqt::codecs
