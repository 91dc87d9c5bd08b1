#include <vantor/property/Property.h>
#include <vantor/quicktime/FrameRate.h>
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <list>
#include <memory>

#include "Arguments.h"
#include "CodecCatalogue.h"
#include "Commands.h"
#include "Errors.h"
#include "Output.h"
#include "ImageFiles.h"
#include "Progress.h"
#include "TestPattern.h"

namespace qtmovie {
namespace {

constexpr const char* kHelp =
    "usage: qtmovie encode -o OUT.mov [options] INPUTS...\n"
    "       qtmovie encode -o OUT.mov --pattern N [--size WxH] [--tone] [options]\n"
    "Writes a movie from PNG or EXR frames (in the order given) or from N generated test frames.\n"
    "  --codec TYPE        four-character codec type (default apch; see 'qtmovie codecs')\n"
    "  --fps RATE          frame rate (default 24; 23.976 and 29.97 are NTSC rates)\n"
    "  --quality 0-5       quality index (default 4)\n"
    "  --audio FILE.wav    sound added from a file\n"
    "  --tone              a 1 kHz stereo tone as long as the pattern\n"
    "  --timecode HH:MM:SS:FF  start timecode (adds a timecode track)\n"
    "  --reel NAME         reel name of the timecode track\n"
    "  --meta KEY=VALUE    a metadata item (repeatable)\n"
    "  --flatten           write the movie header before the media data";

constexpr int kToneRate = 48000;

int parseTimecode(const std::string& text, int nominalRate) {
  int h = 0, m = 0, s = 0, f = 0;
  char end = 0;
  if (std::sscanf(text.c_str(), "%d:%d:%d:%d%c", &h, &m, &s, &f, &end) != 4 || h < 0 || h > 23 || m < 0 || m > 59 ||
      s < 0 || s > 59 || f < 0 || f >= std::max(nominalRate, 1))
    throw UsageError("timecode must be HH:MM:SS:FF, not '" + text + "'");
  return ((h * 60 + m) * 60 + s) * nominalRate + f;
}

std::list<Vantor::Property::Base*> metadataItems(const std::vector<std::string>& pairs) {
  std::list<Vantor::Property::Base*> items;
  for (const std::string& pair : pairs) {
    const auto equals = pair.find('=');
    if (equals == std::string::npos || equals == 0) {
      for (auto* item : items) delete item;
      throw UsageError("--meta needs KEY=VALUE, not '" + pair + "'");
    }
    auto* item = new Vantor::Property::String(pair.substr(0, equals), 1);
    item->setValue(pair.substr(equals + 1), 0);
    items.push_back(item);
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

FrameSource frameSource(const Arguments& args) {
  FrameSource source;
  if (args.has("--pattern")) {
    if (!args.positional().empty()) throw UsageError("give either --pattern or input files, not both");
    source.patternFrames = parseInt(args.value("--pattern"), "--pattern", 1, 1000000);
    const std::string size = args.value("--size", "1920x1080");
    if (std::sscanf(size.c_str(), "%dx%d", &source.width, &source.height) != 2 || source.width < 16 ||
        source.height < 16 || source.width > 16384 || source.height > 16384)
      throw UsageError("--size must be WxH (16 to 16384), not '" + size + "'");
    return source;
  }
  if (args.positional().empty()) throw UsageError("expects input frames or --pattern N");
  if (args.has("--size")) throw UsageError("--size goes with --pattern; input frames keep their size");
  source.files = args.positional();
  const Image first = readImage(source.files[0]);
  source.width = first.width, source.height = first.height;
  return source;
}

}  // namespace

int runEncode(const Words& words) {
  const Arguments args(words, {{"-o", "--codec", "--fps", "--quality", "--audio", "--timecode", "--reel", "--meta",
                                "--pattern", "--size"},
                               {"--flatten", "--tone"}});
  if (args.wantsHelp()) {
    printHelp(kHelp);
    return 0;
  }
  if (!args.has("-o")) throw UsageError("-o OUT.mov is required");
  const std::string output = args.value("-o");
  const double fps = parseNumber(args.value("--fps", "24"), "--fps");
  if (fps <= 0.0 || fps > 1000.0) throw UsageError("--fps must be above 0 and at most 1000");
  const int quality = parseInt(args.value("--quality", "4"), "--quality", 0, 5);
  const Vantor::QuickTime::FrameRate rate(static_cast<float>(fps));
  const int startFrame =
      args.has("--timecode") ? parseTimecode(args.value("--timecode"), static_cast<int>(rate.nominal())) : 0;
  const bool tone = args.has("--tone");
  if (tone && !args.has("--pattern")) throw UsageError("--tone goes with --pattern");
  if (args.has("--audio") && !std::filesystem::is_regular_file(args.value("--audio")))
    throw Failure(args.value("--audio") + ": no such file");
  const FrameSource source = frameSource(args);

  Vantor::QuickTime::QuickTimeCodecWriter writer;
  selectCodec(writer, args.value("--codec", "apch"));
  writer.setCompressionSettings(source.width, source.height, static_cast<float>(fps), 1, quality, false, "");
  if (writer.openMovie(output, tone ? 3 : 1) != 0) throw Failure("cannot create " + output);
  if (tone && writer.setAudioFormat(2, false, kToneRate, "") != 0) throw Failure("the sound track could not be made");

  {
    Progress progress("encode", source.count());
    for (int f = 0; f < source.count(); ++f) {
      const auto pixels = source.frame(f);
      if (writer.encodeFrame(f, pixels.data(), false) != 0)
        throw Failure("frame " + std::to_string(f + 1) + " could not be encoded");
      progress.update(f + 1);
    }
  }
  if (tone) {
    const auto frames = static_cast<long long>(std::llround(source.count() * kToneRate / fps));
    const auto samples = patternTone(kToneRate, frames);
    if (writer.writeAudioSamples(0, static_cast<int>(samples.size()), samples.data()))
      throw Failure("the tone could not be written");
  }
  writer.finishVideo();
  if (tone) writer.finishAudio();
  if (args.has("--audio") && writer.addAudioFromFile(args.value("--audio").c_str(), 0.0f) != 0)
    throw Failure("the sound of " + args.value("--audio") + " could not be added");
  if (args.has("--timecode") || args.has("--reel")) {
    if (writer.addTimecodeTrack(rate, startFrame, 0, args.value("--reel")))
      throw Failure("the timecode track could not be added");
  }
  auto items = metadataItems(args.values("--meta"));
  const int metadataResult = writer.setMetadata(items);
  for (auto* item : items) delete item;
  if (metadataResult != 0) throw Failure("the metadata could not be written");
  if (writer.closeMovie(args.has("--flatten")) != 0) throw Failure("cannot finish " + output);
  return 0;
}

}  // namespace qtmovie
