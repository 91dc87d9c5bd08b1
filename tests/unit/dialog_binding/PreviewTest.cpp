// The preview: the sample picture through a real compressor and decompressor.
#include <gtest/gtest.h>

#include <QuickTime/ImageCompression.h>

#include <cstdlib>

#include "PreviewCompressor.h"
#include "SamplePicture.h"

namespace vqt::binding {
namespace {

bool installed(CodecType type) {
  ComponentDescription looking{compressorComponentType, type, 0, 0, cmpIsMissing};
  return FindNextComponent(nullptr, &looking) != nullptr;
}

// Mean absolute difference of the colour channels.
double colourError(const dialogs::RgbaImage& a, const dialogs::RgbaImage& b) {
  double sum = 0;
  for (std::size_t i = 0; i < a.pixels.size(); ++i) {
    if (i % 4 != 3) sum += std::abs(int(a.pixels[i]) - int(b.pixels[i]));
  }
  return sum / double(a.pixels.size() / 4 * 3);
}

TEST(DialogBindingPreview, TheSamplePictureHasDetailColourAndASoftAlphaRamp) {
  const dialogs::RgbaImage& picture = samplePicture();
  ASSERT_TRUE(picture.valid());
  auto at = [&](int x, int y, int channel) { return picture.pixels[std::size_t((y * picture.width + x) * 4 + channel)]; };
  EXPECT_EQ(at(10, 10, 3), 255);
  EXPECT_LT(at(picture.width - 1, 10, 3), 100);
  EXPECT_GT(at(picture.width * 3 / 4, 10, 3), at(picture.width - 1, 10, 3));
  // Colour bars: white, then pure primaries and secondaries at 75%.
  EXPECT_EQ(at(5, picture.height - 5, 0), 191);
  EXPECT_EQ(at(picture.width * 6 / 7 + 5, picture.height - 5, 2), 191);
  EXPECT_EQ(at(picture.width * 6 / 7 + 5, picture.height - 5, 0), 0);
}

TEST(DialogBindingPreview, ProResAndH264GiveAPictureCloseToTheSample) {
  for (CodecType codec : {CodecType('apcn'), CodecType('avc1')}) {
    ASSERT_TRUE(installed(codec)) << dialogs::fourCCText(codec);
    dialogs::ImageSettings settings;
    settings.codecType = codec;
    settings.spatialQuality = dialogs::kHighQuality;
    const dialogs::PreviewResult preview = compressPreview(samplePicture(), settings);
    ASSERT_TRUE(preview.error.empty()) << preview.error;
    ASSERT_TRUE(preview.image.valid());
    EXPECT_EQ(preview.image.width, samplePicture().width);
    EXPECT_EQ(preview.image.height, samplePicture().height);
    EXPECT_LT(colourError(preview.image, samplePicture()), 6.0) << dialogs::fourCCText(codec);
  }
}

TEST(DialogBindingPreview, LowerQualityLosesMore) {
  if (!installed('avc1')) GTEST_SKIP() << "no H.264 compressor";
  dialogs::ImageSettings low, high;
  low.codecType = high.codecType = 'avc1';
  low.spatialQuality = dialogs::kMinQuality;
  high.spatialQuality = dialogs::kMaxQuality;
  const double lowError = colourError(compressPreview(samplePicture(), low).image, samplePicture());
  const double highError = colourError(compressPreview(samplePicture(), high).image, samplePicture());
  EXPECT_GT(lowError, highError);
}

TEST(DialogBindingPreview, AnUnknownCodecGivesATextInsteadOfAPicture) {
  dialogs::ImageSettings settings;
  settings.codecType = 'zzzz';
  const dialogs::PreviewResult preview = compressPreview(samplePicture(), settings);
  EXPECT_FALSE(preview.image.valid());
  EXPECT_NE(preview.error.find("No compressor"), std::string::npos) << preview.error;
  EXPECT_FALSE(compressPreview(dialogs::RgbaImage{}, settings).error.empty());
}

}  // namespace
}  // namespace vqt::binding
