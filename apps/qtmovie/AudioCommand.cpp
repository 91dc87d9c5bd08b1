#include <algorithm>
#include <cstdio>
#include <span>

#include "Arguments.h"
#include "Commands.h"
#include "Errors.h"
#include "Output.h"
#include "MovieOpening.h"
#include "Progress.h"
#include "WavFile.h"

namespace qtmovie {

int runAudio(const Words& words) {
  const Arguments args(words, {{"-o"}, {}});
  if (args.wantsHelp()) {
    printHelp(
        "usage: qtmovie audio FILE -o OUT.wav\n"
        "Writes the movie's sound, mixed as the movie plays it, as a 32-bit float WAV.");
    return 0;
  }
  if (args.positional().size() != 1) throw UsageError("expects one movie file");
  if (!args.has("-o")) throw UsageError("-o OUT.wav is required");
  auto reader = openMovie(args.positional()[0], 2);
  if (!reader->hasAudio()) throw Failure(args.positional()[0] + ": has no sound");
  int channels = 0, rate = 0, bytesPerSample = 0, sampleBytes = 0;
  reader->getAudioFormat(&channels, &rate, &bytesPerSample, &sampleBytes);
  // The reader counts samples over all channels: positions and counts are frames x channels.
  const unsigned total = reader->getAudioSampleCount();
  // Read and written a block at a time: memory stays at one block whatever
  // length the movie claims.
  const unsigned block = (1u << 16) * static_cast<unsigned>(std::max(channels, 1));
  std::vector<float> samples(block);
  FloatWavStream wav(args.value("-o"), channels, rate);
  Progress progress("audio", static_cast<int>(total / block + 1));
  unsigned done = 0;
  while (done < total) {
    unsigned count = std::min(block, total - done);
    if (reader->readAudio(done, &count, samples.data()) != 0)
      throw Failure("the sound could not be read at sample " + std::to_string(done));
    if (count == 0) break;
    wav.append(std::span(samples.data(), std::min(count, block)));
    done += count;
    progress.update(static_cast<int>(done / block));
  }
  wav.finish();
  return 0;
}

}  // namespace qtmovie
