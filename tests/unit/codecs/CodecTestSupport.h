// Test images, PSNR, fixtures made by the ffmpeg CLI, and encode/decode
// helpers shared by the codec engine tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vqt/codecs/Decoder.h"
#include "vqt/codecs/Encoder.h"

namespace vqt::codecs::test {

// An image in one exchange format, rows packed.
struct TestImage {
  FourCC format = kPixelFormatArgb32;
  int width = 0;
  int height = 0;
  std::size_t bytesPerRow = 0;
  std::vector<std::uint8_t> bytes;

  TestImage() = default;
  TestImage(FourCC format, int width, int height);
  ImageView view() { return {format, width, height, static_cast<std::ptrdiff_t>(bytesPerRow), bytes.data()}; }
  ConstImageView constView() const {
    return {format, width, height, static_cast<std::ptrdiff_t>(bytesPerRow), bytes.data()};
  }
};

// A smooth, asymmetric ARGB picture: red rises to the right, green downwards,
// blue towards the bottom left, so a swapped channel or a flipped image shows.
// Frame `index` shifts it, so frames of a sequence differ. Alpha is a ramp if asked.
TestImage makeArgbPattern(int width, int height, int index = 0, bool alphaRamp = false);

// PSNR over the R, G, B bytes of two ARGB images (and alpha when asked), in dB;
// 99 for identical images.
double psnrArgb(const TestImage& a, const TestImage& b, bool includeAlpha = false);

// Reference Y'CbCr (BT.601 weights, video range) of an ARGB image, as 'r4fl' or 'r408'.
TestImage argbToYCbCr(const TestImage& argb, FourCC format);
// PSNR of two 'r4fl' images over Y', Cb, Cr, on an 8-bit scale (and alpha when asked).
double psnrR4fl(const TestImage& a, const TestImage& b, bool includeAlpha = false);

// Encodes `frames` with `config`, then decodes every frame into `outputFormat`.
// Fails the test (ADD_FAILURE) and returns fewer frames when something breaks.
std::vector<TestImage> roundTrip(const EncoderConfig& config, const std::vector<TestImage>& frames,
                                 FourCC outputFormat);

// Runs the ffmpeg CLI with `arguments`, producing `name` in the fixture folder
// unless it is there already; returns its path.
std::string makeFixture(const std::string& name, const std::string& arguments);
std::vector<std::uint8_t> readFile(const std::string& path);

// Splits an H.264 Annex B stream into access units at its access unit delimiters.
struct AccessUnit {
  std::vector<std::uint8_t> bytes;
  bool sync = false;
};
std::vector<AccessUnit> splitAccessUnits(const std::vector<std::uint8_t>& stream);

}  // namespace vqt::codecs::test
