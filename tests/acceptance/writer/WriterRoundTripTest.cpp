// Frames written by our writer and read back by our reader: lossless codecs
// give back exactly what went in at their precision; lossy ones stay within a
// measured floor. H.264 with B-frames is read back frame by frame, by our
// reader and by the ffmpeg CLI, each frame against the one written at its
// place.
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>

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
constexpr int kBFrames = 24;

// B, G, R, A floats of smooth waves that move by a twelfth of a period a
// frame: no hard edges for 4:2:0 chroma to smear, so the floor can be tight,
// while neighbouring frames differ by far more than it (mean 0.11).
std::vector<float> smoothFrame(int width, int height, int frame) {
  constexpr double kTwoPi = 6.283185307179586;
  std::vector<float> pixels(static_cast<std::size_t>(width) * height * 4);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      float* p = &pixels[(static_cast<std::size_t>(y) * width + x) * 4];
      const double u = static_cast<double>(x) / width, v = static_cast<double>(y) / height, t = frame / 12.0;
      p[0] = static_cast<float>(0.5 + 0.35 * std::sin(kTwoPi * (u + t)));
      p[1] = static_cast<float>(0.5 + 0.35 * std::sin(kTwoPi * (v + t)));
      p[2] = static_cast<float>(0.5 + 0.35 * std::sin(kTwoPi * ((u + v) / 2 + t)));
      p[3] = 1.0f;
    }
  return pixels;
}

// kBFrames frames made by `frameAt` through H.264 with a key frame every 12,
// at quality index `quality`; 0 on success.
int writeH264(const std::string& path, int width, int height, std::vector<float> (*frameAt)(int, int, int),
              int quality) {
  QuickTimeCodecWriter writer;
  if (!selectCodec(writer, "avc1")) return -1;
  writer.setCompressionSettings(width, height, 25.0f, 12, quality, false, "");
  if (const int opened = writer.openMovie(path, 1); opened != 0) return opened;
  for (int f = 0; f < kBFrames; ++f)
    if (const int result = writer.encodeFrame(f, frameAt(width, height, f).data(), false); result != 0) return result;
  writer.finishVideo();
  return writer.closeMovie(true);
}

// The bytes from the media data atom on (the header holds creation times).
std::string sampleData(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string contents((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const auto at = contents.find("mdat");
  return at == std::string::npos ? std::string() : contents.substr(at);
}

struct Difference {
  double max = 0.0;
  double psnr = 0.0;  // dB over R, G, B with a peak of 1
};

// `rgb(pixel, channel)` (R, G, B) against written B, G, R, A floats.
template <typename ReadChannel>
Difference differenceFrom(const std::vector<float>& written, ReadChannel rgb) {
  Difference result;
  double squares = 0.0;
  const std::size_t pixels = written.size() / 4;
  for (std::size_t p = 0; p < pixels; ++p)
    for (int c = 0; c < 3; ++c) {
      const double d = std::fabs(static_cast<double>(rgb(p, c)) - written[p * 4 + 2 - c]);
      result.max = std::max(result.max, d);
      squares += d * d;
    }
  result.psnr = 10.0 * std::log10(static_cast<double>(pixels * 3) / std::max(squares, 1e-12));
  return result;
}

}  // namespace

TEST(RoundTrip, WrittenFramesReadBackWithinEachCodecsFloor) {
  // 'raw ' and 'rle ' carry 8 bits and come back as the same bytes (within a
  // float rounding of k/255); 'png ' is fed 16-bit
  // 'b64a' and comes back within one step of 1/65536 (the reader scales words
  // by 1/65536). The test frames wrap from 1 to 0 in hard edges, which 4:2:2
  // and 4:2:0 chroma smear over a pixel or two: that, not the codec's
  // precision, sets the largest error of 'apch', so its mean carries the
  // judgement. Measured: apch max 0.354 mean 0.0029, ap4h max 0.0029 mean
  // 0.00038. H.264 has its own test below.
  const Floor floors[] = {{"raw ", 1e-6, 1e-7},
                          {"rle ", 1e-6, 1e-7},
                          {"png ", 2.0 / 65536, 1.0 / 65536},
                          {"ap4h", 0.004, 0.0005},
                          {"apch", 0.4, 0.004}};
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

TEST(RoundTrip, H264WithBFramesReadsBackFrameByFrameInOrder) {
  // Quality 4 (CRF 12): x264 reorders, so the frames go to the file out of
  // display order with their display offsets.
  const std::string folder = scratchFolder("roundtrip-bframes");
  const std::string path = folder + "/avc1.mov";
  ASSERT_EQ(writeH264(path, kWidth, kHeight, smoothFrame, 4), 0);
  // The movie really holds reordered frames: some packet shows before the one
  // decoded ahead of it.
  std::istringstream packets(run(std::string(VQT_FFPROBE) + " -v error -select_streams v:0 -show_entries packet=pts " +
                                 "-of csv=p=0 '" + path + "'"));
  long previous = -1, packetCount = 0;
  bool reordered = false;
  for (long pts = 0; packets >> pts; previous = pts, ++packetCount) reordered |= pts < previous;
  EXPECT_EQ(packetCount, kBFrames);
  EXPECT_TRUE(reordered) << "x264 made no B-frames: the test no longer covers reordering";

  // Each frame as our reader and the ffmpeg CLI decode it, against the frame
  // written at its place. Measured: our reader max 0.052, PSNR 40.4-41.6 dB;
  // the CLI max 0.048, PSNR 40.5-41.2 dB (8-bit 4:2:0). A frame shown one
  // place early or late is off by up to 0.18 (about 20 dB); unwritten rows
  // are off by 0.85.
  constexpr double kMaxError = 0.065, kMinPsnr = 38.0;
  const std::string raw =
      run(std::string(VQT_FFMPEG) + " -v error -nostdin -i '" + path + "' -f rawvideo -pix_fmt rgb48le -");
  const std::size_t frameBytes = static_cast<std::size_t>(kWidth) * kHeight * 6;
  ASSERT_EQ(raw.size(), frameBytes * kBFrames);
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(path, 1), 0);
  ASSERT_EQ(reader.getFrameCount(), kBFrames);
  std::vector<float> decoded(static_cast<std::size_t>(kWidth) * kHeight * 4);
  for (int f = 0; f < kBFrames; ++f) {
    ASSERT_EQ(reader.decodeFrame(f + 1, decoded.data()), 0) << "frame " << f;
    const auto* words = reinterpret_cast<const std::uint8_t*>(raw.data() + frameBytes * f);
    const auto written = smoothFrame(kWidth, kHeight, f);
    const Difference ours = differenceFrom(written, [&](std::size_t p, int c) { return decoded[p * 4 + c]; });
    const Difference cli = differenceFrom(written, [&](std::size_t p, int c) {
      const std::size_t at = (p * 3 + c) * 2;
      return (words[at] | (words[at + 1] << 8)) / 65535.0;
    });
    std::printf("avc1 B-frames, frame %d: our reader max %.4f PSNR %.2f dB, ffmpeg CLI max %.4f PSNR %.2f dB\n", f,
                ours.max, ours.psnr, cli.max, cli.psnr);
    for (const Difference& d : {ours, cli}) {
      EXPECT_LE(d.max, kMaxError) << "frame " << f;
      EXPECT_GE(d.psnr, kMinPsnr) << "frame " << f;
    }
  }
}

TEST(RoundTrip, H264WritersAtOnceWriteTheSameSamplesAsOneAlone) {
  // Moving hard edges at CRF 18, six macroblocks wide, where x264's AVX-512
  // code made different movies from one encoder to the next in a process
  // once an earlier one had run: one writer alone, then two rounds of two
  // at once (the second round's threads reuse the first one's memory).
  const std::string folder = scratchFolder("h264-at-once");
  ASSERT_EQ(writeH264(folder + "/alone.mov", 96, 64, testFrame, 3), 0);
  const std::string alone = sampleData(folder + "/alone.mov");
  for (int round = 0; round < 2; ++round) {
    ASSERT_EQ(writeH264(folder + "/again.mov", 96, 64, testFrame, 3), 0);
    EXPECT_TRUE(sampleData(folder + "/again.mov") == alone) << "round " << round << " alone again";
    int results[2] = {-1, -1};
    std::vector<std::thread> writers;
    for (int i = 0; i < 2; ++i)
      writers.emplace_back(
          [&, i] { results[i] = writeH264(folder + "/" + std::to_string(i) + ".mov", 96, 64, testFrame, 3); });
    for (std::thread& writer : writers) writer.join();
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(results[i], 0);
      EXPECT_TRUE(sampleData(folder + "/" + std::to_string(i) + ".mov") == alone)
          << "round " << round << " writer " << i;
    }
  }
}
