// What the tests on the world's movies share beyond the reader fixtures'
// helpers: every frame of the ffmpeg CLI's own decode of a movie, its frame
// count as ffprobe counts it, and a reader's frames decoded in order.
#pragma once

#include "ReaderFixtures.h"

#include <cstdint>
#include <string>
#include <vector>

namespace WorldTest {

// Every frame the CLI shows (edits applied), as 0..1 RGB floats, in order.
std::vector<std::vector<float>> ffmpegFrames(const std::string& path, int width, int height);

// ffprobe's count of the decoded frames of a video stream (the first unless
// told); -1 when it fails.
int ffprobeFrameCount(const std::string& path, int videoStream = 0);

// Index into `candidates` of the frame closest to `rgba` by PSNR, and that PSNR.
struct Match {
  int index = -1;
  double psnr = 0.0;
};
Match closest(const std::vector<float>& rgba, const std::vector<std::vector<float>>& candidates);

std::uint64_t digest(const std::vector<float>& frame);

// Runs `body` with standard output captured and returns what it printed.
template <class Body>
std::string printedBy(Body body);

}  // namespace WorldTest

#include <gtest/gtest.h>

template <class Body>
std::string WorldTest::printedBy(Body body) {
  testing::internal::CaptureStdout();
  body();
  fflush(stdout);
  return testing::internal::GetCapturedStdout();
}
