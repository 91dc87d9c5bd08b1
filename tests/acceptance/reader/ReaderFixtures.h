// What the reader acceptance tests share: fixture paths, a reader opened on a
// fixture, the ffmpeg CLI's own RGB decode of a frame, and PSNR between them.
#pragma once

#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <string>
#include <vector>

namespace ReaderTest {

std::string fixture(const std::string& name);

struct VideoInfo {
  int width = 0, height = 0, channels = 0, timeScale = 0, frameDuration = 0, startTimecodeFrame = 0;
  float pixelAspect = 0.0f;
};
VideoInfo videoInfo(const Vantor::QuickTime::QuickTimeCodecReader& reader);

// Frame `index` (from 0, display order) decoded by the CLI to 16-bit RGB and
// scaled to 0..1 floats, three a pixel; empty when the CLI fails.
std::vector<float> ffmpegRgb(const std::string& path, int index, int width, int height);

// PSNR in dB over R, G and B of an RGBA frame against an RGB one (peak 1.0).
double psnr(const std::vector<float>& rgba, const std::vector<float>& rgb);

}  // namespace ReaderTest
