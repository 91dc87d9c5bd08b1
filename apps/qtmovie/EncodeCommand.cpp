// `qtmovie encode`: a movie from image files (lists, %d patterns, globs) or a
// generated pattern, with sound, timecode and metadata, written under a
// temporary name and renamed into place only when it is complete.
#include <CLI/CLI.hpp>
#include <vantor/property/Property.h>
#include <vantor/quicktime/FrameRate.h>
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <list>
#include <memory>
#include <optional>

#include "CodecCatalogue.h"
#include "Commands.h"
#include "DataRates.h"
#include "Errors.h"
#include "FrameRates.h"
#include "ImageFiles.h"
#include "Interrupt.h"
#include "Progress.h"
#include "Sequences.h"
#include "TestPattern.h"

namespace qtmovie {
namespace {

constexpr int kToneRate = 48000;

struct EncodeOptions {
  std::string output, codec = "apch", fps = "24", audio, timecode, reel, size = "1920x1080";
  int quality = 4;
  std::optional<int> keyframes, pattern;
  std::optional<std::string> bitrate;
  std::optional<long long> start, frames;
  std::vector<std::string> meta, inputs;
  bool flatten = false, tone = false;
};

int parseTimecode(const std::string& text, int nominalRate) {
  int h = 0, m = 0, s = 0, f = 0;
  char end = 0;
  if (std::sscanf(text.c_str(), "%d:%d:%d:%d%c", &h, &m, &s, &f, &end) != 4 || h < 0 || h > 23 || m < 0 || m > 59 ||
      s < 0 || s > 59 || f < 0 || f >= std::max(nominalRate, 1))
    throw UsageError("--timecode must be HH:MM:SS:FF, not '" + text + "'");
  return ((h * 60 + m) * 60 + s) * nominalRate + f;
}

using Items = std::list<std::unique_ptr<Vantor::Property::Base>>;

Items metadataItems(const std::vector<std::string>& pairs) {
  Items items;
  for (const std::string& pair : pairs) {
    const auto equals = pair.find('=');
    if (equals == std::string::npos || equals == 0) throw UsageError("--meta needs KEY=VALUE, not '" + pair + "'");
    auto item = std::make_unique<Vantor::Property::String>(pair.substr(0, equals), 1);
    item->setValue(pair.substr(equals + 1), 0);
    items.push_back(std::move(item));
  }
  return items;
}

// The frames to write: either files or a generated pattern, one at a time.
struct FrameSource {
  std::vector<std::string> files;
  int patternFrames = 0;
  int width = 0, height = 0;

  int count() const { return patternFrames > 0 ? patternFrames : static_cast<int>(files.size()); }

  std::vector<float> frame(int index) const {
    if (patternFrames > 0) return patternFrame(width, height, index);
    const Image image = readImage(files[static_cast<std::size_t>(index)]);
    if (image.width != width || image.height != height)
      throw Failure(files[static_cast<std::size_t>(index)] + " is not " + std::to_string(width) + "x" +
                    std::to_string(height) + " like the first frame");
    std::vector<float> bgra(image.rgba.size());
    for (std::size_t p = 0; p < bgra.size(); p += 4) {
      bgra[p] = image.rgba[p + 2], bgra[p + 1] = image.rgba[p + 1];
      bgra[p + 2] = image.rgba[p], bgra[p + 3] = image.rgba[p + 3];
    }
    return bgra;
  }
};

FrameSource frameSource(const EncodeOptions& o) {
  FrameSource source;
  if (o.pattern) {
    if (!o.inputs.empty()) throw UsageError("give either --pattern or input files, not both");
    if (o.start) throw UsageError("--start goes with input files");
    source.patternFrames = *o.pattern;
    if (std::sscanf(o.size.c_str(), "%dx%d", &source.width, &source.height) != 2 || source.width < 16 ||
        source.height < 16 || source.width > 16384 || source.height > 16384)
      throw UsageError("--size must be WxH (16 to 16384), not '" + o.size + "'");
    if (o.frames) source.patternFrames = static_cast<int>(std::min<long long>(*o.frames, source.patternFrames));
    return source;
  }
  if (o.inputs.empty()) throw UsageError("encode expects input frames or --pattern N");
  if (o.size != "1920x1080") throw UsageError("--size goes with --pattern; input frames keep their size");
  source.files = expandInputs(o.inputs, o.start, o.frames);
  const Image first = readImage(source.files[0]);
  source.width = first.width, source.height = first.height;
  return source;
}

void runEncode(const EncodeOptions& o) {
  const ExactRate rate = parseFrameRate(o.fps);
  const Vantor::QuickTime::FrameRate timecodeRate(rate.timeScale, rate.frameDuration);
  const int startFrame = o.timecode.empty() ? 0 : parseTimecode(o.timecode, rate.nominal());
  if (o.tone && !o.pattern) throw UsageError("--tone goes with --pattern");
  if (!o.audio.empty() && !std::filesystem::is_regular_file(o.audio)) throw Failure(o.audio + ": no such file");
  auto items = metadataItems(o.meta);
  const std::int64_t bitRate = o.bitrate ? parseBitRate(*o.bitrate) : 0;
  const FrameSource source = frameSource(o);
  std::string codec = o.codec;
  codec.resize(std::max<std::size_t>(codec.size(), 4), ' ');
  const int keyframes = o.keyframes.value_or(defaultKeyFrameInterval(codec, rate.perSecond()));

  // The writer stages the movie beside the destination and moves it into place
  // only when closing succeeds; a writer left unclosed by an error or an
  // interrupt removes what it staged, so the destination keeps what it held.
  Vantor::QuickTime::QuickTimeCodecWriter writer;
  selectCodec(writer, codec);
  writer.setCompressionSettings(source.width, source.height, static_cast<float>(rate.perSecond()), keyframes, o.quality,
                                false, "");
  writer.setTimeBase(rate.timeScale, rate.frameDuration);
  writer.setAverageDataRate(bitRate);
  if (writer.openMovie(o.output, o.tone ? 3 : 1) != 0) throw WriteFailure("cannot create " + o.output);
  if (o.tone && writer.setAudioFormat(2, false, kToneRate, "") != 0)
    throw WriteFailure("the sound track could not be made");
  {
    Progress progress("encode", source.count());
    for (int f = 0; f < source.count(); ++f) {
      checkStop();
      const auto pixels = source.frame(f);
      if (writer.encodeFrame(f, pixels.data(), false) != 0)
        throw WriteFailure("frame " + std::to_string(f + 1) + " could not be encoded");
      progress.update(f + 1);
    }
  }
  if (o.tone) {
    const auto frames = static_cast<long long>(std::llround(source.count() * kToneRate / rate.perSecond()));
    const auto samples = patternTone(kToneRate, frames);
    if (writer.writeAudioSamples(0, static_cast<int>(samples.size()), samples.data()))
      throw WriteFailure("the tone could not be written");
  }
  checkStop();
  writer.finishVideo();
  if (o.tone) writer.finishAudio();
  if (!o.audio.empty() && writer.addAudioFromFile(o.audio.c_str(), 0.0f) != 0)
    throw Failure("the sound of " + o.audio + " could not be added");
  if (!o.timecode.empty() || !o.reel.empty()) {
    if (writer.addTimecodeTrack(timecodeRate, startFrame, 0, o.reel))
      throw WriteFailure("the timecode track could not be added");
  }
  std::list<Vantor::Property::Base*> borrowed;
  for (const auto& item : items) borrowed.push_back(item.get());
  if (writer.setMetadata(borrowed) != 0) throw WriteFailure("the metadata could not be written");
  checkStop();
  if (writer.closeMovie(o.flatten) != 0) throw WriteFailure("cannot finish " + o.output);
}

}  // namespace

void addEncodeCommand(CLI::App& root) {
  auto o = std::make_shared<EncodeOptions>();
  CLI::App* cmd = root.add_subcommand(
      "encode", "Write a movie from PNG/EXR frames (lists, %04d patterns, globs) or a generated test pattern.");
  cmd->add_option("-o,--output", o->output, "the movie to write")->required();
  cmd->add_option("inputs", o->inputs, "image files, NAME_%04d.png patterns or quoted globs, in order");
  cmd->add_option("--codec", o->codec, "four-character codec type (see 'qtmovie codecs')")->capture_default_str();
  cmd->add_option("--fps", o->fps, "frame rate: 24, 12.5, 23.976, 29.97, 59.94 or N/D such as 30000/1001")
      ->capture_default_str();
  cmd->add_option("--keyframes", o->keyframes,
                  "a key frame every N frames (default: 1 for intra codecs, 2 seconds for avc1 and the like)")
      ->check(CLI::Range(1, 100000));
  cmd->add_option("--bitrate", o->bitrate,
                  "average bits per second (8M, 2500k, 8000000) for avc1, hvc1 and mp4v, in place of --quality; "
                  "intra codecs keep the rate of their quality");
  cmd->add_option("--quality", o->quality, "quality index 0-5")->check(CLI::Range(0, 5))->capture_default_str();
  cmd->add_option("--start", o->start,
                  "first number of a %d pattern (default: the first of 0-4 that exists); files skipped of a list")
      ->check(CLI::NonNegativeNumber);
  cmd->add_option("--frames", o->frames, "at most this many frames")->check(CLI::PositiveNumber);
  cmd->add_option("--audio", o->audio, "sound from a WAV, AIFF or MP3 file or another movie");
  cmd->add_option("--timecode", o->timecode, "start timecode HH:MM:SS:FF (adds a timecode track)");
  cmd->add_option("--reel", o->reel, "reel name of the timecode track");
  cmd->add_option("--meta", o->meta, "a metadata item KEY=VALUE (repeatable)")->allow_extra_args(false);
  cmd->add_flag("--flatten", o->flatten, "write the movie header before the media data");
  cmd->add_option("--pattern", o->pattern, "N generated test frames instead of files")->check(CLI::Range(1, 1000000));
  cmd->add_option("--size", o->size, "size of the pattern, WxH")->capture_default_str();
  cmd->add_flag("--tone", o->tone, "with --pattern: a 1 kHz stereo tone as long as the pattern");
  cmd->callback([o] { runEncode(*o); });
}

}  // namespace qtmovie
