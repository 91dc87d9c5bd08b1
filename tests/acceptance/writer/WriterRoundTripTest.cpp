// Frames written by our writer and read back by our reader: lossless codecs
// give back exactly what went in at their precision; lossy ones stay within a
// measured floor.
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <cmath>
#include <cstdio>

#include "WriterHelpers.h"

using namespace WriterAcceptance;
using Vantor::QuickTime::QuickTimeCodecReader;
using Vantor::QuickTime::QuickTimeCodecWriter;

namespace {

struct Floor {
  const char* codec;
  double maxError;   // largest channel difference allowed
  double meanError;  // mean channel difference allowed
};

constexpr int kWidth = 128;
constexpr int kHeight = 96;
constexpr int kFrames = 4;

}  // namespace

TEST(RoundTrip, WrittenFramesReadBackWithinEachCodecsFloor) {
  // 'raw ' and 'rle ' carry 8 bits and come back as the same bytes (within a
  // float rounding of k/255); 'png ' is fed 16-bit
  // 'b64a' and comes back within one step of 1/65536 (the reader scales words
  // by 1/65536). The test frames wrap from 1 to 0 in hard edges, which 4:2:2
  // and 4:2:0 chroma smear over a pixel or two: that, not the codec's
  // precision, sets the largest error of 'apch' and 'avc1', so their means
  // carry the judgement. Measured: apch max 0.354 mean 0.0029, ap4h max 0.0029
  // mean 0.00038, avc1 max 0.93 mean 0.018.
  const Floor floors[] = {{"raw ", 1e-6, 1e-7},   {"rle ", 1e-6, 1e-7},     {"png ", 2.0 / 65536, 1.0 / 65536},
                          {"ap4h", 0.004, 0.0005}, {"apch", 0.4, 0.004},  {"avc1", 1.0, 0.025}};
  const auto folder = scratchFolder("roundtrip");
  for (const Floor& floor : floors) {
    const std::string path = folder + "/" + std::string(floor.codec, 3) + ".mov";
    {
      QuickTimeCodecWriter writer;
      if (!selectCodec(writer, floor.codec)) continue;
      writer.setCompressionSettings(kWidth, kHeight, 25.0f, 1, 5, true, "");
      ASSERT_EQ(writer.openMovie(path, 1), 0) << floor.codec;
      ASSERT_EQ(encodeTestFrames(writer, kWidth, kHeight, kFrames), 0) << floor.codec;
      writer.finishVideo();
      ASSERT_EQ(writer.closeMovie(true), 0) << floor.codec;
    }
    QuickTimeCodecReader reader;
    ASSERT_EQ(reader.open(path, 1), 0) << floor.codec;
    ASSERT_EQ(reader.getFrameCount(), kFrames) << floor.codec;
    std::vector<float> decoded(static_cast<std::size_t>(kWidth) * kHeight * 4);
    double worst = 0.0, sum = 0.0;
    std::size_t count = 0;
    for (int f = 0; f < kFrames; ++f) {
      // The reader counts frames from 1, the writer from 0.
      ASSERT_EQ(reader.decodeFrame(f + 1, decoded.data()), 0) << floor.codec << " frame " << f;
      const auto written = testFrame(kWidth, kHeight, f);
      for (std::size_t p = 0; p < decoded.size(); p += 4)
        for (int c = 0; c < 3; ++c) {  // decoded R, G, B against written B, G, R
          const double difference = std::fabs(static_cast<double>(decoded[p + c]) - written[p + 2 - c]);
          worst = std::max(worst, difference);
          sum += difference;
          ++count;
        }
    }
    const double mean = sum / static_cast<double>(count);
    std::printf("round trip %s: max %.6f mean %.6f\n", floor.codec, worst, mean);
    EXPECT_LE(worst, floor.maxError) << floor.codec;
    EXPECT_LE(mean, floor.meanError) << floor.codec;
    reader.close();
  }
}
