// Deferred pixel buffers: rows are made only when asked for, into the caller's
// memory or, once the base address is wanted, all of them into the buffer's
// own, once, whichever threads ask; the producer goes with the last
// reference; and the decompression session emits its pictures this way where
// the layout goes row by row, with the bytes of the whole picture.
#include <CoreVideo/CoreVideo.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "IcmTestSupport.h"

namespace vqt::icm::test {
namespace {

// Rows of 32 ARGB pixels whose every byte says its row and column.
struct RowMaker {
  std::mutex mutex;
  std::vector<std::pair<size_t, size_t>> asked;  // first row, count
  std::atomic<int> released{0};
  bool fail = false;
};

CVReturn makeRows(void* refCon, size_t firstRow, size_t rowCount, void* rows, size_t bytesPerRow) {
  auto* maker = static_cast<RowMaker*>(refCon);
  {
    std::lock_guard lock(maker->mutex);
    maker->asked.emplace_back(firstRow, rowCount);
  }
  if (maker->fail) return kCVReturnError;
  for (size_t y = 0; y < rowCount; ++y) {
    auto* row = static_cast<UInt8*>(rows) + y * bytesPerRow;
    for (size_t x = 0; x < 32 * 4; ++x) row[x] = static_cast<UInt8>((firstRow + y) * 7 + x);
  }
  return kCVReturnSuccess;
}

void releaseMaker(void* refCon) { ++static_cast<RowMaker*>(refCon)->released; }

UInt8 expectedByte(size_t row, size_t x) { return static_cast<UInt8>(row * 7 + x); }

TEST(DeferredPixelBuffer, RowsAreMadeWhenAskedAndTheBaseAddressMakesThemAllOnce) {
  RowMaker maker;
  const long live = VqtCVPixelBufferLiveCount();
  CVPixelBufferRef buffer = nullptr;
  ASSERT_EQ(
      VqtCVPixelBufferCreateDeferred(nullptr, 32, 20, k32ARGBPixelFormat, makeRows, releaseMaker, &maker, &buffer),
      kCVReturnSuccess);
  EXPECT_TRUE(VqtCVPixelBufferIsDeferred(buffer));
  EXPECT_EQ(CVPixelBufferGetBytesPerRow(buffer), 128u);
  EXPECT_TRUE(maker.asked.empty()) << "nothing is made before it is asked for";

  std::vector<UInt8> scratch(3 * 160);
  const void* rows = nullptr;
  size_t bytesPerRow = 0;
  ASSERT_EQ(VqtCVPixelBufferGetRows(buffer, 5, 3, scratch.data(), 160, &rows, &bytesPerRow), kCVReturnSuccess);
  EXPECT_EQ(rows, scratch.data());
  EXPECT_EQ(bytesPerRow, 160u);
  EXPECT_EQ(static_cast<const UInt8*>(rows)[160 + 9], expectedByte(6, 9));
  ASSERT_EQ(maker.asked.size(), 1u);
  EXPECT_EQ(maker.asked[0], std::make_pair(size_t{5}, size_t{3}));

  // Rows outside the buffer and scratch too narrow are refused, and make nothing.
  EXPECT_EQ(VqtCVPixelBufferGetRows(buffer, 18, 3, scratch.data(), 160, &rows, &bytesPerRow), kCVReturnInvalidArgument);
  EXPECT_EQ(VqtCVPixelBufferGetRows(buffer, 0, 1, scratch.data(), 100, &rows, &bytesPerRow), kCVReturnInvalidArgument);
  EXPECT_EQ(VqtCVPixelBufferGetRows(buffer, 0, 1, nullptr, 160, &rows, &bytesPerRow), kCVReturnInvalidArgument);
  EXPECT_EQ(maker.asked.size(), 1u);

  // Two threads want the base address at once: the rows are made once.
  void* bases[2] = {};
  std::thread other([&] { bases[1] = CVPixelBufferGetBaseAddress(buffer); });
  bases[0] = CVPixelBufferGetBaseAddress(buffer);
  other.join();
  ASSERT_NE(bases[0], nullptr);
  EXPECT_EQ(bases[0], bases[1]);
  ASSERT_EQ(maker.asked.size(), 2u);
  EXPECT_EQ(maker.asked[1], std::make_pair(size_t{0}, size_t{20}));
  EXPECT_FALSE(VqtCVPixelBufferIsDeferred(buffer));
  const auto* base = static_cast<const UInt8*>(bases[0]);
  for (size_t y = 0; y < 20; ++y) ASSERT_EQ(base[y * 128 + 100], expectedByte(y, 100)) << "row " << y;

  // From now on rows come from the buffer's own memory.
  ASSERT_EQ(VqtCVPixelBufferGetRows(buffer, 19, 1, scratch.data(), 160, &rows, &bytesPerRow), kCVReturnSuccess);
  EXPECT_EQ(rows, base + 19 * 128);
  EXPECT_EQ(bytesPerRow, 128u);
  EXPECT_EQ(maker.asked.size(), 2u);

  CVPixelBufferRetain(buffer);
  CVPixelBufferRelease(buffer);
  EXPECT_EQ(maker.released, 0);
  CVPixelBufferRelease(buffer);
  EXPECT_EQ(maker.released, 1);
  EXPECT_EQ(VqtCVPixelBufferLiveCount(), live);
}

TEST(DeferredPixelBuffer, AProducerThatFailsLeavesNoBaseAddress) {
  RowMaker maker;
  maker.fail = true;
  CVPixelBufferRef buffer = nullptr;
  ASSERT_EQ(VqtCVPixelBufferCreateDeferred(nullptr, 32, 4, k32ARGBPixelFormat, makeRows, nullptr, &maker, &buffer),
            kCVReturnSuccess);
  std::vector<UInt8> scratch(128);
  const void* rows = nullptr;
  size_t bytesPerRow = 0;
  EXPECT_EQ(VqtCVPixelBufferGetRows(buffer, 0, 1, scratch.data(), 128, &rows, &bytesPerRow), kCVReturnError);
  EXPECT_EQ(CVPixelBufferGetBaseAddress(buffer), nullptr);
  EXPECT_EQ(VqtCVPixelBufferGetRows(buffer, 0, 1, scratch.data(), 128, &rows, &bytesPerRow), kCVReturnError);
  CVPixelBufferRelease(buffer);

  EXPECT_EQ(VqtCVPixelBufferCreateDeferred(nullptr, 32, 4, k32ARGBPixelFormat, nullptr, nullptr, &maker, &buffer),
            kCVReturnInvalidArgument);
  EXPECT_EQ(VqtCVPixelBufferCreateDeferred(nullptr, 32, 4, 'zzzz', makeRows, nullptr, &maker, &buffer),
            kCVReturnInvalidPixelFormat);
  EXPECT_EQ(VqtCVPixelBufferCreateDeferred(nullptr, 0, 4, k32ARGBPixelFormat, makeRows, nullptr, &maker, &buffer),
            kCVReturnInvalidSize);
}

// The buffers a session emits, kept for the test.
struct Emitted {
  std::vector<CVPixelBufferRef> buffers;
  static void track(void* refCon, OSStatus, ICMDecompressionTrackingFlags flags, CVPixelBufferRef buffer, TimeValue64,
                    TimeValue64, ICMValidTimeFlags, void*, void*) {
    if ((flags & kICMDecompressionTracking_EmittingFrame) && buffer != nullptr)
      static_cast<Emitted*>(refCon)->buffers.push_back(CVPixelBufferRetain(buffer));
  }
};

CVPixelBufferRef decodeOne(const Compressed& compressed, OSType format) {
  CFMutableDictionaryRef attributes =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  SInt32 value = static_cast<SInt32>(format);
  CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &value);
  CFDictionaryAddValue(attributes, kCVPixelBufferPixelFormatTypeKey, number);
  CFRelease(number);
  Emitted emitted;
  ICMDecompressionTrackingCallbackRecord tracking{&Emitted::track, &emitted};
  ICMDecompressionSessionRef session = nullptr;
  EXPECT_EQ(ICMDecompressionSessionCreate(nullptr, compressed.description, nullptr, attributes, &tracking, &session),
            noErr);
  CFRelease(attributes);
  if (session == nullptr) return nullptr;
  const std::vector<UInt8>& sample = compressed.frames[0].data;
  ICMFrameTimeRecord time{};
  time.recordSize = sizeof time;
  time.scale = 2400;
  time.duration = 100;
  time.rate = 0x00010000;
  time.flags = icmFrameTimeDecodeImmediately;
  EXPECT_EQ(ICMDecompressionSessionDecodeFrame(session, sample.data(), static_cast<ByteCount>(sample.size()), nullptr,
                                               &time, nullptr),
            noErr);
  ICMDecompressionSessionFlush(session);
  ICMDecompressionSessionRelease(session);
  EXPECT_EQ(emitted.buffers.size(), 1u);
  return emitted.buffers.empty() ? nullptr : emitted.buffers[0];
}

TEST(DeferredPixelBuffer, SessionsEmitRowByRowLayoutsDeferredWithTheWholePicturesBytes) {
  const long live = VqtCVPixelBufferLiveCount();
  const TestImage source = makeArgbPattern(96, 62);
  Compressed compressed = compress({'apch'}, {argbToYCbCr(source, 'r4fl')});
  ASSERT_EQ(compressed.result, noErr);
  for (OSType format : {OSType{'r4fl'}, OSType{'r408'}, OSType{'b64a'}}) {
    CVPixelBufferRef buffer = decodeOne(compressed, format);
    ASSERT_NE(buffer, nullptr);
    EXPECT_TRUE(VqtCVPixelBufferIsDeferred(buffer)) << "a picture this size goes row by row";
    // Rows read five at a time, before anything made the whole picture...
    const size_t used = VqtCVPixelFormatMinimumBytesPerRow(format, 96);
    std::vector<UInt8> rows(62 * used);
    std::vector<UInt8> scratch(5 * used);
    for (size_t first = 0; first < 62; first += 5) {
      const size_t count = std::min<size_t>(5, 62 - first);
      const void* got = nullptr;
      size_t bytesPerRow = 0;
      ASSERT_EQ(VqtCVPixelBufferGetRows(buffer, first, count, scratch.data(), used, &got, &bytesPerRow),
                kCVReturnSuccess);
      for (size_t y = 0; y < count; ++y)
        std::memcpy(rows.data() + (first + y) * used, static_cast<const UInt8*>(got) + y * bytesPerRow, used);
    }
    // ...are the rows of the base address.
    const auto* base = static_cast<const UInt8*>(CVPixelBufferGetBaseAddress(buffer));
    ASSERT_NE(base, nullptr);
    for (size_t y = 0; y < 62; ++y)
      ASSERT_EQ(std::memcmp(rows.data() + y * used, base + y * CVPixelBufferGetBytesPerRow(buffer), used), 0)
          << "row " << y;
    CVPixelBufferRelease(buffer);
  }
  // 'yuvs' from 4:2:2 needs the whole picture at once: emitted made.
  CVPixelBufferRef buffer = decodeOne(compressed, 'yuvs');
  ASSERT_NE(buffer, nullptr);
  EXPECT_FALSE(VqtCVPixelBufferIsDeferred(buffer));
  CVPixelBufferRelease(buffer);
  DisposeHandle(reinterpret_cast<Handle>(compressed.description));
  EXPECT_EQ(VqtCVPixelBufferLiveCount(), live);
}

}  // namespace
}  // namespace vqt::icm::test
