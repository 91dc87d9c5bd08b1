// Fuzzes movie files through the public reader the way a host uses it, with
// no allocation capped: the frame buffer is as large as the reader describes,
// and the first and last frames and sound blocks it counts are read. Run
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

// Frames decoded from the start and from the end of the movie. Every frame is
// decoded from its sync sample on, so reading all N frames of a movie with one
// sync sample costs N^2/2 sample steps: a few kilobytes of sample table can claim thousands of
// frames and turn a full read into minutes of legitimate work, which would hide
// real hangs behind timeouts. The last frames still reach the longest walk
// the file can ask for, and every frame drives the same allocations.
constexpr int kFramesFromStart = 32;
constexpr int kFramesFromEnd = 2;

// Sound blocks read from the start and from the end. A sample's duration is a
// table entry: three packets can claim days of sound, which the reader rightly
// streams block by block (silence where the packets say nothing), so reading
// all of it is linear work that only takes long.
constexpr unsigned kSoundBlocksFromStart = 16;
constexpr unsigned kSoundBlocksFromEnd = 2;

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
    const int frames = reader.getFrameCount();
    for (int frame = 1; frame <= frames; ++frame) {
      if (frame > kFramesFromStart && frame <= frames - kFramesFromEnd) frame = frames - kFramesFromEnd + 1;
      reader.decodeFrame(frame, rgba.data());
    }
  }

  if (reader.hasAudio()) {
    int channels = 0, rate = 0, bytesPerSample = 0, sampleBytes = 0;
    reader.getAudioFormat(&channels, &rate, &bytesPerSample, &sampleBytes);
    if (channels <= 0) __builtin_trap();
    const unsigned block = kSoundBlockFrames * static_cast<unsigned>(channels);
    std::vector<float> samples(block);
    const unsigned total = reader.getAudioSampleCount();
    const unsigned long long tail = static_cast<unsigned long long>(block) * kSoundBlocksFromEnd;
    for (unsigned done = 0, blocks = 0; done < total; ++blocks) {
      if (blocks == kSoundBlocksFromStart && total - done > tail) done = static_cast<unsigned>(total - tail);
      unsigned count = std::min(block, total - done);
      if (reader.readAudio(done, &count, samples.data()) != 0 || count == 0) break;
      done += count;
    }
  }
  reader.close();
  std::remove(path.c_str());
  return 0;
}
