// Memory over a whole read: a long movie read from the first frame to the last
// keeps the process's resident memory where it was after the first frames
// (decoded pictures, sample bytes and pixel buffers are all given back). The
// decoded-picture cache is meant to fill up to its bound, so it gets a small one
// that is full long before the first measurement.
#include "ReaderFixtures.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

using Vantor::QuickTime::QuickTimeCodecReader;
using namespace ReaderTest;

namespace {

// VmRSS and VmHWM of this process in KiB, from /proc/self/status.
struct Resident {
  long now = 0, peak = 0;
};
Resident resident() {
  Resident r;
  std::FILE* file = std::fopen("/proc/self/status", "r");
  if (file == nullptr) return r;
  char line[256];
  while (std::fgets(line, sizeof line, file) != nullptr) {
    std::sscanf(line, "VmRSS: %ld kB", &r.now);
    std::sscanf(line, "VmHWM: %ld kB", &r.peak);
  }
  std::fclose(file);
  return r;
}

TEST(ReaderMemory, ALongMovieReadInOrderKeepsResidentMemoryFlat) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "AddressSanitizer keeps freed memory in quarantine on purpose: resident memory grows by design";
#endif
  setenv("VANTOR_QUICKTIME_PICTURE_CACHE_MB", "2", 1);  // read when the session is made
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("long-h264-small.mov"), 1), 0);
  const VideoInfo info = videoInfo(reader);
  const int count = reader.getFrameCount();
  ASSERT_GE(count, 3000);
  std::vector<float> frame(static_cast<size_t>(info.width) * info.height * 4);
  constexpr int kSettled = 200;
  Resident start;
  for (int f = 1; f <= count; ++f) {
    ASSERT_EQ(reader.decodeFrame(f, frame.data()), 0) << "frame " << f;
    if (f == kSettled) start = resident();
  }
  const Resident end = resident();
  ASSERT_GT(start.now, 0) << "no /proc/self/status";
  std::printf("resident after %d frames %ld KiB (peak %ld), after %d frames %ld KiB (peak %ld)\n", kSettled, start.now,
              start.peak, count, end.now, end.peak);
  // One picture of this movie is 28 KiB of planes and 300 KiB as floats: a
  // leak of one thing a frame over the other 2800 frames is far above this.
  constexpr long kAllowedGrowthKiB = 8 * 1024;
  EXPECT_LE(end.now - start.now, kAllowedGrowthKiB);
  EXPECT_LE(end.peak - start.peak, kAllowedGrowthKiB);
}

}  // namespace
