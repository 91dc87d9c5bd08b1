#include "ReadThrough.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <list>
#include <sstream>
#include <vector>

#include <vantor/quicktime/QuickTimeCodecReader.h>

namespace Vantor::QuickTime::Reliability {

namespace {

// Larger pictures are described but not decoded: a damaged size field must not
// make the test allocate gigabytes; the reader's own bounds are what is tested.
constexpr long kMaxPixels = 4096L * 4096L;
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

  if (reader.hasVideo()) {
    int width = 0, height = 0, channels = 0, timeScale = 0, frameDuration = 0, startFrame = 0;
    float aspect = 0;
    reader.getVideoInfo(&width, &height, &channels, &aspect, &timeScale, &frameDuration, &startFrame);
    if (width > 0 && height > 0 && static_cast<long>(width) * height <= kMaxPixels) {
      std::vector<float> rgba(static_cast<size_t>(width) * height * 4);
      const int frames = std::min(reader.getFrameCount(), maxFrames);
      for (int frame = 1; frame <= frames; ++frame) ++outcome.decodeResults[reader.decodeFrame(frame, rgba.data())];
    }
  }
  if (reader.hasAudio()) {
    int channels = 0, rate = 0, bytesPerSample = 0, sampleBytes = 0;
    reader.getAudioFormat(&channels, &rate, &bytesPerSample, &sampleBytes);
    if (channels > 0 && channels <= 64) {
      std::vector<float> samples(static_cast<size_t>(kAudioChunk) * channels);
      const unsigned total = reader.getAudioSampleCount() / static_cast<unsigned>(channels);
      for (unsigned start = 0; start < total; start += kAudioChunk) {
        unsigned count = std::min(kAudioChunk, total - start);
        ++outcome.audioResults[reader.readAudio(start, &count, samples.data())];
      }
    }
  }
  reader.close();
  return outcome;
}

ChildRead readThroughInChild(const std::string& path, unsigned seconds) {
  ChildRead result;
  int channel[2];
  if (pipe(channel) != 0) {
    result.end = ChildEnd::Crashed;
    return result;
  }
  const pid_t child = fork();
  if (child == 0) {
    close(channel[0]);
    alarm(seconds);  // SIGALRM's default action ends a child that hangs
    const std::string text = encode(readThrough(path));
    ssize_t written = ::write(channel[1], text.data(), text.size());
    _exit(written == static_cast<ssize_t>(text.size()) ? 0 : 1);
  }
  close(channel[1]);
  std::string text;
  char buffer[256];
  for (ssize_t n; (n = ::read(channel[0], buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<size_t>(n));
  close(channel[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) {
    result.signal = WTERMSIG(status);
    result.end = result.signal == SIGALRM ? ChildEnd::TimedOut : ChildEnd::Crashed;
  } else if (WEXITSTATUS(status) != 0) {
    result.end = ChildEnd::Crashed;  // a sanitizer report ends the child with a non-zero status
    result.signal = 0;
  } else {
    result.outcome = decode(text);
  }
  return result;
}

}  // namespace Vantor::QuickTime::Reliability
