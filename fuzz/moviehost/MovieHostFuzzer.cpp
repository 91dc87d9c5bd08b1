// Fuzzes movie files through the public reader the way a host uses it, with
// nothing capped: the frame buffer is as large as the reader describes, every
// frame it counts is decoded and every sound sample it counts is read. Run
// under libFuzzer's -malloc_limit_mb and -rss_limit_mb (fuzz/run-smoke.sh
// reads them from movie_host_fuzzer.options), so that an allocation a header
// field drives, in the reader or in what it asks of its host, is a finding.
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include "../common/MovieInput.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

using namespace Vantor::QuickTime;

namespace {

// The block a host reads sound in, per channel.
constexpr unsigned kSoundBlockFrames = 65536;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path = fuzzing::writeMovieInput("host-fuzz", data, size);
  if (path.empty()) return 0;

  QuickTimeCodecReader reader;
  if (reader.open(path, 3) == 3) return 0;
  fuzzing::describe(reader);

  if (reader.hasVideo()) {
    int width = 0, height = 0, channels = 0, timeScale = 0, frameDuration = 0, startFrame = 0;
    float aspect = 0;
    reader.getVideoInfo(&width, &height, &channels, &aspect, &timeScale, &frameDuration, &startFrame);
    // A host trusts the size it is given; a negative one would be its own bug,
    // and the reader must never describe one.
    if (width <= 0 || height <= 0) __builtin_trap();
    std::vector<float> rgba(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    for (int frame = 1, frames = reader.getFrameCount(); frame <= frames; ++frame)
      reader.decodeFrame(frame, rgba.data());
  }

  if (reader.hasAudio()) {
    int channels = 0, rate = 0, bytesPerSample = 0, sampleBytes = 0;
    reader.getAudioFormat(&channels, &rate, &bytesPerSample, &sampleBytes);
    if (channels <= 0) __builtin_trap();
    const unsigned block = kSoundBlockFrames * static_cast<unsigned>(channels);
    std::vector<float> samples(block);
    const unsigned total = reader.getAudioSampleCount();
    for (unsigned done = 0; done < total;) {
      unsigned count = std::min(block, total - done);
      if (reader.readAudio(done, &count, samples.data()) != 0 || count == 0) break;
      done += count;
    }
  }
  reader.close();
  std::remove(path.c_str());
  return 0;
}
