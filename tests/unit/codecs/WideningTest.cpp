// 8-bit RGB codecs decoded to 16-bit RGB: every level lands exactly on its
// 16-bit level (v * 257), so white is 0xFFFF and no level is off by a few
// steps; deeper levels widen by repeating their top bits.
#include <gtest/gtest.h>

#include "CodecTestSupport.h"
#include "RgbWidening.h"

namespace vqt::codecs {
namespace {

using test::TestImage;

constexpr int kWidth = 256;  // one pixel per level
constexpr int kHeight = 2;

std::uint16_t bigEndian16(const std::uint8_t* p) { return static_cast<std::uint16_t>(p[0] << 8 | p[1]); }

// Level of channel `c` (A, R, G, B) at column x: each channel runs through all 256 levels.
std::uint8_t level(int c, int x) {
  switch (c) {
    case 0:
      return static_cast<std::uint8_t>(255 - x);
    case 1:
      return static_cast<std::uint8_t>(x);
    case 2:
      return static_cast<std::uint8_t>(x ^ 0xA5);
    default:
      return static_cast<std::uint8_t>((x * 7) & 0xFF);
  }
}

TestImage allLevels() {
  TestImage image(32, kWidth, kHeight);
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x)
      for (int c = 0; c < 4; ++c) image.bytes[y * image.bytesPerRow + x * 4 + c] = level(c, x);
  return image;
}

TestImage roundTrip(FourCC codec, int depth, FourCC format) {
  EncoderConfig encoding;
  encoding.codecType = codec;
  encoding.width = kWidth;
  encoding.height = kHeight;
  encoding.depth = depth;
  std::unique_ptr<Encoder> encoder;
  EXPECT_EQ(Encoder::create(encoding, encoder), Status::ok);
  TestImage image(format, kWidth, kHeight);
  if (!encoder) return image;
  std::vector<EncodedFrame> frames;
  const TestImage source = allLevels();
  EXPECT_EQ(encoder->encode(test::constViewOf(source), 0, 1, frames), Status::ok);
  EXPECT_EQ(encoder->finish(frames), Status::ok);
  if (frames.size() != 1u) {
    ADD_FAILURE() << "expected one frame";
    return image;
  }
  DecoderConfig decoding;
  decoding.codecType = codec;
  decoding.width = kWidth;
  decoding.height = kHeight;
  decoding.depth = depth;
  std::unique_ptr<Decoder> decoder;
  EXPECT_EQ(Decoder::create(decoding, decoder), Status::ok);
  if (!decoder) return image;
  std::vector<Picture> pictures;
  EXPECT_EQ(decoder->send(frames[0].data, 1, pictures), Status::ok);
  EXPECT_EQ(decoder->releaseHeldPictures(pictures), Status::ok);
  if (pictures.size() != 1u) {
    ADD_FAILURE() << "expected one picture";
    return image;
  }
  EXPECT_EQ(decoder->convert(pictures[0], test::viewOf(image)), Status::ok);
  return image;
}

struct Case {
  FourCC codec;
  int depth;
};

class EightBitRgbWidening : public ::testing::TestWithParam<Case> {};

TEST_P(EightBitRgbWidening, EveryLevelIsExactInB64a) {
  const bool alpha = GetParam().depth == 32;
  const TestImage image = roundTrip(GetParam().codec, GetParam().depth, kPixelFormatB64a);
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x)
      for (int c = 0; c < 4; ++c) {
        const std::uint16_t expected = (c == 0 && !alpha) ? 0xFFFF : static_cast<std::uint16_t>(level(c, x) * 257);
        ASSERT_EQ(bigEndian16(&image.bytes[y * image.bytesPerRow + x * 8 + c * 2]), expected)
            << "channel " << c << " level " << int{level(c, x)};
      }
}

TEST_P(EightBitRgbWidening, EveryLevelIsExactInB48r) {
  const TestImage image = roundTrip(GetParam().codec, GetParam().depth, kPixelFormatB48r);
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x)
      for (int c = 1; c < 4; ++c)
        ASSERT_EQ(bigEndian16(&image.bytes[y * image.bytesPerRow + x * 6 + (c - 1) * 2]), level(c, x) * 257)
            << "channel " << c << " level " << int{level(c, x)};
}

INSTANTIATE_TEST_SUITE_P(Codecs, EightBitRgbWidening,
                         ::testing::Values(Case{'raw ', 24}, Case{'raw ', 32}, Case{'rle ', 24}, Case{'rle ', 32},
                                           Case{'png ', 24}, Case{'png ', 32}),
                         [](const auto& info) {
                           const FourCC t = info.param.codec;
                           std::string name;
                           for (int s = 24; s >= 0; s -= 8)
                             if (char ch = static_cast<char>(t >> s); ch != ' ') name += ch;
                           return name + std::to_string(info.param.depth);
                         });

TEST(BitReplication, DeeperLevelsRepeatTheirTopBits) {
  for (unsigned v = 0; v < 256; ++v) ASSERT_EQ(widenTo16(v, 8), v * 257);
  for (unsigned v = 0; v < 1024; ++v) ASSERT_EQ(widenTo16(v, 10), (v << 6 | v >> 4)) << v;
  for (unsigned v = 0; v < 4096; ++v) ASSERT_EQ(widenTo16(v, 12), (v << 4 | v >> 8)) << v;
  EXPECT_EQ(widenTo16(31, 5), 0xFFFF);
  EXPECT_EQ(widenTo16(0x1234, 16), 0x1234);
}

}  // namespace
}  // namespace vqt::codecs
