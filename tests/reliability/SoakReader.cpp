// Reads one movie end to end through the public reader and reports the peak
// resident set size after the first frames and at the end, so a leak per
// frame shows as growth. Used by scripts/soak.sh.
//   reliability_soak MOVIE
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <sys/resource.h>

#include <cstdio>
#include <vector>

namespace {

long peakKilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: reliability_soak MOVIE\n");
    return 2;
  }
  Vantor::QuickTime::QuickTimeCodecReader reader;
  if (reader.open(argv[1], 1) != 0) {
    std::fprintf(stderr, "reliability_soak: cannot open %s\n", argv[1]);
    return 1;
  }
  int width = 0, height = 0, channels = 0, timeScale = 0, frameDuration = 0, startFrame = 0;
  float aspect = 0;
  reader.getVideoInfo(&width, &height, &channels, &aspect, &timeScale, &frameDuration, &startFrame);
  std::vector<float> rgba(static_cast<size_t>(width) * height * 4);
  const int frames = reader.getFrameCount();
  const int warmUp = frames < 100 ? frames : 100;
  long startPeak = 0;
  int failures = 0;
  for (int frame = 1; frame <= frames; ++frame) {
    if (reader.decodeFrame(frame, rgba.data()) != 0) ++failures;
    if (frame == warmUp) startPeak = peakKilobytes();
  }
  const long endPeak = peakKilobytes();
  std::printf("frames %d failures %d peak_rss_kb_after_%d %ld peak_rss_kb_at_end %ld\n", frames, failures, warmUp,
              startPeak, endPeak);
  return failures == 0 ? 0 : 1;
}
