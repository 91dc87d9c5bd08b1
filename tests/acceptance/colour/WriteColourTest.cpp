// Movies written through the public writer from a blurred test pattern and
// decoded by the ffmpeg CLI, which honours the tags the files carry: the
// matrix declared and the one used must agree at HD and SD sizes (BT.709
// declared over BT.601 data gives about 24 dB), alpha must reach full scale,
// and odd sizes must keep their last row and column.
#include <gtest/gtest.h>
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "ColourJudge.h"

using Vantor::QuickTime::QuickTimeCodecWriter;
using namespace ColourTest;

namespace {

struct WriteCase {
  const char* codec;
  int width, height;
  double floor;         // dB against the source
  const char* filters;  // given to the CLI before its RGB conversion
};

// Floors sit under the measured values (printed by the test).
const WriteCase kCases[] = {
    {"apch", 1920, 1080, 45.0, ""}, {"apch", 720, 486, 45.0, ""},   {"ap4h", 1920, 1080, 45.0, ""},
    {"ap4h", 720, 486, 45.0, ""},   {"avc1", 1920, 1080, 40.0, ""}, {"avc1", 720, 486, 40.0, ""},
    {"AVdn", 1920, 1080, 40.0, ""}, {"AVdn", 720, 486, 40.0, ""},   {"jpeg", 1920, 1080, 35.0, ""},
    {"jpeg", 720, 486, 35.0, ""},   {"mp4v", 720, 486, 35.0, ""},   {"2vuy", 1920, 1080, 35.0, ""},
    {"v210", 1920, 1080, 35.0, ""}, {"2vuy", 720, 486, 35.0, ""},   {"mp4v", 321, 181, 30.0, ""},
    {"jpeg", 321, 181, 30.0, ""},
};

bool selectCodec(QuickTimeCodecWriter& writer, const char* type) {
  const char** names = writer.getCodecNames();
  for (int i = 0; names != nullptr && names[i] != nullptr; ++i)
    if (std::strncmp(names[i], type, 4) == 0) {
      writer.setCodecIndex(i);
      return true;
    }
  return false;
}

// The host's B, G, R, A floats from the CLI's R, G, B.
std::vector<float> hostFrame(const std::vector<float>& rgb, float alpha) {
  std::vector<float> bgra(rgb.size() / 3 * 4);
  for (size_t p = 0; p < rgb.size() / 3; ++p) {
    bgra[4 * p] = rgb[3 * p + 2];
    bgra[4 * p + 1] = rgb[3 * p + 1];
    bgra[4 * p + 2] = rgb[3 * p];
    bgra[4 * p + 3] = alpha;
  }
  return bgra;
}

// Two frames of `pixels` at maximum quality; 0 on success.
int writeMovie(const std::string& path, const char* codec, int width, int height, const std::vector<float>& pixels,
               bool alpha) {
  QuickTimeCodecWriter writer;
  if (!selectCodec(writer, codec)) return -1;
  writer.setCompressionSettings(width, height, 25.0f, 1, 4, alpha, "");
  if (const int opened = writer.openMovie(path, 1); opened != 0) return opened;
  for (int f = 0; f < 2; ++f)
    if (const int result = writer.encodeFrame(f, pixels.data(), false); result != 0) return result;
  writer.finishVideo();
  return writer.closeMovie(false);
}

std::string sizeName(int width, int height) { return std::to_string(width) + "x" + std::to_string(height); }

class WriteColour : public testing::TestWithParam<WriteCase> {};

TEST_P(WriteColour, TheCliDecodesTheSourceColours) {
  const WriteCase& c = GetParam();
  const std::vector<float> source =
      ffmpegRgb(fixture("blur-" + sizeName(c.width, c.height) + ".png"), 0, c.width, c.height);
  ASSERT_FALSE(source.empty());
  std::filesystem::create_directories(scratch(""));
  const std::string path = scratch(std::string(c.codec) + "-" + sizeName(c.width, c.height) + ".mov");
  ASSERT_EQ(writeMovie(path, c.codec, c.width, c.height, hostFrame(source, 1.0f), false), 0);
  const std::vector<float> decoded = ffmpegRgb(path, 1, c.width, c.height, c.filters, true);
  ASSERT_FALSE(decoded.empty());
  // Our PSNR helper takes RGBA on the left: widen the CLI's decode.
  std::vector<float> ours(decoded.size() / 3 * 4, 1.0f);
  for (size_t p = 0; p < decoded.size() / 3; ++p)
    for (int ch = 0; ch < 3; ++ch) ours[4 * p + ch] = decoded[3 * p + ch];
  const double whole = psnr(ours, source, c.width, c.height);
  const double row = psnr(ours, source, c.width, 0, c.width, c.height - 1, c.height);
  const double column = psnr(ours, source, c.width, c.width - 1, c.width, 0, c.height);
  printf("PSNR written %s %s: %.2f dB, last row %.2f dB, last column %.2f dB\n", c.codec,
         sizeName(c.width, c.height).c_str(), whole, row, column);
  EXPECT_GE(whole, c.floor);
  EXPECT_GE(row, c.floor - 10);
  EXPECT_GE(column, c.floor - 10);
}

INSTANTIATE_TEST_SUITE_P(Codecs, WriteColour, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<WriteCase>& info) {
                           return std::string(info.param.codec) + "_" + sizeName(info.param.width, info.param.height);
                         });

// An opaque ProRes 4444 picture with alpha decodes to the top 12-bit code
// (4095), not 1020/1023 of it (4083).
TEST(WriteAlpha, OpaqueProRes4444AlphaReachesFullScale) {
  const std::vector<float> source = ffmpegRgb(fixture("blur-321x181.png"), 0, 321, 181);
  ASSERT_FALSE(source.empty());
  std::filesystem::create_directories(scratch(""));
  const std::string path = scratch("ap4h-alpha.mov");
  ASSERT_EQ(writeMovie(path, "ap4h", 321, 181, hostFrame(source, 1.0f), true), 0);
  const std::string command = std::string(VQT_FFMPEG) + " -hide_banner -loglevel error -i '" + path +
                              "' -frames:v 1 -vf alphaextract -pix_fmt gray12le -f rawvideo -";
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::vector<std::uint16_t> alpha(321 * 181);
  const size_t got = fread(alpha.data(), 2, alpha.size(), pipe);
  pclose(pipe);
  ASSERT_EQ(got, alpha.size());
  for (std::uint16_t a : alpha) ASSERT_EQ(a, 4095);
}

}  // namespace
