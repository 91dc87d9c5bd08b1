// Encode/decode helpers for the codec engine tests, over the shared test pictures.
#pragma once

#include <vector>

#include "TestImages.h"
#include "vqt/codecs/Decoder.h"
#include "vqt/codecs/Encoder.h"

namespace vqt::codecs::test {

using namespace vqt::test;

inline ImageView viewOf(TestImage& image) {
  return {image.format, image.width, image.height, static_cast<std::ptrdiff_t>(image.bytesPerRow), image.bytes.data()};
}
inline ConstImageView constViewOf(const TestImage& image) {
  return {image.format, image.width, image.height, static_cast<std::ptrdiff_t>(image.bytesPerRow), image.bytes.data()};
}

// Encodes `frames` with `config`, then decodes every frame into `outputFormat`.
// Fails the test (ADD_FAILURE) and returns fewer frames when something breaks.
std::vector<TestImage> roundTrip(const EncoderConfig& config, const std::vector<TestImage>& frames,
                                 FourCC outputFormat);

}  // namespace vqt::codecs::test
