// Several readers and several writers at once in one process: each reader
// decodes random frames of its own movie while the others do the same, and
// each writer writes its own movie; every picture must equal what one thread
// alone makes. The readers start together, so the process's first pixel-format
// choice (and with it the first load of GlobalSettings.csv) happens in several
// threads at once. VQT_LOAD_DECODES sets the decodes per reader (40 unless set).
#include <gtest/gtest.h>
#include <vantor/quicktime/QuickTimeCodecReader.h>
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <latch>
#include <random>
#include <thread>
#include <vector>

#include "PixelHash.h"

using namespace Vantor::QuickTime;
using namespace Vantor::QuickTime::Reliability;

namespace {

const std::vector<std::string> kMovies = {"h264-aac-timecode.mov", "mjpeg-pcm.mov", "prores-pcm24.mov", "rle.mov",
                                          "mpeg4-faststart.mp4",   "long-mjpeg.mov"};

std::string fixture(const std::string& name) { return std::string(VQT_RELIABILITY_FIXTURES) + "/" + name; }

int decodesPerReader() {
  const char* text = std::getenv("VQT_LOAD_DECODES");
  return text ? std::atoi(text) : 40;
}

struct Decoded {
  int frame;
  std::uint64_t hash;
  int result;
};

// Decodes `frames` (1-based) of `path` with one reader; result and digest of each.
std::vector<Decoded> decodeFrames(const std::string& path, const std::vector<int>& frames) {
  std::vector<Decoded> decoded;
  QuickTimeCodecReader reader;
  if (reader.open(path, 1) != 0) return decoded;
  int width = 0, height = 0, channels = 0, timeScale = 0, frameDuration = 0, startFrame = 0;
  float aspect = 0;
  reader.getVideoInfo(&width, &height, &channels, &aspect, &timeScale, &frameDuration, &startFrame);
  std::vector<float> rgba(static_cast<size_t>(width) * height * 4);
  for (int frame : frames) {
    std::fill(rgba.begin(), rgba.end(), 0.0f);
    const int result = reader.decodeFrame(frame, rgba.data());
    decoded.push_back({frame, pixelHash(rgba), result});
  }
  return decoded;
}

int frameCountOf(const std::string& path) {
  QuickTimeCodecReader reader;
  return reader.open(path, 1) == 0 ? reader.getFrameCount() : 0;
}

}  // namespace

TEST(Load, EightReadersAtOnceDecodeTheSamePixelsAsOneThread) {
  constexpr int kReaders = 8;
  std::vector<std::vector<int>> plans(kReaders);
  for (int i = 0; i < kReaders; ++i) {
    const int frames = frameCountOf(fixture(kMovies[i % kMovies.size()]));
    ASSERT_GT(frames, 0) << kMovies[i % kMovies.size()];
    std::mt19937 random(static_cast<unsigned>(i));
    std::uniform_int_distribution<int> pick(1, frames);
    for (int d = 0, n = decodesPerReader(); d < n; ++d) plans[i].push_back(pick(random));
  }

  std::vector<std::vector<Decoded>> together(kReaders);
  std::latch start(kReaders);
  std::vector<std::thread> threads;
  for (int i = 0; i < kReaders; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      together[i] = decodeFrames(fixture(kMovies[i % kMovies.size()]), plans[i]);
    });
  }
  for (auto& thread : threads) thread.join();

  for (int i = 0; i < kReaders; ++i) {
    const auto alone = decodeFrames(fixture(kMovies[i % kMovies.size()]), plans[i]);
    ASSERT_EQ(together[i].size(), alone.size()) << "reader " << i;
    for (size_t d = 0; d < alone.size(); ++d) {
      EXPECT_EQ(alone[d].result, 0) << kMovies[i % kMovies.size()] << " frame " << alone[d].frame;
      EXPECT_EQ(together[i][d].result, alone[d].result) << "reader " << i << " frame " << alone[d].frame;
      EXPECT_EQ(together[i][d].hash, alone[d].hash) << "reader " << i << " frame " << alone[d].frame;
    }
  }
}

namespace {

constexpr int kWidth = 96;
constexpr int kHeight = 64;
constexpr int kFrames = 10;

std::vector<float> pattern(int frame) {
  std::vector<float> rgba(static_cast<size_t>(kWidth) * kHeight * 4);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      float* p = &rgba[(static_cast<size_t>(y) * kWidth + x) * 4];
      p[0] = static_cast<float>((x * 3 + frame * 7) % 256) / 255.0f;
      p[1] = static_cast<float>((y * 5 + frame * 11) % 256) / 255.0f;
      p[2] = static_cast<float>((x + y + frame * 13) % 256) / 255.0f;
      p[3] = 1.0f;
    }
  }
  return rgba;
}

// Writes kFrames pattern frames with the codec whose type is `codec`; 0 on success.
int writeMovie(const std::string& path, const char* codec) {
  QuickTimeCodecWriter writer;
  const char** names = writer.getCodecNames();
  bool found = false;
  for (int i = 0; names != nullptr && names[i] != nullptr && !found; ++i) {
    if (std::strncmp(names[i], codec, 4) == 0) {
      writer.setCodecIndex(i);
      found = true;
    }
  }
  if (!found) return -1;
  writer.setCompressionSettings(kWidth, kHeight, 25.0f, 5, 3, false, "");
  if (writer.openMovie(path, 1) != 0) return 1;
  for (int f = 0; f < kFrames; ++f) {
    const auto pixels = pattern(f);
    if (const int result = writer.encodeFrame(f, pixels.data(), false); result != 0) return result;
  }
  writer.finishVideo();
  return writer.closeMovie(true);
}

}  // namespace

TEST(Load, FourWritersAtOnceWriteTheSameMoviesAsOneThread) {
  // Two H.264 writers: x264's own threads in two encoders at once.
  const std::vector<const char*> codecs = {"avc1", "apcn", "avc1", "jpeg"};
  const auto folder = std::filesystem::temp_directory_path() / ("vqt-load-" + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  std::vector<int> results(codecs.size(), -2);
  std::latch start(static_cast<std::ptrdiff_t>(codecs.size()));
  std::vector<std::thread> threads;
  for (size_t i = 0; i < codecs.size(); ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      results[i] = writeMovie((folder / ("together-" + std::to_string(i) + ".mov")).string(), codecs[i]);
    });
  }
  for (auto& thread : threads) thread.join();

  std::vector<int> allFrames;
  for (int f = 1; f <= kFrames; ++f) allFrames.push_back(f);
  int written = 0;
  for (size_t i = 0; i < codecs.size(); ++i) {
    if (results[i] == -1) continue;  // codec not in this build's catalogue
    ++written;
    EXPECT_EQ(results[i], 0) << codecs[i];
    const auto alonePath = (folder / ("alone-" + std::to_string(i) + ".mov")).string();
    ASSERT_EQ(writeMovie(alonePath, codecs[i]), 0) << codecs[i];
    const auto together = decodeFrames((folder / ("together-" + std::to_string(i) + ".mov")).string(), allFrames);
    const auto alone = decodeFrames(alonePath, allFrames);
    ASSERT_EQ(together.size(), static_cast<size_t>(kFrames)) << codecs[i];
    ASSERT_EQ(alone.size(), static_cast<size_t>(kFrames)) << codecs[i];
    for (int f = 0; f < kFrames; ++f) {
      EXPECT_EQ(alone[f].result, 0) << codecs[i] << " frame " << f + 1;
      EXPECT_EQ(together[f].hash, alone[f].hash) << codecs[i] << " frame " << f + 1;
    }
  }
  EXPECT_GE(written, 3) << "too few of the codecs are in the catalogue for the test to mean anything";
  std::filesystem::remove_all(folder);
}
