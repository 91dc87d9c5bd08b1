// `qtmovie audio`: the movie's sound, mixed as the movie plays it, streamed in
// bounded chunks into a sound file whose format follows the extension.
#include <CLI/CLI.hpp>

#include <algorithm>

#include "Commands.h"
#include "Errors.h"
#include "Interrupt.h"
#include "MovieOpening.h"
#include "PendingOutput.h"
#include "Progress.h"
#include "SoundFiles.h"

namespace qtmovie {
namespace {

struct AudioOptions {
  std::string movie, output;
  int bits = 0;
};

constexpr unsigned kChunkFrames = 1u << 16;

void runAudio(const AudioOptions& o) {
  SoundFileWriter::checkType(o.output);
  auto reader = openMovie(o.movie, 2);
  if (!reader->hasAudio()) throw Failure(o.movie + ": has no sound");
  int channels = 0, rate = 0, bytesPerSample = 0, sampleBytes = 0;
  reader->getAudioFormat(&channels, &rate, &bytesPerSample, &sampleBytes);
  PendingOutput pending(o.output);
  SoundFileWriter sound(pending.path(), channels, rate, o.bits);
  // The reader counts samples over all channels: positions and counts are frames x channels.
  const unsigned total = reader->getAudioSampleCount();
  const unsigned block = kChunkFrames * static_cast<unsigned>(std::max(channels, 1));
  std::vector<float> samples(std::min(block, std::max(total, 1u)));
  Progress progress("audio", static_cast<int>(total / block + 1));
  unsigned done = 0;
  while (done < total) {
    checkStop();
    unsigned count = std::min(block, total - done);
    if (reader->readAudio(done, &count, samples.data()) != 0)
      throw Failure("the sound could not be read at sample " + std::to_string(done));
    if (count == 0) break;
    sound.write(std::span<const float>(samples.data(), count));
    done += count;
    progress.update(static_cast<int>(done / block));
  }
  sound.finish();
  pending.commit();
}

}  // namespace

void addAudioCommand(CLI::App& root) {
  auto o = std::make_shared<AudioOptions>();
  CLI::App* cmd = root.add_subcommand(
      "audio", std::string("Write the movie's sound as it plays; the format follows the extension: ") +
                   SoundFileWriter::kSupported + ".");
  cmd->add_option("movie", o->movie, "the movie")->required();
  cmd->add_option("-o,--output", o->output, "the sound file")->required();
  cmd->add_option("--bits", o->bits, "sample depth: 16, 24 or 32 (float; WAV only)")
      ->check(CLI::IsMember({16, 24, 32}));
  cmd->callback([o] { runAudio(*o); });
}

}  // namespace qtmovie
