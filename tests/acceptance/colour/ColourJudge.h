// What the colour tests share: running the ffmpeg CLI to get its RGB decode of
// a frame (or of a still picture), and PSNR over R, G, B.
#pragma once

#include <string>
#include <vector>

namespace ColourTest {

std::string fixture(const std::string& name);
std::string scratch(const std::string& name);

// Frame `index` (from 0) of `path` as ffmpeg decodes it to 16-bit RGB, scaled
// to 0..1 floats, three a pixel, after the filters in `filters` (may be
// empty); empty when the CLI fails or gives the wrong size.
// Always rounded accurately (the CLI's fast 8-bit path is about 2/255 off).
// `interpolateChroma`: chroma interpolated to every pixel, the CLI's best RGB,
// for judging a file's content against its source; otherwise each chroma
// sample covers its pixels, as the reader's own conversion does.
std::vector<float> ffmpegRgb(const std::string& path, int index, int width, int height, const std::string& filters = "",
                             bool interpolateChroma = false);

// PSNR in dB (peak 1.0) over R, G and B of the pixels in columns
// [x0, x1) and rows [y0, y1) of an RGBA frame against an RGB one.
double psnr(const std::vector<float>& rgba, const std::vector<float>& rgb, int width, int x0, int x1, int y0, int y1);
double psnr(const std::vector<float>& rgba, const std::vector<float>& rgb, int width, int height);

}  // namespace ColourTest
