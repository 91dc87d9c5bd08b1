// The exchanged pixel formats: their byte layouts agree with one another, and
// Y'CbCr to RGB uses the stream's matrix and range, judged against pictures the
// ffmpeg CLI made from the same RGB source.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "CodecTestSupport.h"
#include "ColourTransform.h"
#include "UyvyPacking.h"
#include "vqt/ffmpeg/Handles.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace vqt::codecs {
namespace {

using test::TestImage;

std::uint16_t bigEndian16(const std::uint8_t* p) { return static_cast<std::uint16_t>(p[0] << 8 | p[1]); }

TestImage decodeOne(const DecoderConfig& config, const std::vector<std::uint8_t>& sample, FourCC format) {
  std::unique_ptr<Decoder> decoder;
  EXPECT_EQ(Decoder::create(config, decoder), Status::ok);
  TestImage image(format, config.width, config.height);
  if (!decoder) return image;
  std::vector<Picture> pictures;
  EXPECT_EQ(decoder->send(sample, 1, pictures), Status::ok);
  EXPECT_EQ(decoder->releaseHeldPictures(pictures), Status::ok);
  EXPECT_EQ(pictures.size(), 1u);
  if (!pictures.empty()) {
    EXPECT_EQ(decoder->convert(pictures[0], test::viewOf(image)), Status::ok);
  }
  return image;
}

class ExchangeFormats : public ::testing::Test {
 protected:
  void SetUp() override {
    source_ = test::argbToYCbCr(test::makeArgbPattern(kWidth, kHeight), kPixelFormatR4fl);
    EncoderConfig config;
    config.codecType = 'v210';
    config.width = kWidth;
    config.height = kHeight;
    std::unique_ptr<Encoder> encoder;
    ASSERT_EQ(Encoder::create(config, encoder), Status::ok);
    std::vector<EncodedFrame> frames;
    ASSERT_EQ(encoder->encode(test::constViewOf(source_), 0, 1, frames), Status::ok);
    ASSERT_EQ(encoder->finish(frames), Status::ok);
    ASSERT_EQ(frames.size(), 1u);
    sample_ = frames[0].data;
  }
  TestImage decodeAs(FourCC format) {
    DecoderConfig config;
    config.codecType = 'v210';
    config.width = kWidth;
    config.height = kHeight;
    return decodeOne(config, sample_, format);
  }

  static constexpr int kWidth = 96;
  static constexpr int kHeight = 64;
  TestImage source_;
  std::vector<std::uint8_t> sample_;
};

TEST_F(ExchangeFormats, FloatYCbCrComesBackFromTenBitsWithinQuantisation) {
  const TestImage r4fl = decodeAs(kPixelFormatR4fl);
  EXPECT_GE(test::psnrR4fl(source_, r4fl), 40);
  float first[4];
  std::memcpy(first, r4fl.bytes.data(), 16);
  EXPECT_EQ(first[0], 1.0f) << "opaque alpha first";
}

TEST_F(ExchangeFormats, EightBitYCbCrLayoutsMatchTheFloatOne) {
  const TestImage r4fl = decodeAs(kPixelFormatR4fl);
  const TestImage r408 = decodeAs(kPixelFormatR408);
  const TestImage twoVuy = decodeAs(kPixelFormat2vuy);
  const TestImage yuvs = decodeAs(kPixelFormatYuvs);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      float f[4];
      std::memcpy(f, r4fl.bytes.data() + y * r4fl.bytesPerRow + 16 * x, 16);
      const std::uint8_t* b = r408.bytes.data() + y * r408.bytesPerRow + 4 * x;
      ASSERT_EQ(b[0], 255);
      ASSERT_NEAR(b[1], f[1] * 255, 0.51) << "Y' minus 16 at " << x << "," << y;
      ASSERT_NEAR(b[2], f[2] * 255, 0.51);
      ASSERT_NEAR(b[3], f[3] * 255, 0.51);
      const std::uint8_t* pair2vuy = twoVuy.bytes.data() + y * twoVuy.bytesPerRow + 4 * (x / 2);
      ASSERT_NEAR(pair2vuy[1 + 2 * (x % 2)], b[1] + 16, 1) << "2vuy is Cb Y0 Cr Y1";
      if (x % 2 == 0) {
        ASSERT_NEAR(pair2vuy[0], b[2], 1);
        ASSERT_NEAR(pair2vuy[2], b[3], 1);
      }
    }
    for (int pair = 0; pair < kWidth / 2; ++pair) {
      const std::uint8_t* u = twoVuy.bytes.data() + y * twoVuy.bytesPerRow + 4 * pair;
      const std::uint8_t* s = yuvs.bytes.data() + y * yuvs.bytesPerRow + 4 * pair;
      ASSERT_EQ(s[0], u[1]);  // yuvs is Y0 Cb Y1 Cr
      ASSERT_EQ(s[1], u[0]);
      ASSERT_EQ(s[2], u[3]);
      ASSERT_EQ(s[3], u[2]);
    }
  }
}

TEST_F(ExchangeFormats, RgbLayoutsAgreeOnChannelOrderAndByteOrder) {
  const TestImage argb = decodeAs(kPixelFormatArgb32);
  const TestImage b64a = decodeAs(kPixelFormatB64a);
  const TestImage b48r = decodeAs(kPixelFormatB48r);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const std::uint8_t* p8 = argb.bytes.data() + y * argb.bytesPerRow + 4 * x;
      const std::uint8_t* p16 = b64a.bytes.data() + y * b64a.bytesPerRow + 8 * x;
      const std::uint8_t* p48 = b48r.bytes.data() + y * b48r.bytesPerRow + 6 * x;
      ASSERT_EQ(p8[0], 255);
      ASSERT_EQ(bigEndian16(p16), 0xFFFF) << "b64a starts with alpha";
      for (int c = 0; c < 3; ++c) {
        ASSERT_NEAR(bigEndian16(p16 + 2 + 2 * c) / 257.0, p8[1 + c], 2.5) << "channel " << c;
        ASSERT_NEAR(bigEndian16(p48 + 2 * c), bigEndian16(p16 + 2 + 2 * c), 1);
      }
    }
  }
  // Both match the RGB the Y'CbCr came from (BT.601 at this size).
  EXPECT_GE(test::psnrArgb(argb, test::makeArgbPattern(kWidth, kHeight)), 38);
  TestImage highBytes(kPixelFormatArgb32, kWidth, kHeight);
  for (std::size_t i = 0; i < highBytes.bytes.size(); ++i) highBytes.bytes[i] = b64a.bytes[2 * i];
  EXPECT_GE(test::psnrArgb(highBytes, test::makeArgbPattern(kWidth, kHeight)), 38);
}

TEST(DeepRgb, B64aSurvivesSixteenBitPngExactly) {
  TestImage image(kPixelFormatB64a, 40, 30);
  for (int y = 0; y < 30; ++y) {
    for (int x = 0; x < 40; ++x) {
      std::uint8_t* p = image.bytes.data() + y * image.bytesPerRow + 8 * x;
      const std::uint16_t words[4] = {static_cast<std::uint16_t>(0x1234 + 97 * x), static_cast<std::uint16_t>(1601 * y),
                                      static_cast<std::uint16_t>(0xFFFF - 333 * x),
                                      static_cast<std::uint16_t>(17 * x * y)};
      for (int c = 0; c < 4; ++c) {
        p[2 * c] = static_cast<std::uint8_t>(words[c] >> 8);
        p[2 * c + 1] = static_cast<std::uint8_t>(words[c]);
      }
    }
  }
  EncoderConfig config;
  config.codecType = 'png ';
  config.width = 40;
  config.height = 30;
  config.depth = 32;
  config.sourceFormat = kPixelFormatB64a;
  const auto decoded = test::roundTrip(config, {image}, kPixelFormatB64a);
  ASSERT_EQ(decoded.size(), 1u);
  EXPECT_EQ(decoded[0].bytes, image.bytes);
}

// Pictures the ffmpeg CLI encoded from one RGB source with a stated matrix and range.
struct IndependentCase {
  const char* label;
  FourCC type;
  int width;
  int height;
  const char* encode;  // ffmpeg output options after the filter graph
  const char* fixture;
  double floor;
};

std::ostream& operator<<(std::ostream& out, const IndependentCase& c) { return out << c.label; }

class IndependentEncoder : public ::testing::TestWithParam<IndependentCase> {};

TEST_P(IndependentEncoder, DecodesToTheSourceRgb) {
  const IndependentCase& c = GetParam();
  const std::string size = std::to_string(c.width) + "x" + std::to_string(c.height);
  const std::string source =
      "-f lavfi -i testsrc2=size=" + size + ":rate=1,format=gbrp,gblur=sigma=4,format=rgb24 -frames:v 1 ";
  const std::string truthPath = test::makeFixture("truth-blurred-" + size + ".png", source + "-c:v png -f image2");
  const std::string codedPath = test::makeFixture(c.fixture, source + c.encode);
  ASSERT_FALSE(truthPath.empty());
  ASSERT_FALSE(codedPath.empty());

  DecoderConfig png;
  png.codecType = 'png ';
  png.width = c.width;
  png.height = c.height;
  const TestImage truth = decodeOne(png, test::readFile(truthPath), kPixelFormatArgb32);

  DecoderConfig coded;
  coded.codecType = c.type;
  coded.width = c.width;
  coded.height = c.height;
  const TestImage decoded = decodeOne(coded, test::readFile(codedPath), kPixelFormatArgb32);
  const double psnr = test::psnrArgb(truth, decoded);
  EXPECT_GE(psnr, c.floor);
  RecordProperty("psnr", std::to_string(psnr));

  // The floor is tight enough to notice the other matrix.
  coded.matrix = c.height > 576 ? ColourMatrix::bt601 : ColourMatrix::bt709;
  const TestImage wrongMatrix = decodeOne(coded, test::readFile(codedPath), kPixelFormatArgb32);
  EXPECT_LT(test::psnrArgb(truth, wrongMatrix), c.floor);
  RecordProperty("wrongMatrixPsnr", std::to_string(test::psnrArgb(truth, wrongMatrix)));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(CliEncoded, IndependentEncoder, ::testing::Values(
  IndependentCase{"ProResHQ709", 'apch', 1280, 720,
    "-vf scale=out_color_matrix=bt709:out_range=tv -pix_fmt yuv422p10le -c:v prores_ks -profile:v 3 "
    "-colorspace bt709 -f rawvideo", "hq-blurred-1280x720.prores", 47},
  IndependentCase{"H264SD601", 'avc1', 640, 480,
    "-vf scale=out_color_matrix=bt601:out_range=tv -pix_fmt yuv420p -c:v libx264 -crf 8 "
    "-colorspace smpte170m -f h264", "sd-blurred-640x480.h264", 40},
  IndependentCase{"HevcTenBit709", 'hev1', 1280, 720,
    "-vf scale=out_color_matrix=bt709:out_range=tv -pix_fmt yuv420p10le -c:v libx265 -x265-params log-level=error:crf=12 "
    "-colorspace bt709 -f hevc", "hevc10-blurred-1280x720.hevc", 41},
  IndependentCase{"DvNtsc601", 'dvc ', 720, 480,
    "-vf scale=out_color_matrix=bt601:out_range=tv -pix_fmt yuv411p -c:v dvvideo -f rawvideo",
    "dv-blurred-720x480.dv", 37},
  IndependentCase{"JpegFullRange", 'jpeg', 640, 480,
    "-vf scale=out_color_matrix=bt601:out_range=pc -pix_fmt yuvj444p -c:v mjpeg -q:v 1 -f rawvideo",
    "full-blurred-640x480.jpg", 45}
), [](const auto& info) { return std::string(info.param.label); });
// clang-format on

// An 8-bit 4:2:0 picture of pseudo-random samples (a fixed sequence per seed).
ffmpeg::FramePtr noisyFourTwoZero(int width, int height, std::uint32_t state) {
  ffmpeg::FramePtr frame(av_frame_alloc());
  frame->format = AV_PIX_FMT_YUV420P;
  frame->width = width;
  frame->height = height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
  for (int plane = 0; plane < 3; ++plane) {
    for (int y = 0; y < (plane ? height / 2 : height); ++y) {
      for (int x = 0; x < (plane ? width / 2 : width); ++x) {
        state = state * 1664525u + 1013904223u;
        frame->data[plane][y * frame->linesize[plane] + x] = static_cast<std::uint8_t>(state >> 24);
      }
    }
  }
  return frame;
}

// The own 4:2:0 to '2vuy' packing must give libswscale's bytes exactly (the
// bilinear conversion the engine used for it before), across sizes whose
// chroma filter edges differ.
TEST(FourTwoZeroPacking, GivesLibswscaleBytes) {
  for (const auto& [width, height] : {std::pair{1920, 1080}, {96, 16}, {66, 38}, {720, 486}}) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    const ffmpeg::FramePtr frame = noisyFourTwoZero(width, height, 12345u);
    ASSERT_NE(frame, nullptr);
    ASSERT_TRUE(canPackPlanar420To2vuy(*frame));
    TestImage ours(kPixelFormat2vuy, width, height);
    packPlanar420To2vuy(*frame, test::viewOf(ours));

    ffmpeg::FramePtr packed(av_frame_alloc());
    packed->format = AV_PIX_FMT_UYVY422;
    packed->width = width;
    packed->height = height;
    ASSERT_GE(av_frame_get_buffer(packed.get(), 0), 0);
    SwsContext* sws = sws_getContext(width, height, AV_PIX_FMT_YUV420P, width, height, AV_PIX_FMT_UYVY422,
                                     SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP, nullptr,
                                     nullptr, nullptr);
    ASSERT_NE(sws, nullptr);
    sws_scale(sws, frame->data, frame->linesize, 0, height, packed->data, packed->linesize);
    sws_freeContext(sws);
    for (int y = 0; y < height; ++y) {
      ASSERT_EQ(std::memcmp(ours.bytes.data() + y * ours.bytesPerRow, packed->data[0] + y * packed->linesize[0],
                            static_cast<std::size_t>(width) * 2),
                0)
          << "row " << y;
    }
  }
}

// The one-pass packing through a colour matrix: with BT.601 video range (no
// change) it is the plain packing byte for byte; from BT.709 and from full
// range it is within one step of the matrix applied to 16-bit 4:4:4 and
// averaged over each pair, with the same vertical chroma filter.
TEST(FourTwoZeroPacking, ThroughAMatrixMatchesTheSixteenBitDetour) {
  for (const auto& [width, height] : {std::pair{1920, 1080}, {66, 38}, {18, 16}}) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    const ffmpeg::FramePtr frame = noisyFourTwoZero(width, height, 777u);
    ASSERT_NE(frame, nullptr);
    ASSERT_TRUE(canPackPlanar420To2vuyTransformed(*frame));
    TestImage plain(kPixelFormat2vuy, width, height), same(kPixelFormat2vuy, width, height);
    packPlanar420To2vuy(*frame, test::viewOf(plain));
    packPlanar420To2vuyTransformed(*frame, false, transformToExchange(ColourMatrix::bt601, false), test::viewOf(same));
    ASSERT_EQ(same.bytes, plain.bytes);

    for (const bool fullRange : {false, true}) {
      SCOPED_TRACE(fullRange ? "BT.709 full range" : "BT.709 video range");
      const YCbCrTransform transform = transformToExchange(ColourMatrix::bt709, fullRange);
      TestImage ours(kPixelFormat2vuy, width, height);
      packPlanar420To2vuyTransformed(*frame, fullRange, transform, test::viewOf(ours));
      // The detour: the plain packing's chroma (already filtered) spread over
      // 16-bit 4:4:4, the matrix there, each pair's chroma the mean of its two.
      ffmpeg::FramePtr wide(av_frame_alloc());
      wide->format = AV_PIX_FMT_YUV444P;
      wide->width = width;
      wide->height = height;
      ASSERT_GE(av_frame_get_buffer(wide.get(), 0), 0);
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
          const std::uint8_t* group = plain.bytes.data() + y * plain.bytesPerRow + 4 * (x / 2);
          wide->data[0][y * wide->linesize[0] + x] = frame->data[0][y * frame->linesize[0] + x];
          wide->data[1][y * wide->linesize[1] + x] = group[0];
          wide->data[2][y * wide->linesize[2] + x] = group[2];
        }
      }
      ffmpeg::FramePtr corrected(av_frame_alloc());
      corrected->format = AV_PIX_FMT_YUVA444P16LE;
      corrected->width = width;
      corrected->height = height;
      ASSERT_GE(av_frame_get_buffer(corrected.get(), 0), 0);
      transformPlanar(*wide, fullRange, transform, *corrected, false);
      TestImage detour(kPixelFormat2vuy, width, height);
      pack444To422(*corrected, test::viewOf(detour));
      int worst = 0;
      for (std::size_t i = 0; i < ours.bytes.size(); ++i)
        worst = std::max(worst, std::abs(ours.bytes[i] - detour.bytes[i]));
      EXPECT_LE(worst, 1);
      EXPECT_NE(ours.bytes, plain.bytes) << "the matrix was not applied";
    }
  }
}

}  // namespace
}  // namespace vqt::codecs
