// Encode-then-decode through every writable codec. The floors sit a few dB
// under what each codec reaches on this smooth picture, and far above what a
// swapped channel, a flipped image, a wrong range or a wrong matrix gives
// (those fall below 30 dB).
#include <gtest/gtest.h>

#include <cstring>

#include "CodecTestSupport.h"
#include "vqt/codecs/CodecTable.h"

namespace vqt::codecs {
namespace {

using test::TestImage;

struct RoundTripCase {
  const char* label;
  FourCC type;
  FourCC input;
  int width;
  int height;
  int frames;
  double floor;  // dB over R, G, B after decoding to 32-bit ARGB
  std::uint32_t quality = 0x200;
  int depth = 24;
};

std::ostream& operator<<(std::ostream& out, const RoundTripCase& c) { return out << c.label; }

class RoundTrip : public ::testing::TestWithParam<RoundTripCase> {};

TEST_P(RoundTrip, DecodesWhatWasEncoded) {
  const RoundTripCase& c = GetParam();
  std::vector<TestImage> sources, inputs;
  for (int i = 0; i < c.frames; ++i) {
    sources.push_back(test::makeArgbPattern(c.width, c.height, i));
    inputs.push_back(c.input == kPixelFormatArgb32 ? sources.back() : test::argbToYCbCr(sources.back(), c.input));
  }
  EncoderConfig config;
  config.codecType = c.type;
  config.width = c.width;
  config.height = c.height;
  config.quality = c.quality;
  config.depth = c.depth;
  config.keyFrameInterval = 4;
  config.timeScale = 2400;
  config.frameRate = 24;
  const std::vector<TestImage> decoded = test::roundTrip(config, inputs, kPixelFormatArgb32);
  ASSERT_EQ(decoded.size(), sources.size());
  for (std::size_t i = 0; i < decoded.size(); ++i) {
    const double psnr = test::psnrArgb(sources[i], decoded[i]);
    EXPECT_GE(psnr, c.floor) << "frame " << i;
    if (i == 0) RecordProperty("psnr", std::to_string(psnr));
  }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(WritableCodecs, RoundTrip, ::testing::Values(
  RoundTripCase{"ProResProxy", 'apco', kPixelFormatR4fl, 320, 240, 2, 48},
  RoundTripCase{"ProResLT", 'apcs', kPixelFormatR4fl, 320, 240, 2, 54},
  RoundTripCase{"ProRes422", 'apcn', kPixelFormatR4fl, 320, 240, 2, 55},
  RoundTripCase{"ProResHQ", 'apch', kPixelFormatR4fl, 320, 240, 2, 56},
  RoundTripCase{"ProRes4444", 'ap4h', kPixelFormatR4fl, 320, 240, 2, 57},
  RoundTripCase{"ProRes4444XQ", 'ap4x', kPixelFormatR4fl, 320, 240, 2, 57},
  RoundTripCase{"ProResHQFromArgb", 'apch', kPixelFormatArgb32, 320, 240, 2, 56},
  RoundTripCase{"ProResHQMaximumQuality", 'apch', kPixelFormatR4fl, 320, 240, 1, 57, 0x3FF},
  RoundTripCase{"H264", 'avc1', kPixelFormatArgb32, 320, 240, 10, 42},
  RoundTripCase{"H264Lossless", 'avc1', kPixelFormatArgb32, 320, 240, 3, 48, 0x400},
  RoundTripCase{"H264HighDefinition", 'avc1', kPixelFormatArgb32, 1280, 720, 2, 43},
  RoundTripCase{"H264OddSize", 'avc1', kPixelFormatArgb32, 321, 181, 3, 40},
  RoundTripCase{"HevcOddSize", 'hvc1', kPixelFormatR4fl, 321, 181, 3, 40},
  RoundTripCase{"Mpeg4", 'mp4v', kPixelFormatArgb32, 320, 240, 6, 39},
  RoundTripCase{"PhotoJpeg", 'jpeg', kPixelFormatArgb32, 320, 240, 2, 45},
  RoundTripCase{"Png", 'png ', kPixelFormatArgb32, 320, 240, 1, 99},
  RoundTripCase{"Animation", 'rle ', kPixelFormatArgb32, 320, 240, 2, 99},
  RoundTripCase{"AnimationWithAlpha", 'rle ', kPixelFormatArgb32, 320, 240, 2, 99, 0x200, 32},
  RoundTripCase{"Raw", 'raw ', kPixelFormatArgb32, 320, 240, 1, 99},
  RoundTripCase{"RawWithAlpha", 'raw ', kPixelFormatArgb32, 320, 240, 1, 99, 0x200, 32},
  RoundTripCase{"TwoVuy", '2vuy', kPixelFormatR408, 320, 240, 1, 47},
  RoundTripCase{"V210", 'v210', kPixelFormatR4fl, 320, 240, 1, 60},
  RoundTripCase{"V210OddSize", 'v210', kPixelFormatR4fl, 321, 181, 1, 50},
  RoundTripCase{"DnxhrStandard", 'AVdn', kPixelFormatArgb32, 320, 240, 1, 46},
  RoundTripCase{"Dnxhr444", 'AVdn', kPixelFormatArgb32, 320, 240, 1, 56, 0x400},
  RoundTripCase{"DvPal", 'dvcp', kPixelFormatArgb32, 720, 576, 1, 45}
), [](const auto& info) { return std::string(info.param.label); });
// clang-format on

TEST(RoundTripAlpha, ProRes4444AtDepth32KeepsAlpha) {
  std::vector<TestImage> sources{test::makeArgbPattern(320, 240, 0, true)};
  std::vector<TestImage> inputs{test::argbToYCbCr(sources[0], kPixelFormatR4fl)};
  EncoderConfig config;
  config.codecType = 'ap4h';
  config.width = 320;
  config.height = 240;
  config.depth = 32;
  const auto decoded = test::roundTrip(config, inputs, kPixelFormatR4fl);
  ASSERT_EQ(decoded.size(), 1u);
  EXPECT_GE(test::psnrR4fl(inputs[0], decoded[0], true), 45);
}

TEST(RoundTripAlpha, PngAtDepth32KeepsAlphaExactly) {
  std::vector<TestImage> sources{test::makeArgbPattern(64, 48, 0, true)};
  EncoderConfig config;
  config.codecType = 'png ';
  config.width = 64;
  config.height = 48;
  config.depth = 32;
  const auto decoded = test::roundTrip(config, sources, kPixelFormatArgb32);
  ASSERT_EQ(decoded.size(), 1u);
  EXPECT_EQ(decoded[0].bytes, sources[0].bytes);
}

TEST(EncoderSettings, ReorderingOffGivesDecodeOrderEqualToDisplayOrder) {
  for (bool reordering : {true, false}) {
    EncoderConfig config;
    config.codecType = 'avc1';
    config.width = 160;
    config.height = 120;
    config.allowReordering = reordering;
    config.keyFrameInterval = 12;
    std::unique_ptr<Encoder> encoder;
    ASSERT_EQ(Encoder::create(config, encoder), Status::ok);
    std::vector<EncodedFrame> frames;
    for (int i = 0; i < 24; ++i)
      ASSERT_EQ(encoder->encode(test::constViewOf(test::makeArgbPattern(160, 120, i)), i * 100, 100, frames),
                Status::ok);
    ASSERT_EQ(encoder->finish(frames), Status::ok);
    ASSERT_EQ(frames.size(), 24u);
    int reordered = 0, sinceSync = 0;
    EXPECT_TRUE(frames[0].sync);
    for (std::size_t i = 0; i < frames.size(); ++i) {
      reordered += frames[i].displayTime != static_cast<std::int64_t>(i) * 100;
      sinceSync = frames[i].sync ? 0 : sinceSync + 1;
      EXPECT_LT(sinceSync, 12) << "key frame interval is a maximum";
      EXPECT_EQ(frames[i].decodeDuration, 100);
      EXPECT_LE(frames[i].decodeTime, frames[i].displayTime);
    }
    EXPECT_EQ(reordered > 0, reordering);
    EXPECT_EQ(encoder->configAtomType(), FourCC{'avcC'});
    ASSERT_GT(encoder->configAtom().size(), 8u);
    EXPECT_EQ(encoder->configAtom()[0], 1) << "avcC version";
  }
}

TEST(EncoderSettings, HigherQualityMakesLargerProResFrames) {
  auto frameSize = [](std::uint32_t quality) {
    EncoderConfig config;
    config.codecType = 'apcn';
    config.width = 320;
    config.height = 240;
    config.quality = quality;
    std::unique_ptr<Encoder> encoder;
    EXPECT_EQ(Encoder::create(config, encoder), Status::ok);
    std::vector<EncodedFrame> frames;
    // Noise, so that the profile's rate alone cannot reach the finest quantiser.
    TestImage image = test::argbToYCbCr(test::makeArgbPattern(320, 240), kPixelFormatR4fl);
    std::uint32_t state = 12345;
    for (std::size_t i = 4; i + 4 <= image.bytes.size(); i += 16) {
      state = state * 1664525u + 1013904223u;
      float luma;
      std::memcpy(&luma, image.bytes.data() + i, 4);
      luma += static_cast<float>(state >> 24) / 1024.0f;
      std::memcpy(image.bytes.data() + i, &luma, 4);
    }
    EXPECT_EQ(encoder->encode(test::constViewOf(image), 0, 100, frames), Status::ok);
    EXPECT_EQ(encoder->finish(frames), Status::ok);
    return frames.empty() ? 0 : frames[0].data.size();
  };
  EXPECT_GT(frameSize(0x400), frameSize(0x200));
}

TEST(EncoderSettings, ProResProfileFollowsTheCodecType) {
  // Each profile has its own target rate: Proxy < LT < 422 < HQ < 4444 XQ.
  const TestImage image = test::argbToYCbCr(test::makeArgbPattern(640, 360), kPixelFormatR4fl);
  std::size_t previous = 0;
  for (FourCC type : {'apco', 'apcs', 'apcn', 'apch', 'ap4x'}) {
    EncoderConfig config;
    config.codecType = type;
    config.width = 640;
    config.height = 360;
    std::unique_ptr<Encoder> encoder;
    ASSERT_EQ(Encoder::create(config, encoder), Status::ok);
    std::vector<EncodedFrame> frames;
    ASSERT_EQ(encoder->encode(test::constViewOf(image), 0, 1, frames), Status::ok);
    ASSERT_EQ(encoder->finish(frames), Status::ok);
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_GT(frames[0].data.size(), previous)
        << std::string{char(type >> 24), char(type >> 16), char(type >> 8), char(type)};
    previous = frames[0].data.size();
  }
}

TEST(EncoderSettings, ProResOnFrameThreadsGivesTheSamplesOfOneThread) {
  // Frame threads hold several frames at once: each must keep its own pixels
  // until encoded, and the samples must come out in order and unchanged.
  auto encodeAll = [](int threads) {
    EncoderConfig config;
    config.codecType = 'apch';
    config.width = 320;
    config.height = 240;
    config.threads = threads;
    std::unique_ptr<Encoder> encoder;
    EXPECT_EQ(Encoder::create(config, encoder), Status::ok);
    std::vector<EncodedFrame> frames;
    for (int i = 0; encoder && i < 10; ++i) {
      const TestImage image = test::argbToYCbCr(test::makeArgbPattern(320, 240, i), kPixelFormatR4fl);
      EXPECT_EQ(encoder->encode(test::constViewOf(image), i * 100, 100, frames), Status::ok);
    }
    if (encoder) {
      EXPECT_EQ(encoder->finish(frames), Status::ok);
    }
    return frames;
  };
  const std::vector<EncodedFrame> alone = encodeAll(1), threaded = encodeAll(4);
  ASSERT_EQ(alone.size(), 10u);
  ASSERT_EQ(threaded.size(), 10u);
  for (std::size_t i = 0; i < alone.size(); ++i) {
    EXPECT_EQ(threaded[i].displayTime, static_cast<std::int64_t>(i) * 100);
    EXPECT_TRUE(threaded[i].sync);
    EXPECT_EQ(threaded[i].data, alone[i].data) << "frame " << i;
  }
}

TEST(EncoderSettings, RefusesWhatItCannotMake) {
  std::unique_ptr<Encoder> encoder;
  EncoderConfig config;
  config.codecType = 'hev1';
  config.width = 64;
  config.height = 64;
  EXPECT_EQ(Encoder::create(config, encoder), Status::noCodec);
  config.codecType = 'zzzz';
  EXPECT_EQ(Encoder::create(config, encoder), Status::noCodec);
  config.codecType = 'dvc ';  // DV has fixed frame sizes
  EXPECT_EQ(Encoder::create(config, encoder), Status::unsupportedFormat);
}

}  // namespace
}  // namespace vqt::codecs
