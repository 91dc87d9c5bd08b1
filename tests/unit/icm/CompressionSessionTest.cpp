#include <gtest/gtest.h>

#include <set>

#include "IcmTestSupport.h"

namespace vqt::icm::test {
namespace {

struct SessionRoundTrip {
  const char* label;
  CodecType codec;
  OSType input;  // 32 or 'r4fl'
  double floor;  // dB over R, G, B of the decoded 32-bit ARGB
  UInt32 depth = 24;
};

std::ostream& operator<<(std::ostream& out, const SessionRoundTrip& c) { return out << c.label; }

class CompressionRoundTrip : public ::testing::TestWithParam<SessionRoundTrip> {};

TEST_P(CompressionRoundTrip, FramesComeBackThroughBothSessions) {
  const SessionRoundTrip& c = GetParam();
  const long buffers = VqtCVPixelBufferLiveCount();
  std::vector<TestImage> sources, inputs;
  // DV has one frame size; DNxHR needs at least 256 x 120.
  const int width = c.codec == 'dvcp' ? 720 : 256;
  const int height = c.codec == 'dvcp' ? 576 : 144;
  for (int i = 0; i < 5; ++i) {
    sources.push_back(makeArgbPattern(width, height, i));
    inputs.push_back(c.input == 32 ? sources.back() : argbToYCbCr(sources.back(), c.input));
  }
  CompressionSettings settings{c.codec, 3, true};
  settings.depth = c.depth;
  Compressed compressed = compress(settings, inputs);
  ASSERT_EQ(compressed.result, noErr);
  ASSERT_EQ(compressed.frames.size(), sources.size());
  ASSERT_NE(compressed.description, nullptr);
  EXPECT_EQ((**compressed.description).cType, c.codec);
  EXPECT_EQ((**compressed.description).width, width);
  {
    DecompressionRecorder recorder(compressed.description);
    ASSERT_EQ(recorder.created(), noErr);
    for (std::size_t i = 0; i < compressed.frames.size(); ++i)
      ASSERT_EQ(recorder.decode(compressed.frames, i, icmFrameTimeDecodeImmediately), noErr);
    ASSERT_EQ(ICMDecompressionSessionFlush(recorder.session()), noErr);
    ASSERT_EQ(recorder.calls.size(), sources.size());
    for (std::size_t i = 0; i < recorder.calls.size(); ++i) {
      // Emitted in display order.
      EXPECT_GE(psnrArgb(recorder.calls[i].pixels, sources[i]), c.floor) << "frame " << i;
    }
  }
  DisposeHandle(reinterpret_cast<Handle>(compressed.description));
  EXPECT_EQ(VqtCVPixelBufferLiveCount(), buffers);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(WritableCodecs, CompressionRoundTrip, ::testing::Values(
  SessionRoundTrip{"ProResProxy", 'apco', 'r4fl', 45},
  SessionRoundTrip{"ProResLT", 'apcs', 'r4fl', 48},
  SessionRoundTrip{"ProRes422", 'apcn', 'r4fl', 50},
  SessionRoundTrip{"ProResHQ", 'apch', 'r4fl', 50},
  SessionRoundTrip{"ProRes4444", 'ap4h', 'r4fl', 52, 32},
  SessionRoundTrip{"ProRes4444XQ", 'ap4x', 'r4fl', 52},
  SessionRoundTrip{"H264", 'avc1', 32, 38},
  SessionRoundTrip{"Mpeg4", 'mp4v', 32, 36},
  SessionRoundTrip{"PhotoJpeg", 'jpeg', 32, 40},
  SessionRoundTrip{"Png", 'png ', 32, 99},
  SessionRoundTrip{"Animation", 'rle ', 32, 99},
  SessionRoundTrip{"Raw", 'raw ', 32, 99, 32},
  SessionRoundTrip{"TwoVuy", '2vuy', 32, 40},
  SessionRoundTrip{"V210", 'v210', 'r4fl', 50},
  SessionRoundTrip{"Dnxhr", 'AVdn', 32, 40},
  SessionRoundTrip{"DvPal", 'dvcp', 32, 40}
), [](const auto& info) { return std::string(info.param.label); });
// clang-format on

TEST(CompressionSession, EncodedFramesReportReorderingSyncAndTheirDescription) {
  std::vector<TestImage> frames;  // flag 1 of a frame: not a sync sample
  for (int i = 0; i < 20; ++i) frames.push_back(makeArgbPattern(128, 96, i));
  Compressed reordered = compress({'avc1', 10, true}, frames);
  ASSERT_EQ(reordered.result, noErr);
  ASSERT_EQ(reordered.frames.size(), 20u);
  EXPECT_EQ(reordered.frames[0].flags & 1u, 0u) << "the first frame is a sync sample";
  int notSync = 0;
  std::set<TimeValue64> offsets;
  for (const CollectedFrame& frame : reordered.frames) {
    notSync += (frame.flags & 1u) != 0;
    offsets.insert(frame.displayOffset);
    EXPECT_EQ(frame.decodeDuration, 100);
  }
  EXPECT_GT(notSync, 10);
  EXPECT_GT(offsets.size(), 1u) << "B-frames give different display offsets";
  // Decode times start at the first display time: the first frame shows at once
  // and a B-frame shows before the frame decoded ahead of it.
  EXPECT_EQ(reordered.frames[0].displayOffset, 0);
  EXPECT_LT(*offsets.begin(), 0);
  long avcC = 0;
  EXPECT_EQ(CountImageDescriptionExtensionType(reordered.description, 'avcC', &avcC), noErr);
  EXPECT_EQ(avcC, 1);
  const PixelAspectRatioImageDescriptionExtension pasp{2000, 1000};
  EXPECT_EQ(ICMImageDescriptionSetProperty(reordered.description, kQTPropertyClass_ImageDescription,
                                           kICMImageDescriptionPropertyID_PixelAspectRatio, sizeof pasp, &pasp),
            noErr);
  DisposeHandle(reinterpret_cast<Handle>(reordered.description));

  Compressed inOrder = compress({'avc1', 10, false}, frames);
  ASSERT_EQ(inOrder.frames.size(), 20u);
  for (const CollectedFrame& frame : inOrder.frames) EXPECT_EQ(frame.displayOffset, 0);
  DisposeHandle(reinterpret_cast<Handle>(inOrder.description));
}

TEST(CompressionSession, TenBitPixelsGoThroughV210Unchanged) {
  // 'v210' pixels from a ProRes frame, encoded as 'v210', come back bit for bit.
  const TestImage r4fl = argbToYCbCr(makeArgbPattern(96, 16), 'r4fl');
  Compressed prores = compress({'apch'}, {r4fl});
  ASSERT_EQ(prores.result, noErr);
  DecompressionRecorder recorder(prores.description, k422YpCbCr10CodecType);
  ASSERT_EQ(recorder.created(), noErr);
  recorder.decode(prores.frames, 0, icmFrameTimeDecodeImmediately);
  ICMDecompressionSessionFlush(recorder.session());
  ASSERT_EQ(recorder.calls.size(), 1u);
  const TestImage& v210 = recorder.calls[0].pixels;
  Compressed again = compress({'v210'}, {v210});
  ASSERT_EQ(again.result, noErr);
  ASSERT_EQ(again.frames.size(), 1u);
  EXPECT_EQ(again.frames[0].data, v210.bytes);
  DisposeHandle(reinterpret_cast<Handle>(prores.description));
  DisposeHandle(reinterpret_cast<Handle>(again.description));
}

TEST(CompressionSession, DepthThirtyTwoKeepsAlphaOnlyWhereTheCodecCan) {
  for (auto [codec, expected] : {std::pair{CodecType{'ap4h'}, 32}, std::pair{CodecType{'apcn'}, 24}}) {
    CompressionSettings settings{codec};
    settings.depth = 32;
    Compressed compressed = compress(settings, {argbToYCbCr(makeArgbPattern(64, 32, 0, true), 'r4fl')});
    ASSERT_EQ(compressed.result, noErr);
    EXPECT_EQ((**compressed.description).depth, expected);
    DisposeHandle(reinterpret_cast<Handle>(compressed.description));
  }
}

TEST(CompressionSession, RefusesCodecsWithoutACompressorAndBadFrames) {
  ICMCompressionSessionRef session = nullptr;
  EXPECT_EQ(ICMCompressionSessionCreate(nullptr, 64, 64, 'hev1', 600, nullptr, nullptr, nullptr, &session), noCodecErr);
  EXPECT_EQ(ICMCompressionSessionCreate(nullptr, 64, 64, 'zzzz', 600, nullptr, nullptr, nullptr, &session), noCodecErr);
  EXPECT_EQ(session, nullptr);
  ASSERT_EQ(ICMCompressionSessionCreate(nullptr, 64, 64, 'png ', 600, nullptr, nullptr, nullptr, &session), noErr);
  CVPixelBufferRef wrongSize = pixelBufferFrom(makeArgbPattern(32, 32));
  EXPECT_EQ(ICMCompressionSessionEncodeFrame(session, wrongSize, 0, 1, 3, nullptr, nullptr, nullptr), paramErr);
  CVPixelBufferRelease(wrongSize);
  // Released with a frame never completed: nothing leaks, nothing is called.
  CVPixelBufferRef frame = pixelBufferFrom(makeArgbPattern(64, 64));
  EXPECT_EQ(ICMCompressionSessionEncodeFrame(session, frame, 0, 1, 3, nullptr, nullptr, nullptr), noErr);
  CVPixelBufferRelease(frame);
  ICMCompressionSessionRelease(session);
}

}  // namespace
}  // namespace vqt::icm::test
