#include "ReadThrough.h"

#include "BoundedRun.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <sstream>
#include <vector>

#include <vantor/quicktime/QuickTimeCodecReader.h>

namespace Vantor::QuickTime::Reliability {

namespace {

// Sound is read in blocks of this many frames, as a host streams it.
constexpr unsigned kAudioChunk = 8192;

std::string encode(const ReadOutcome& outcome) {
  std::ostringstream out;
  out << outcome.openResult << ' ' << outcome.decodeResults.size() << ' ';
  for (auto [code, count] : outcome.decodeResults) out << code << ' ' << count << ' ';
  out << outcome.audioResults.size() << ' ';
  for (auto [code, count] : outcome.audioResults) out << code << ' ' << count << ' ';
  return out.str();
}

ReadOutcome decode(const std::string& text) {
  ReadOutcome outcome;
  std::istringstream in(text);
  size_t entries = 0;
  in >> outcome.openResult >> entries;
  for (size_t i = 0; i < entries; ++i) {
    int code = 0, count = 0;
    in >> code >> count;
    outcome.decodeResults[code] = count;
  }
  in >> entries;
  for (size_t i = 0; i < entries; ++i) {
    int code = 0, count = 0;
    in >> code >> count;
    outcome.audioResults[code] = count;
  }
  return outcome;
}

}  // namespace

ReadOutcome readThrough(const std::string& path, int maxFrames) {
  ReadOutcome outcome;
  QuickTimeCodecReader reader;
  outcome.openResult = reader.open(path, 3);
  if (outcome.openResult == 3) return outcome;

  std::map<std::string, std::string> description;
  reader.getStreamDescription(description);
  std::list<Vantor::Property::Base*> metadata;
  reader.getMetadata(metadata);
  for (Vantor::Property::Base* item : metadata) delete item;

  // As a host: a buffer as large as the reader describes, every frame it
  // counts, every sound sample it counts. The reader's own limits are what
  // keep this bounded.
  if (reader.hasVideo()) {
    int width = 0, height = 0, channels = 0, timeScale = 0, frameDuration = 0, startFrame = 0;
    float aspect = 0;
    reader.getVideoInfo(&width, &height, &channels, &aspect, &timeScale, &frameDuration, &startFrame);
    if (width <= 0 || height <= 0) std::abort();  // a size no host could allocate
    std::vector<float> rgba(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    const int frames = std::min(reader.getFrameCount(), maxFrames);
    for (int frame = 1; frame <= frames; ++frame) ++outcome.decodeResults[reader.decodeFrame(frame, rgba.data())];
  }
  if (reader.hasAudio()) {
    int channels = 0, rate = 0, bytesPerSample = 0, sampleBytes = 0;
    reader.getAudioFormat(&channels, &rate, &bytesPerSample, &sampleBytes);
    if (channels <= 0) std::abort();
    // Positions and counts are samples: frames x channels.
    const unsigned block = kAudioChunk * static_cast<unsigned>(channels);
    std::vector<float> samples(block);
    const unsigned total = reader.getAudioSampleCount();
    for (unsigned start = 0; start < total;) {
      unsigned count = std::min(block, total - start);
      const int result = reader.readAudio(start, &count, samples.data());
      ++outcome.audioResults[result];
      if (result != 0 || count == 0) break;
      start += count;
    }
  }
  reader.close();
  return outcome;
}

ChildRead readThroughInChild(const std::string& path, unsigned seconds, std::uint64_t addressSpace) {
  const BoundedRun run = runInChild([&path] { return encode(readThrough(path)); }, seconds, addressSpace);
  ChildRead result;
  result.peakKilobytes = run.peakKilobytes;
  result.signal = run.signal;
  if (run.end == RunEnd::TimedOut) {
    result.end = ChildEnd::TimedOut;
  } else if (run.end == RunEnd::Signalled || run.exitCode != 0) {
    result.end = ChildEnd::Crashed;  // a sanitizer report ends the child with a non-zero status
  } else {
    result.outcome = decode(run.output);
  }
  return result;
}

}  // namespace Vantor::QuickTime::Reliability
