// Test pictures shared by the codec engine and ICM tests: a smooth asymmetric
// ARGB pattern, reference Y'CbCr of it, PSNR, and fixtures made by the ffmpeg CLI.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vqt::test {

// Bytes one row of `width` pixels takes in a packed exchange format (0 if unknown).
std::size_t packedBytesPerRow(std::uint32_t format, int width);

// An image in one exchange format, rows packed.
struct TestImage {
  std::uint32_t format = 32;
  int width = 0;
  int height = 0;
  std::size_t bytesPerRow = 0;
  std::vector<std::uint8_t> bytes;

  TestImage() = default;
  TestImage(std::uint32_t format, int width, int height);
};

// A smooth, asymmetric ARGB picture: red rises to the right, green downwards,
// blue towards the bottom left, so a swapped channel or a flipped image shows.
// Frame `index` shifts it, so frames of a sequence differ. Alpha is a ramp if asked.
TestImage makeArgbPattern(int width, int height, int index = 0, bool alphaRamp = false);

// PSNR over the R, G, B bytes of two ARGB images (and alpha when asked), in dB;
// 99 for identical images.
double psnrArgb(const TestImage& a, const TestImage& b, bool includeAlpha = false);

// Reference Y'CbCr (BT.601 weights, video range) of an ARGB image, as 'r4fl' or 'r408'.
TestImage argbToYCbCr(const TestImage& argb, std::uint32_t format);
// PSNR of two 'r4fl' images over Y', Cb, Cr, on an 8-bit scale (and alpha when asked).
double psnrR4fl(const TestImage& a, const TestImage& b, bool includeAlpha = false);

// Runs the ffmpeg CLI with `arguments`, producing `name` in the fixture folder
// unless it is there already; returns its path (empty on failure).
std::string makeFixture(const std::string& name, const std::string& arguments);
std::vector<std::uint8_t> readFile(const std::string& path);

// Splits an H.264 (or, with `hevc`, an HEVC) Annex B stream into access units
// at its access unit delimiters.
struct AccessUnit {
  std::vector<std::uint8_t> bytes;
  bool sync = false;
};
std::vector<AccessUnit> splitAccessUnits(const std::vector<std::uint8_t>& stream, bool hevc = false);

}  // namespace vqt::test
