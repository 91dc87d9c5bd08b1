#include "WorldFixtures.h"

#include <cstdio>
#include <string>

namespace WorldTest {

namespace {

std::string quoted(const std::string& path) { return "'" + path + "'"; }

}  // namespace

std::vector<std::vector<float>> ffmpegFrames(const std::string& path, int width, int height) {
  const std::string command = std::string(VQT_FFMPEG) + " -hide_banner -loglevel error -i " + quoted(path) +
                              " -map 0:v:0 -vsync 0 -pix_fmt rgb48le -f rawvideo -";
  std::vector<std::vector<float>> frames;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return frames;
  std::vector<std::uint16_t> words(static_cast<size_t>(width) * height * 3);
  while (fread(words.data(), sizeof(std::uint16_t), words.size(), pipe) == words.size()) {
    std::vector<float>& rgb = frames.emplace_back(words.size());
    for (size_t i = 0; i < words.size(); ++i) rgb[i] = words[i] / 65535.0f;
  }
  pclose(pipe);
  return frames;
}

int ffprobeFrameCount(const std::string& path, int videoStream) {
  const std::string command = std::string(VQT_FFPROBE) + " -v error -select_streams v:" + std::to_string(videoStream) +
                              " -count_frames -show_entries stream=nb_read_frames"
                              " -of csv=p=0 " +
                              quoted(path);
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return -1;
  int count = -1;
  if (fscanf(pipe, "%d", &count) != 1) count = -1;
  pclose(pipe);
  return count;
}

Match closest(const std::vector<float>& rgba, const std::vector<std::vector<float>>& candidates) {
  Match best;
  for (size_t i = 0; i < candidates.size(); ++i) {
    const double value = ReaderTest::psnr(rgba, candidates[i]);
    if (best.index < 0 || value > best.psnr) best = {static_cast<int>(i), value};
  }
  return best;
}

std::uint64_t digest(const std::vector<float>& frame) {
  std::uint64_t hash = 14695981039346656037ull;
  const auto* bytes = reinterpret_cast<const unsigned char*>(frame.data());
  for (size_t i = 0; i < frame.size() * sizeof(float); ++i) hash = (hash ^ bytes[i]) * 1099511628211ull;
  return hash;
}

}  // namespace WorldTest
