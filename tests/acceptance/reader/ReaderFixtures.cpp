#include "ReaderFixtures.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>

namespace ReaderTest {

std::string fixture(const std::string& name) { return std::string(VQT_READER_FIXTURES) + "/" + name; }

VideoInfo videoInfo(const Vantor::QuickTime::QuickTimeCodecReader& reader) {
  VideoInfo info;
  reader.getVideoInfo(&info.width, &info.height, &info.channels, &info.pixelAspect, &info.timeScale,
                      &info.frameDuration, &info.startTimecodeFrame);
  return info;
}

std::vector<float> ffmpegRgb(const std::string& path, int index, int width, int height) {
  const std::string command = std::string(VQT_FFMPEG) + " -hide_banner -loglevel error -i '" + path +
                              "' -vf \"select=eq(n\\," + std::to_string(index) +
                              ")\" -vsync 0 -frames:v 1 -pix_fmt rgb48le -f rawvideo -";
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

double psnr(const std::vector<float>& rgba, const std::vector<float>& rgb) {
  const size_t pixels = rgb.size() / 3;
  if (pixels == 0 || rgba.size() != pixels * 4) return 0.0;
  double sum = 0.0;
  for (size_t p = 0; p < pixels; ++p) {
    for (int c = 0; c < 3; ++c) {
      const double d = static_cast<double>(rgba[4 * p + c]) - rgb[3 * p + c];
      sum += d * d;
    }
  }
  const double mse = sum / static_cast<double>(pixels * 3);
  return mse == 0.0 ? std::numeric_limits<double>::infinity() : 10.0 * std::log10(1.0 / mse);
}

}  // namespace ReaderTest
