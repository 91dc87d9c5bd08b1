#include "TestPattern.h"

#include <cmath>
#include <string>

namespace qtmovie {
namespace {

// 3x5 digit glyphs, one bit a cell, top row in the high bits.
constexpr unsigned short kDigits[10] = {0x7B6F, 0x2492, 0x73E7, 0x73CF, 0x5BC9, 0x79CF, 0x79EF, 0x7249, 0x7BEF, 0x7BCF};

constexpr float kBars[7][3] = {{0.75f, 0.75f, 0.75f}, {0.75f, 0.75f, 0.0f}, {0.0f, 0.75f, 0.75f}, {0.0f, 0.75f, 0.0f},
                               {0.75f, 0.0f, 0.75f},  {0.75f, 0.0f, 0.0f},  {0.0f, 0.0f, 0.75f}};

bool digitCovers(const std::string& text, int cell, int x, int y) {
  const int column = x / cell, row = y / cell;
  const int glyph = column / 4, inGlyph = column % 4;  // three cells and a gap
  if (glyph >= static_cast<int>(text.size()) || inGlyph == 3 || row >= 5) return false;
  const unsigned bits = kDigits[text[static_cast<std::size_t>(glyph)] - '0'];
  return (bits >> (14 - (row * 3 + inGlyph))) & 1u;
}

}  // namespace

std::vector<float> patternFrame(int width, int height, int frame) {
  std::vector<float> pixels(static_cast<std::size_t>(width) * height * 4);
  const std::string number = std::to_string(frame + 1);
  const int cell = std::max(2, height / 24);
  const int textWidth = static_cast<int>(number.size()) * 4 * cell - cell, textHeight = 5 * cell;
  const int textX = (width - textWidth) / 2, textY = (height - textHeight) / 2;
  const int barTop = height * 2 / 3;
  const float phase = static_cast<float>(frame) * 0.08f;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      float r, g, b;
      if (y < barTop) {
        const int shifted = (x + frame * width / 96) % width;
        const float* bar = kBars[shifted * 7 / width];
        r = bar[0], g = bar[1], b = bar[2];
      } else {
        const float u = static_cast<float>(x) / width, v = static_cast<float>(y - barTop) / (height - barTop);
        r = 0.5f + 0.4f * std::sin(6.2832f * u + phase);
        g = 0.5f + 0.4f * std::sin(6.2832f * v + phase * 1.3f);
        b = 0.5f + 0.4f * std::cos(6.2832f * (u + v) - phase);
      }
      if (x >= textX && y >= textY && x < textX + textWidth && y < textY + textHeight &&
          digitCovers(number, cell, x - textX, y - textY))
        r = g = b = 1.0f;
      float* p = pixels.data() + (static_cast<std::size_t>(y) * width + x) * 4;
      p[0] = b, p[1] = g, p[2] = r, p[3] = 1.0f;
    }
  }
  return pixels;
}

std::vector<float> patternTone(int rate, long long frames) {
  std::vector<float> samples(static_cast<std::size_t>(frames) * 2);
  for (long long i = 0; i < frames; ++i) {
    const float value = 0.5f * static_cast<float>(std::sin(2.0 * M_PI * 1000.0 * static_cast<double>(i) / rate));
    samples[2 * i] = samples[2 * i + 1] = value;
  }
  return samples;
}

}  // namespace qtmovie
