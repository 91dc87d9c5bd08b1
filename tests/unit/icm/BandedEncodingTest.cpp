// Encoding from pixel buffers whose rows are made on request: the session
// takes them in bands straight into the encoder's frame where it can, and
// locks them whole where it cannot. Either way every sample, time and flag is
// that of the same pixels in an ordinary buffer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "IcmTestSupport.h"

namespace vqt::icm::test {
namespace {

constexpr UInt8 kUnwritten = 0xA5;

// A row-source buffer over `image`, recording what it is asked for.
struct RowSource {
  const TestImage* image = nullptr;
  std::vector<UInt8> memory;
  int calls = 0;
  size_t mostRows = 0;

  static CVReturn produce(void* refCon, size_t firstRow, size_t rowCount, void* destination, size_t bytesPerRow) {
    auto* self = static_cast<RowSource*>(refCon);
    ++self->calls;
    self->mostRows = std::max(self->mostRows, rowCount);
    for (size_t r = 0; r < rowCount; ++r)
      std::memcpy(static_cast<UInt8*>(destination) + r * bytesPerRow,
                  self->image->bytes.data() + (firstRow + r) * self->image->bytesPerRow, self->image->bytesPerRow);
    return kCVReturnSuccess;
  }

  CVPixelBufferRef make(const TestImage& from) {
    image = &from;
    memory.assign(from.bytesPerRow * static_cast<size_t>(from.height), kUnwritten);
    CVPixelBufferRef buffer = nullptr;
    EXPECT_EQ(VqtCVPixelBufferCreateDeferredWithBytes(nullptr, from.width, from.height, from.format, memory.data(),
                                                      from.bytesPerRow, nullptr, nullptr, produce, nullptr, this,
                                                      nullptr, &buffer),
              kCVReturnSuccess);
    return buffer;
  }
  bool memoryWritten() const {
    return std::any_of(memory.begin(), memory.end(), [](UInt8 b) { return b != kUnwritten; });
  }
};

OSStatus keep(void* refCon, ICMCompressionSessionRef, OSStatus error, ICMEncodedFrameRef frame, void*) {
  auto* frames = static_cast<std::vector<CollectedFrame>*>(refCon);
  if (error != noErr) return error;
  const UInt8* data = ICMEncodedFrameGetDataPtr(frame);
  frames->push_back({std::vector<UInt8>(data, data + ICMEncodedFrameGetDataSize(frame)),
                     ICMEncodedFrameGetDecodeTimeStamp(frame), ICMEncodedFrameGetDecodeDuration(frame),
                     ICMEncodedFrameGetDisplayTimeStamp(frame), ICMEncodedFrameGetDisplayOffset(frame),
                     ICMEncodedFrameGetMediaSampleFlags(frame)});
  return noErr;
}

struct Case {
  CodecType codec;
  std::uint32_t format;
  int width, height;
  UInt32 depth;
  bool banded;  // whether the session can take this format in bands
};

struct Encoded {
  std::vector<CollectedFrame> frames;
  std::vector<RowSource> sources;
};

// Encodes `images` through one session, from row-source buffers or ordinary ones.
Encoded encode(const Case& c, bool ahead, bool fromRows, const std::vector<TestImage>& images) {
  Encoded run;
  run.sources.resize(images.size());
  ICMCompressionSessionOptionsRef options = nullptr;
  EXPECT_EQ(ICMCompressionSessionOptionsCreate(nullptr, &options), noErr);
  ICMCompressionSessionOptionsSetAllowTemporalCompression(options, true);
  ICMCompressionSessionOptionsSetAllowFrameReordering(options, true);
  ICMCompressionSessionOptionsSetMaxKeyFrameInterval(options, 4);
  const Boolean encodeAhead = ahead;
  ICMCompressionSessionOptionsSetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions,
                                          kICMCompressionSessionOptionsPropertyID_EncodeAhead, sizeof encodeAhead,
                                          &encodeAhead);
  ICMCompressionSessionOptionsSetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions,
                                          kICMCompressionSessionOptionsPropertyID_Depth, sizeof c.depth, &c.depth);
  ICMEncodedFrameOutputRecord record{keep, &run.frames, nullptr};
  ICMCompressionSessionRef session = nullptr;
  EXPECT_EQ(ICMCompressionSessionCreate(nullptr, c.width, c.height, c.codec, 2400, options, nullptr, &record, &session),
            noErr);
  ICMCompressionSessionOptionsRelease(options);
  if (session == nullptr) return run;
  for (std::size_t i = 0; i < images.size(); ++i) {
    CVPixelBufferRef buffer = fromRows ? run.sources[i].make(images[i]) : pixelBufferFrom(images[i]);
    EXPECT_EQ(
        ICMCompressionSessionEncodeFrame(session, buffer, static_cast<TimeValue64>(i) * 100, 100,
                                         kICMValidTime_DisplayTimeStampIsValid | kICMValidTime_DisplayDurationIsValid,
                                         nullptr, nullptr, nullptr),
        noErr);
    // As the writer does: its rows are about to go away.
    if (fromRows) VqtCVPixelBufferEndDeferral(buffer);
    CVPixelBufferRelease(buffer);
  }
  EXPECT_EQ(ICMCompressionSessionCompleteFrames(session, true, 0, 0), noErr);
  ICMCompressionSessionRelease(session);
  return run;
}

TEST(BandedEncoding, GivesTheSamplesOfTheSamePixelsInMemory) {
  const Case cases[] = {
      {'apch', 'r4fl', 1280, 720, 24, true},  // HD: through the colour map, 10-bit 4:2:2
      {'ap4h', 'r4fl', 1280, 720, 32, true},  // with alpha, 4:4:4
      {'avc1', 'r4fl', 641, 579, 24, true},   // odd size: padded 8-bit 4:2:0, B-frames
      {'AVdn', 'r4fl', 1280, 720, 24, true},  // 8-bit 4:2:2
      {'apch', 'r408', 720, 486, 24, true},   // SD: BT.601, straight into the planes
      {'png ', 32, 160, 90, 24, false},       // RGB: the session locks the buffer whole
  };
  for (const Case& c : cases) {
    std::vector<TestImage> images;
    for (int i = 0; i < 5; ++i) {
      const TestImage argb = makeArgbPattern(c.width, c.height, i, c.depth == 32);
      images.push_back(c.format == 32 ? argb : argbToYCbCr(argb, c.format));
    }
    const Encoded plain = encode(c, false, false, images);
    ASSERT_EQ(plain.frames.size(), images.size());
    for (const bool ahead : {false, true}) {
      const Encoded rows = encode(c, ahead, true, images);
      SCOPED_TRACE(testing::Message() << "'" << char(c.codec >> 24) << char(c.codec >> 16) << char(c.codec >> 8)
                                      << char(c.codec) << "' " << c.width << "x" << c.height
                                      << (ahead ? " ahead" : " on the caller's thread"));
      ASSERT_EQ(rows.frames.size(), plain.frames.size());
      for (std::size_t i = 0; i < plain.frames.size(); ++i) {
        EXPECT_EQ(rows.frames[i].data, plain.frames[i].data) << "sample " << i;
        EXPECT_EQ(rows.frames[i].decodeTime, plain.frames[i].decodeTime);
        EXPECT_EQ(rows.frames[i].displayOffset, plain.frames[i].displayOffset);
        EXPECT_EQ(rows.frames[i].flags, plain.frames[i].flags);
      }
      for (const RowSource& source : rows.sources) {
        if (c.banded) {
          // A few rows at a time, every row once, the frame memory never written.
          EXPECT_LT(source.mostRows, static_cast<size_t>(c.height));
          EXPECT_EQ(source.calls, static_cast<int>((c.height + source.mostRows - 1) / source.mostRows));
          EXPECT_FALSE(source.memoryWritten());
        } else {
          EXPECT_EQ(source.calls, 1);
          EXPECT_EQ(source.mostRows, static_cast<size_t>(c.height));
        }
      }
    }
  }
}

}  // namespace
}  // namespace vqt::icm::test
