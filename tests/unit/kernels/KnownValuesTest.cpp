// Exact outputs of the pixel kernels for known colours and values, through the public
// entry points (so through the vectorised code on processors that have it).
#include <vantor/quicktime/PixelKernels.h>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <vector>

using namespace Vantor::QuickTime;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

using Pixel = std::array<float, 4>;  // host order B, G, R, A for the encoder

std::array<uint8_t, 4> toR408(Pixel bgra) {
  std::array<uint8_t, 4> out{};
  convertRgbToR408(&bgra[2], &bgra[1], &bgra[0], 4, out.data(), 1);
  return out;
}

std::array<uint8_t, 4> to2vuy(Pixel first, Pixel second) {
  const std::array<Pixel, 2> pair{first, second};
  std::array<uint8_t, 4> out{};
  convertRgbTo2vuy(&pair[0][2], &pair[0][1], &pair[0][0], 4, out.data(), 2);
  return out;
}

using Bytes = std::array<uint8_t, 4>;

}  // namespace

TEST(KernelEncodeTest, R408WhiteBlackBlueAndOutOfRange) {
  EXPECT_EQ(toR408({1, 1, 1, 1}), (Bytes{255, 218, 128, 128}));
  EXPECT_EQ(toR408({0, 0, 0, 1}), (Bytes{255, 0, 128, 128}));
  // Pure blue: cb = 0.5 * 224 + 128.5 = 240.5, clamped to 235.
  EXPECT_EQ(toR408({1, 0, 0, 1})[2], 235);
  EXPECT_EQ(toR408({-1, -1, -1, 1})[1], 0);
  // NaN goes to the upper bound of each clamp.
  EXPECT_EQ(toR408({kNaN, kNaN, kNaN, 1}), (Bytes{255, 218, 235, 235}));
}

TEST(KernelEncodeTest, TwoVuyWhiteBlackBlueNegative) {
  EXPECT_EQ(to2vuy({1, 1, 1, 1}, {1, 1, 1, 1}), (Bytes{128, 235, 128, 235}));
  EXPECT_EQ(to2vuy({0, 0, 0, 1}, {0, 0, 0, 1}), (Bytes{128, 16, 128, 16}));
  EXPECT_EQ(to2vuy({1, 0, 0, 1}, {1, 0, 0, 1})[0], 235);
  const Bytes negative = to2vuy({-0.5f, -2, -1, 1}, {-kInf, -3, -0.1f, 1});
  EXPECT_EQ(negative[1], 16);
  EXPECT_EQ(negative[3], 16);
}

// An odd row's last pixel gets the group that pairing it with itself gives,
// and the complete pairs before it are what an even row of them gives.
TEST(KernelEncodeTest, TwoVuyOddLastPixelMakesItsOwnGroup) {
  const std::array<Pixel, 3> row{Pixel{0.2f, 0.5f, 0.9f, 1}, Pixel{0.7f, 0.1f, 0.3f, 1}, Pixel{0.9f, 0.8f, 0.1f, 1}};
  std::array<uint8_t, 9> out{};
  out.fill(0xAB);
  convertRgbTo2vuy(&row[0][2], &row[0][1], &row[0][0], 4, out.data(), 3);
  const Bytes pair = to2vuy(row[0], row[1]);
  const Bytes alone = to2vuy(row[2], row[2]);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(out[i], pair[i]) << i;
    EXPECT_EQ(out[4 + i], alone[i]) << i;
  }
  EXPECT_EQ(out[8], 0xAB);
}

TEST(KernelEncodeTest, R4flWhiteWithoutAlpha) {
  const Pixel white{1, 1, 1, 0.25f};
  std::array<float, 4> out{};
  convertRgbToR4fl(nullptr, &white[2], &white[1], &white[0], 4, out.data(), 1);
  EXPECT_EQ(out[0], 1.0f);
  EXPECT_NEAR(out[1], 219.0f / 255.0f, 1e-6f);
  EXPECT_NEAR(out[2], 128.0f / 255.0f, 1e-6f);
  EXPECT_NEAR(out[3], 128.0f / 255.0f, 1e-6f);
  convertRgbToR4fl(&white[3], &white[2], &white[1], &white[0], 4, out.data(), 1);
  EXPECT_EQ(out[0], 0.25f);
}

TEST(KernelDecodeTest, TwoVuyMpegBlackThenWhite) {
  const uint8_t group[4] = {128, 16, 128, 235};
  std::array<float, 8> rgba{};
  convert2vuyToRgb(group, &rgba[3], &rgba[0], &rgba[1], &rgba[2], 4, 4, kVideo2vuyMpeg);
  EXPECT_EQ(rgba, (std::array<float, 8>{0, 0, 0, 1, 1, 1, 1, 1}));
}

TEST(KernelDecodeTest, YuvsCb128IsNotNeutral) {
  const uint8_t group[4] = {126, 128, 126, 128};
  std::array<float, 8> rgba{};
  convertYuvsToRgb(group, &rgba[3], &rgba[0], &rgba[1], &rgba[2], 4, 4);
  EXPECT_GT(rgba[2], rgba[0]);  // blue above red: cb is 1/255
  EXPECT_LT(rgba[1], rgba[0]);
}

TEST(KernelDecodeTest, R408AndR4flRoundTripGrey) {
  const uint8_t r408[4] = {51, 110, 128, 128};
  std::array<float, 4> rgba{};
  convertR408ToRgb(r408, &rgba[3], &rgba[0], &rgba[1], &rgba[2], 4, 1);
  EXPECT_FLOAT_EQ(rgba[3], 0.2f);
  EXPECT_FLOAT_EQ(rgba[0], 110.0f / 219.0f);
  EXPECT_EQ(rgba[0], rgba[1]);
  EXPECT_EQ(rgba[0], rgba[2]);

  const float r4fl[4] = {0.5f, 219.0f / 255.0f, 128.0f / 255.0f, 128.0f / 255.0f};
  convertR4flToRgb(r4fl, &rgba[3], &rgba[0], &rgba[1], &rgba[2], 4, 1);
  EXPECT_EQ(rgba[3], 0.5f);
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(rgba[c], 1.0f, 1e-5f);
}

TEST(KernelDecodeTest, NullAlphaLeavesAlphaUntouched) {
  const uint8_t bytes[8] = {128, 16, 128, 235, 255, 235, 128, 128};
  std::array<float, 8> rgba;
  auto decoders = {
      +[](const uint8_t* in, float* r, float* g, float* b) {
        convert2vuyToRgb(in, nullptr, r, g, b, 4, 4, kVideo2vuyDefault);
      },
      +[](const uint8_t* in, float* r, float* g, float* b) { convertYuvsToRgb(in, nullptr, r, g, b, 4, 4); },
      +[](const uint8_t* in, float* r, float* g, float* b) { convertR408ToRgb(in, nullptr, r, g, b, 4, 2); },
  };
  for (auto decode : decoders) {
    rgba.fill(-7.0f);
    decode(bytes, &rgba[0], &rgba[1], &rgba[2]);
    EXPECT_EQ(rgba[3], -7.0f);
    EXPECT_EQ(rgba[7], -7.0f);
    EXPECT_NE(rgba[4], -7.0f);
  }
}

TEST(KernelIntegerTest, FloatToByteTable) {
  const std::vector<std::pair<float, int>> table = {
      {0.5f, 128}, {0.25f, 64}, {0.75f, 191}, {0.998f, 254}, {0.999f, 255}, {1 / 510.0f, 1}, {0.0019f, 0}, {kNaN, 0},
      {-0.5f, 0},  {-kInf, 0},  {1.0f, 255},  {7.0f, 255},   {kInf, 255},   {0.0f, 0},       {1e-40f, 0}};
  for (const auto& [value, expected] : table) {
    for (int stride : {1, 4}) {
      std::vector<float> in(4, value);
      std::vector<uint8_t> out(4, 0xAB);
      convertFloatToByte(out.data(), in.data(), 1, stride, stride);
      EXPECT_EQ(out[0], expected) << value;
    }
  }
}

TEST(KernelIntegerTest, FloatToShortRoundsHalfToEven) {
  const float in[6] = {0.5f, 1.0f, 2.0f, kNaN, -1.0f, 0.25f};
  uint16_t out[6];
  convertFloatToShort(out, in, 6, 16, 1);
  EXPECT_EQ(out[0], 32768);  // 32767.5 rounds to even
  EXPECT_EQ(out[1], 65535);
  EXPECT_EQ(out[2], 65535);
  EXPECT_EQ(out[3], 0);
  EXPECT_EQ(out[4], 0);
  EXPECT_EQ(out[5], 16384);  // 16383.75
  convertFloatToShort(out, in, 2, 8, 1);
  EXPECT_EQ(out[0], 128);  // 127.5 rounds to even
  EXPECT_EQ(out[1], 255);
}
