// Fuzzes movie files through the public reader: open with video and sound,
// describe the stream, read the metadata, decode at most four frames and read
// a little sound. The work per input is bounded (small pictures only, few
// frames, few samples) so that a run covers many inputs.
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include "../common/MovieInput.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

using namespace Vantor::QuickTime;

namespace {

// Pictures up to 256x256 are decoded: every seed is far smaller, and the
// per-input buffers stay small enough not to dominate the run.
constexpr long kMaxPixels = 256 * 256;
constexpr unsigned kMaxSamples = 4096;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path = fuzzing::writeMovieInput("reader-fuzz", data, size);
  if (path.empty()) return 0;

  QuickTimeCodecReader reader;
  if (reader.open(path, 3) == 3) return 0;

  fuzzing::describe(reader);

  if (reader.hasVideo()) {
    int width = 0, height = 0, channels = 0, timeScale = 0, frameDuration = 0, startFrame = 0;
    float aspect = 0;
    reader.getVideoInfo(&width, &height, &channels, &aspect, &timeScale, &frameDuration, &startFrame);
    const int frames = reader.getFrameCount();
    if (width > 0 && height > 0 && static_cast<long>(width) * height <= kMaxPixels && frames > 0) {
      std::vector<float> rgba(static_cast<size_t>(width) * height * 4);
      for (int frame : {1, 2, frames / 2 + 1, frames}) {
        if (frame <= frames) reader.decodeFrame(frame, rgba.data());
      }
      reader.decodeFrame(frames + 1, rgba.data());  // past the end: refused, never read
    }
  }

  if (reader.hasAudio()) {
    int channels = 0, rate = 0, bytesPerSample = 0, sampleBytes = 0;
    reader.getAudioFormat(&channels, &rate, &bytesPerSample, &sampleBytes);
    if (channels > 0 && channels <= 64) {
      std::vector<float> samples(static_cast<size_t>(kMaxSamples) * channels);
      unsigned count = kMaxSamples;
      reader.readAudio(0, &count, samples.data());
      const unsigned total = reader.getAudioSampleCount() / static_cast<unsigned>(channels);
      count = kMaxSamples;
      if (total > kMaxSamples) reader.readAudio(total - kMaxSamples, &count, samples.data());
    }
  }
  reader.close();
  std::remove(path.c_str());
  return 0;
}
