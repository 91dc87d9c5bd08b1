#include "ColourJudge.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>

namespace ColourTest {

std::string fixture(const std::string& name) { return std::string(VQT_COLOUR_FIXTURES) + "/" + name; }
std::string scratch(const std::string& name) { return std::string(VQT_COLOUR_SCRATCH) + "/" + name; }

std::vector<float> ffmpegRgb(const std::string& path, int index, int width, int height, const std::string& filters,
                             bool interpolateChroma) {
  std::string chain = "select=eq(n\\," + std::to_string(index) + ")";
  if (!filters.empty()) chain += "," + filters;
  const std::string flags =
      std::string(" -sws_flags bicubic+accurate_rnd") + (interpolateChroma ? "+full_chroma_int" : "");
  const std::string command = std::string(VQT_FFMPEG) + " -hide_banner -loglevel error -i '" + path + "'" + flags +
                              " -vf \"" + chain + "\" -vsync 0 -frames:v 1 -pix_fmt rgb48le -f rawvideo -";
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return {};
  std::vector<std::uint16_t> words(static_cast<size_t>(width) * height * 3);
  const size_t got = fread(words.data(), sizeof(std::uint16_t), words.size(), pipe);
  pclose(pipe);
  if (got != words.size()) return {};
  std::vector<float> rgb(words.size());
  for (size_t i = 0; i < words.size(); ++i) rgb[i] = words[i] / 65535.0f;
  return rgb;
}

double psnr(const std::vector<float>& rgba, const std::vector<float>& rgb, int width, int x0, int x1, int y0, int y1) {
  double sum = 0.0;
  size_t count = 0;
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) {
      const size_t p = static_cast<size_t>(y) * width + x;
      if (4 * p + 3 >= rgba.size() || 3 * p + 2 >= rgb.size()) return 0.0;
      for (int c = 0; c < 3; ++c) {
        // The host's floats may lie outside 0..1 ('r4fl' keeps what the
        // stream holds); the CLI's RGB cannot, so ours are compared clamped.
        const double d = std::clamp(static_cast<double>(rgba[4 * p + c]), 0.0, 1.0) - rgb[3 * p + c];
        sum += d * d;
        ++count;
      }
    }
  }
  if (count == 0) return 0.0;
  const double mse = sum / static_cast<double>(count);
  return mse == 0.0 ? std::numeric_limits<double>::infinity() : 10.0 * std::log10(1.0 / mse);
}

double psnr(const std::vector<float>& rgba, const std::vector<float>& rgb, int width, int height) {
  return psnr(rgba, rgb, width, 0, width, 0, height);
}

}  // namespace ColourTest
