#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "IcmTestSupport.h"

namespace vqt::icm::test {
namespace {

constexpr SInt32 kShow = icmFrameTimeDecodeImmediately;
constexpr SInt32 kHide = icmFrameTimeDoNotDisplay;
constexpr ICMDecompressionTrackingFlags kReleased =
    kICMDecompressionTracking_ReleaseSourceData | kICMDecompressionTracking_LastCall;

std::vector<TestImage> argbFrames(int count, int width = 160, int height = 120) {
  std::vector<TestImage> frames;
  for (int i = 0; i < count; ++i) frames.push_back(makeArgbPattern(width, height, i));
  return frames;
}

class DecompressionSession : public ::testing::Test {
 protected:
  void SetUp() override {
    buffers_ = VqtCVPixelBufferLiveCount();
    objects_ = VqtCFLiveObjectCount();
  }
  void TearDown() override {
    EXPECT_EQ(VqtCVPixelBufferLiveCount(), buffers_) << "pixel buffers leaked";
    EXPECT_EQ(VqtCFLiveObjectCount(), objects_) << "Core Foundation objects leaked";
  }
  long buffers_ = 0;
  long objects_ = 0;
};

TEST_F(DecompressionSession, HiddenFramesAreDecodedButOnlyTheShownOneIsEmittedLast) {
  const std::vector<TestImage> sources = argbFrames(4);
  Compressed compressed = compress({'apcn'}, sources);
  ASSERT_EQ(compressed.result, noErr);
  ASSERT_EQ(compressed.frames.size(), 4u);
  {
    DecompressionRecorder recorder(compressed.description);
    ASSERT_EQ(recorder.created(), noErr);
    for (std::size_t i = 0; i < 4; ++i) ASSERT_EQ(recorder.decode(compressed.frames, i, i == 2 ? kShow : kHide), noErr);
    EXPECT_TRUE(recorder.calls.empty()) << "nothing is emitted before the flush";
    ASSERT_EQ(ICMDecompressionSessionFlush(recorder.session()), noErr);
    ASSERT_EQ(recorder.calls.size(), 4u);
    std::set<void*> refCons;
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(recorder.calls[i].result, noErr);
      EXPECT_EQ(recorder.calls[i].flags, kReleased | kICMDecompressionTracking_DecodedFrame);
      EXPECT_FALSE(recorder.calls[i].hadBuffer);
      refCons.insert(recorder.calls[i].refCon);
    }
    const TrackingCall& shown = recorder.calls[3];
    EXPECT_EQ(shown.flags,
              kReleased | kICMDecompressionTracking_DecodedFrame | kICMDecompressionTracking_EmittingFrame);
    EXPECT_EQ(shown.refCon, &compressed.frames[2]);
    refCons.insert(shown.refCon);
    EXPECT_EQ(refCons.size(), 4u) << "each source frame is released exactly once";
    EXPECT_GE(psnrArgb(shown.pixels, sources[2]), 45);
    EXPECT_LT(psnrArgb(shown.pixels, sources[0]), 40) << "the shown frame is the one asked for";
    ASSERT_EQ(ICMDecompressionSessionFlush(recorder.session()), noErr);
    EXPECT_EQ(recorder.calls.size(), 4u) << "a second flush has nothing to emit";
  }
  DisposeHandle(reinterpret_cast<Handle>(compressed.description));
}

TEST_F(DecompressionSession, ReleasingWithoutFlushGivesTheSourceDataBack) {
  Compressed compressed = compress({'jpeg'}, argbFrames(2));
  ASSERT_EQ(compressed.result, noErr);
  DecompressionRecorder recorder(compressed.description);
  recorder.decode(compressed.frames, 0, kShow);
  recorder.decode(compressed.frames, 1, kShow);
  ICMDecompressionSessionRetain(recorder.session());
  ICMDecompressionSessionRelease(recorder.session());
  EXPECT_TRUE(recorder.calls.empty()) << "one reference is still held";
  recorder.releaseSession();
  ASSERT_EQ(recorder.calls.size(), 2u);
  for (const TrackingCall& call : recorder.calls) {
    EXPECT_EQ(call.flags, kReleased);
    EXPECT_FALSE(call.hadBuffer);
  }
  EXPECT_NE(recorder.calls[0].refCon, recorder.calls[1].refCon);
  DisposeHandle(reinterpret_cast<Handle>(compressed.description));
}

TEST_F(DecompressionSession, AClientThatNeverFlushesStillGetsItsFrames) {
  Compressed compressed = compress({'png '}, argbFrames(40, 32, 16));
  ASSERT_EQ(compressed.result, noErr);
  DecompressionRecorder recorder(compressed.description);
  for (std::size_t i = 0; i < 40; ++i) recorder.decode(compressed.frames, i, kShow);
  ASSERT_EQ(recorder.calls.size(), 32u) << "flushed by itself at 32 frames to show";
  for (std::size_t i = 0; i < 32; ++i) EXPECT_EQ(recorder.calls[i].refCon, &compressed.frames[i]);
  ICMDecompressionSessionFlush(recorder.session());
  EXPECT_EQ(recorder.calls.size(), 40u);
  DisposeHandle(reinterpret_cast<Handle>(compressed.description));
}

TEST_F(DecompressionSession, EmitsEveryExchangedPixelFormat) {
  const TestImage source = makeArgbPattern(96, 64);
  const TestImage r4fl = argbToYCbCr(source, 'r4fl');
  Compressed compressed = compress({'apch'}, {r4fl});
  ASSERT_EQ(compressed.result, noErr);
  for (OSType format :
       {OSType{32}, OSType{'b64a'}, OSType{'b48r'}, OSType{'2vuy'}, OSType{'yuvs'}, OSType{'r408'}, OSType{'r4fl'}}) {
    DecompressionRecorder recorder(compressed.description, format);
    ASSERT_EQ(recorder.created(), noErr);
    recorder.decode(compressed.frames, 0, kShow);
    ICMDecompressionSessionFlush(recorder.session());
    ASSERT_EQ(recorder.calls.size(), 1u);
    const TestImage& pixels = recorder.calls[0].pixels;
    EXPECT_EQ(pixels.format, format);
    if (format == 32) {
      EXPECT_GE(psnrArgb(pixels, source), 45);
    } else if (format == 'r4fl') {
      EXPECT_GE(psnrR4fl(pixels, r4fl), 50);
    }
  }
  DecompressionRecorder unknown(compressed.description, 'zzzz');
  EXPECT_EQ(unknown.created(), codecUnimpErr);
  DisposeHandle(reinterpret_cast<Handle>(compressed.description));
}

TEST_F(DecompressionSession, ARegisteredDecompressorEmitsItsOwnFormatWhateverIsAsked) {
  const TestImage source = makeArgbPattern(20, 8);  // not a multiple of 6: a partial last group
  const TestImage r4fl = argbToYCbCr(source, 'r4fl');
  Compressed compressed = compress({'v210'}, {r4fl});
  ASSERT_EQ(compressed.result, noErr);
  Component component = VqtICMRegisterDecompressor('zv2e', 'v210', k422YpCbCr10CodecType, "Emits v210");
  ASSERT_NE(component, nullptr);
  (**compressed.description).cType = 'zv2e';
  {
    DecompressionRecorder recorder(compressed.description, k32ARGBPixelFormat);
    ASSERT_EQ(recorder.created(), noErr);
    recorder.decode(compressed.frames, 0, kShow);
    ICMDecompressionSessionFlush(recorder.session());
    ASSERT_EQ(recorder.calls.size(), 1u);
    const TrackingCall& call = recorder.calls[0];
    EXPECT_EQ(call.pixels.format, k422YpCbCr10CodecType);
    // 'v210' is the encoder's input of this codec: its bytes are the sample itself, padded to 128-byte rows.
    ASSERT_EQ(compressed.frames[0].data.size(), 128u * 8);
    for (int y = 0; y < 8; ++y) {
      const auto row = call.pixels.bytes.begin() + 128 * y;
      EXPECT_TRUE(std::equal(row, row + 48, compressed.frames[0].data.begin() + 128 * y)) << "row " << y;
    }
  }
  UnregisterComponent(component);
  DisposeHandle(reinterpret_cast<Handle>(compressed.description));
}

TEST_F(DecompressionSession, NoDecompressorMeansNoCodecErr) {
  ImageDescriptionHandle unknown = VqtNewImageDescription('zzzz', 64, 64);
  DecompressionRecorder none(unknown);
  EXPECT_EQ(none.created(), noCodecErr);

  VqtComponentRegistration missing;
  missing.description = {'imdc', 'zms2', 'test', cmpIsMissing, 0};
  Component component = VqtRegisterComponent(missing);
  (**unknown).cType = 'zms2';
  DecompressionRecorder missingOne(unknown);
  EXPECT_EQ(missingOne.created(), noCodecErr);
  UnregisterComponent(component);
  DisposeHandle(reinterpret_cast<Handle>(unknown));
}

}  // namespace
}  // namespace vqt::icm::test
