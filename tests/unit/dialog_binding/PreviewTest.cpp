// The preview: the sample picture through a real compressor and decompressor.
#include <gtest/gtest.h>

#include <cstdlib>

#include "PreviewCompressor.h"
#include "SamplePicture.h"

namespace vqt::binding {
namespace {

// Mean absolute difference of the colour channels against the sample picture.
double errorOf(const dialogs::PreviewResult& preview) {
  const dialogs::RgbaImage& sample = samplePicture();
  EXPECT_TRUE(preview.error.empty()) << preview.error;
  if (preview.image.pixels.size() != sample.pixels.size()) return 1e9;
  double sum = 0;
  for (std::size_t i = 0; i < sample.pixels.size(); ++i)
    if (i % 4 != 3) sum += std::abs(int(preview.image.pixels[i]) - int(sample.pixels[i]));
  return sum / double(sample.pixels.size() / 4 * 3);
}

dialogs::PreviewResult previewAt(dialogs::FourCC codec, std::uint32_t quality) {
  dialogs::ImageSettings settings;
  settings.codecType = codec;
  settings.spatialQuality = quality;
  return compressPreview(samplePicture(), settings);
}

TEST(DialogBindingPreview, ProResAndH264GiveThePictureBackAtTheChosenQuality) {
  EXPECT_LT(errorOf(previewAt('apcn', dialogs::kHighQuality)), 3.0);
  const double h264High = errorOf(previewAt('avc1', dialogs::kHighQuality));
  EXPECT_LT(h264High, 6.0);
  EXPECT_GT(errorOf(previewAt('avc1', dialogs::kMinQuality)), h264High);
}

TEST(DialogBindingPreview, WithoutACompressorThereIsATextInsteadOfAPicture) {
  const dialogs::PreviewResult preview = previewAt('zzzz', dialogs::kNormalQuality);
  EXPECT_FALSE(preview.image.valid());
  EXPECT_NE(preview.error.find("No compressor"), std::string::npos) << preview.error;
}

}  // namespace
}  // namespace vqt::binding
