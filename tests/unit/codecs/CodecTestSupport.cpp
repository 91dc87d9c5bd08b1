#include "CodecTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace vqt::codecs::test {

std::vector<TestImage> roundTrip(const EncoderConfig& config, const std::vector<TestImage>& frames,
                                 FourCC outputFormat) {
  std::unique_ptr<Encoder> encoder;
  const Status created = Encoder::create(config, encoder);
  if (created != Status::ok) {
    ADD_FAILURE() << "encoder for '"
                  << std::string{char(config.codecType >> 24), char(config.codecType >> 16),
                                 char(config.codecType >> 8), char(config.codecType)}
                  << "' not created: " << static_cast<int>(created);
    return {};
  }
  std::vector<EncodedFrame> packets;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(encoder->encode(test::constViewOf(frames[i]), static_cast<std::int64_t>(i) * 100, 100, packets),
              Status::ok);
  }
  EXPECT_EQ(encoder->finish(packets), Status::ok);
  EXPECT_EQ(packets.size(), frames.size());

  DecoderConfig decoderConfig;
  decoderConfig.codecType = config.codecType;
  decoderConfig.width = config.width;
  decoderConfig.height = config.height;
  decoderConfig.depth = config.depth;
  decoderConfig.configAtomType = encoder->configAtomType();
  decoderConfig.configAtom = encoder->configAtom();
  std::unique_ptr<Decoder> decoder;
  if (Decoder::create(decoderConfig, decoder) != Status::ok) {
    ADD_FAILURE() << "decoder not created";
    return {};
  }
  std::vector<Picture> pictures;
  for (std::size_t i = 0; i < packets.size(); ++i) {
    EXPECT_EQ(decoder->send(packets[i].data, static_cast<std::int64_t>(i), pictures), Status::ok);
  }
  EXPECT_EQ(decoder->releaseHeldPictures(pictures), Status::ok);
  std::sort(pictures.begin(), pictures.end(),
            [](const Picture& a, const Picture& b) { return a.outputOrder() < b.outputOrder(); });
  std::vector<TestImage> decoded;
  for (const Picture& picture : pictures) {
    // A stream coded larger than the picture (4:2:0 HEVC at an odd size) is
    // shown from its top left, as the sessions' clients do.
    TestImage whole(outputFormat, picture.width(), picture.height());
    EXPECT_EQ(decoder->convert(picture, test::viewOf(whole)), Status::ok);
    EXPECT_GE(whole.width, config.width);
    EXPECT_GE(whole.height, config.height);
    TestImage image(outputFormat, config.width, config.height);
    const std::size_t rowBytes = std::min(image.bytesPerRow, whole.bytesPerRow);
    for (int y = 0; y < std::min(image.height, whole.height); ++y)
      std::memcpy(image.bytes.data() + y * image.bytesPerRow, whole.bytes.data() + y * whole.bytesPerRow, rowBytes);
    decoded.push_back(std::move(image));
  }
  return decoded;
}

}  // namespace vqt::codecs::test
