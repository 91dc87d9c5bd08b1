#include "SamplePicture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace vqt::binding {
namespace {

struct Colour {
  float r, g, b;
};

std::uint8_t toByte(float v) { return std::uint8_t(std::clamp(v, 0.0f, 255.0f) + 0.5f); }

float smoothstep(float edge0, float edge1, float x) {
  const float t = std::clamp((x - edge0) / (edge1 - edge0), 0.0f, 1.0f);
  return t * t * (3.0f - 2.0f * t);
}

// Evening sky from deep blue at the top left to warm orange at the bottom right.
Colour background(float u, float v) {
  const float t = 0.6f * u + 0.4f * v;
  return {30.0f + 200.0f * t, 60.0f + 90.0f * v + 40.0f * u, 170.0f - 110.0f * t};
}

// A ball lit from the upper left, drawn over `under` with a soft edge.
Colour ball(float x, float y, Colour under) {
  constexpr float cx = 95.0f, cy = 62.0f, radius = 44.0f;
  const float dx = (x - cx) / radius, dy = (y - cy) / radius;
  const float d2 = dx * dx + dy * dy;
  const float cover = 1.0f - smoothstep(0.92f, 1.0f, std::sqrt(d2));
  if (cover <= 0.0f) return under;
  const float nz = std::sqrt(std::max(0.0f, 1.0f - d2));
  const float light = std::clamp(0.25f + 0.75f * (-0.5f * dx - 0.5f * dy + 0.7f * nz), 0.0f, 1.0f);
  const float highlight = std::pow(std::max(0.0f, -0.45f * dx - 0.45f * dy + 0.77f * nz), 24.0f);
  const Colour lit{60.0f + 180.0f * light + 90.0f * highlight, 150.0f * light + 90.0f * highlight,
                   50.0f + 60.0f * light + 90.0f * highlight};
  return {under.r + (lit.r - under.r) * cover, under.g + (lit.g - under.g) * cover,
          under.b + (lit.b - under.b) * cover};
}

// Concentric rings whose spacing shrinks outwards: detail at every frequency up to the pixel.
float zonePlate(float x, float y) {
  constexpr float cx = 255.0f, cy = 60.0f;
  const float r2 = (x - cx) * (x - cx) + (y - cy) * (y - cy);
  return 127.5f + 127.5f * std::cos(r2 * 0.034f);
}

// 75% bars: white, yellow, cyan, green, magenta, red, blue.
Colour bar(int x) {
  static constexpr Colour kBars[] = {{191, 191, 191}, {191, 191, 0}, {0, 191, 191}, {0, 191, 0},
                                     {191, 0, 191},   {191, 0, 0},   {0, 0, 191}};
  return kBars[std::min(6, x * 7 / kSamplePictureWidth)];
}

dialogs::RgbaImage makePicture() {
  dialogs::RgbaImage picture{kSamplePictureWidth, kSamplePictureHeight, {}};
  picture.pixels.reserve(std::size_t(kSamplePictureWidth) * kSamplePictureHeight * 4);
  constexpr int kBarsTop = 126;
  for (int y = 0; y < kSamplePictureHeight; ++y) {
    for (int x = 0; x < kSamplePictureWidth; ++x) {
      const float fx = float(x) + 0.5f, fy = float(y) + 0.5f;
      Colour c;
      if (y >= kBarsTop) {
        c = bar(x);
      } else if (x >= 210 && x < 300 && y >= 15 && y < 105) {
        const float v = zonePlate(fx, fy);
        c = {v, v, v};
      } else {
        c = ball(fx, fy, background(fx / kSamplePictureWidth, fy / kSamplePictureHeight));
      }
      // Opaque on the left half, fading to about a third on the right edge.
      const float alpha = 255.0f - 170.0f * smoothstep(0.5f, 1.0f, fx / kSamplePictureWidth);
      picture.pixels.insert(picture.pixels.end(), {toByte(c.r), toByte(c.g), toByte(c.b), toByte(alpha)});
    }
  }
  return picture;
}

}  // namespace

const dialogs::RgbaImage& samplePicture() {
  static const dialogs::RgbaImage picture = makePicture();
  return picture;
}

}  // namespace vqt::binding
