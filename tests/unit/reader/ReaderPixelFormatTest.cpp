// Frame conversion by the pixel format a decompressor emits: 8-bit ARGB,
// 16-bit 'b64a' and 'b48r' (swapped from big-endian and scaled by 1/65536), a
// format without a conversion, and a codec that is not installed. The
// decompressors are registered to decode like Animation and emit a fixed format.
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <QuickTime/ImageCompression.h>

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

using Vantor::QuickTime::QuickTimeCodecReader;

namespace {

std::string fixture(const std::string& name) { return std::string(VQT_READER_UNIT_FIXTURES) + "/" + name; }

class ReaderPixelFormat : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    static bool registered = false;
    if (registered) return;
    registered = true;
    VqtICMRegisterDecompressor('vtst', 'rle ', 'v210', "Test v210");
    VqtICMRegisterDecompressor('vt64', 'rle ', 'b64a', "Test b64a");
    VqtICMRegisterDecompressor('vt48', 'rle ', 'b48r', "Test b48r");
  }

  // Decodes frame 1 of a 64x48 white movie; the result of decodeFrame.
  int decodeWhite(const char* name, std::vector<float>& frame) {
    QuickTimeCodecReader reader;
    if (reader.open(fixture(name), 1) != 0) return -1;
    frame.assign(64 * 48 * 4, -1.0f);
    return reader.decodeFrame(1, frame.data());
  }
};

TEST_F(ReaderPixelFormat, ArgbBytesScaleTo255ths) {
  std::vector<float> frame;
  ASSERT_EQ(decodeWhite("white.mov", frame), 0);
  for (float v : frame) ASSERT_EQ(v, 1.0f);
}

// White from an 8-bit source arrives as the word 0xFFFF, scaled by 1/65536:
// 1/65535 would give 1.0, an unswapped or inexactly widened word anything else.
constexpr float kWhiteWord = 65535.0f / 65536.0f;
bool isWhiteWord(float v) { return v == kWhiteWord; }

TEST_F(ReaderPixelFormat, SixteenBitWordsAreSwappedAndScaledBy65536ths) {
  std::vector<float> frame;
  ASSERT_EQ(decodeWhite("white-vt64.mov", frame), 0);
  for (float v : frame) ASSERT_TRUE(isWhiteWord(v)) << v;
  ASSERT_EQ(decodeWhite("white-vt48.mov", frame), 0);
  for (size_t i = 0; i < frame.size(); ++i) {
    if (i % 4 == 3) {
      ASSERT_EQ(frame[i], 1.0f) << "b48r has no alpha";
    } else {
      ASSERT_TRUE(isWhiteWord(frame[i])) << frame[i];
    }
  }
}

TEST_F(ReaderPixelFormat, FormatWithoutConversionIsCodeTwo) {
  std::vector<float> frame;
  testing::internal::CaptureStdout();
  EXPECT_EQ(decodeWhite("white-vtst.mov", frame), 2);
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_NE(printed.find("Unhandled pixel format: Component Y'CbCr 10-bit 4:2:2  (1983000880)\n"), std::string::npos)
      << printed;
  for (float v : frame) ASSERT_EQ(v, -1.0f);  // nothing written
}

TEST_F(ReaderPixelFormat, MissingCodecFailsEveryFrame) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("white-zzzz.mov"), 1), 0);
  std::vector<float> frame(64 * 48 * 4);
  testing::internal::CaptureStdout();
  EXPECT_EQ(reader.decodeFrame(1, frame.data()), 1);
  EXPECT_EQ(reader.decodeFrame(2, frame.data()), 1);
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(printed, "No suitable codec found for this movie\n") << "said once, not once a frame";
  std::map<std::string, std::string> description;
  reader.getStreamDescription(description);
  EXPECT_EQ(description["codec_id"], "zzzz");
  EXPECT_EQ(description.count("codec_manufacturer"), 0u);
}

}  // namespace
