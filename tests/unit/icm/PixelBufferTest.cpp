#include <CoreVideo/CoreVideo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace {

struct ReleaseLog {
  int calls = 0;
  const void* address = nullptr;
};

void logRelease(void* refCon, const void* baseAddress) {
  auto* log = static_cast<ReleaseLog*>(refCon);
  ++log->calls;
  log->address = baseAddress;
}

TEST(PixelBuffer, CallerMemoryIsGivenBackOnceWhenTheLastReferenceGoes) {
  std::vector<UInt8> memory(64 * 4 * 8);
  ReleaseLog log;
  const long live = VqtCVPixelBufferLiveCount();
  CVPixelBufferRef buffer = nullptr;
  ASSERT_EQ(CVPixelBufferCreateWithBytes(kCFAllocatorDefault, 64, 8, k32ARGBPixelFormat, memory.data(), 256, logRelease,
                                         &log, nullptr, &buffer),
            kCVReturnSuccess);
  EXPECT_EQ(VqtCVPixelBufferLiveCount(), live + 1);
  EXPECT_EQ(CVPixelBufferGetBaseAddress(buffer), memory.data());
  EXPECT_EQ(CVPixelBufferGetBytesPerRow(buffer), 256u);
  EXPECT_EQ(CVPixelBufferGetWidth(buffer), 64u);
  EXPECT_EQ(CVPixelBufferGetHeight(buffer), 8u);
  EXPECT_EQ(CVPixelBufferGetPixelFormatType(buffer), OSType{32});
  EXPECT_EQ(CVPixelBufferRetain(buffer), buffer);
  EXPECT_EQ(CVPixelBufferGetRetainCount(buffer), 2);
  CVPixelBufferRelease(buffer);
  EXPECT_EQ(log.calls, 0);
  CVPixelBufferRelease(buffer);
  EXPECT_EQ(log.calls, 1);
  EXPECT_EQ(log.address, memory.data());
  EXPECT_EQ(VqtCVPixelBufferLiveCount(), live);
  CVPixelBufferRelease(nullptr);
}

TEST(PixelBuffer, LocksBalanceAndRowsTooShortAreRefused) {
  std::vector<UInt8> memory(1024);
  CVPixelBufferRef buffer = nullptr;
  EXPECT_EQ(CVPixelBufferCreateWithBytes(nullptr, 16, 4, k4444YpCbCrA32RPixelFormat, memory.data(), 128, nullptr,
                                         nullptr, nullptr, &buffer),
            kCVReturnInvalidArgument)
      << "16 'r4fl' pixels need 256 bytes a row";
  EXPECT_EQ(buffer, nullptr);
  ASSERT_EQ(CVPixelBufferCreateWithBytes(nullptr, 16, 4, k2vuyPixelFormat, memory.data(), 32, nullptr, nullptr, nullptr,
                                         &buffer),
            kCVReturnSuccess);
  EXPECT_EQ(CVPixelBufferLockBaseAddress(buffer, 0), kCVReturnSuccess);
  EXPECT_EQ(CVPixelBufferLockBaseAddress(buffer, 0), kCVReturnSuccess);
  EXPECT_EQ(VqtCVPixelBufferGetLockCount(buffer), 2);
  EXPECT_EQ(CVPixelBufferUnlockBaseAddress(buffer, 0), kCVReturnSuccess);
  EXPECT_EQ(CVPixelBufferUnlockBaseAddress(buffer, 0), kCVReturnSuccess);
  EXPECT_EQ(CVPixelBufferUnlockBaseAddress(buffer, 0), kCVReturnError);
  CVPixelBufferRelease(buffer);
}

TEST(PixelBuffer, OwnMemoryIsZeroedAndRowsAligned) {
  CFMutableDictionaryRef attributes =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  const SInt32 alignment = 64;
  CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &alignment);
  CFDictionaryAddValue(attributes, kCVPixelBufferBytesPerRowAlignmentKey, number);
  CFRelease(number);
  CVPixelBufferRef buffer = nullptr;
  ASSERT_EQ(CVPixelBufferCreate(nullptr, 33, 3, k64ARGBPixelFormat, attributes, &buffer), kCVReturnSuccess);
  CFRelease(attributes);
  EXPECT_EQ(CVPixelBufferGetBytesPerRow(buffer), 320u);
  const auto* bytes = static_cast<const UInt8*>(CVPixelBufferGetBaseAddress(buffer));
  EXPECT_EQ(std::count(bytes, bytes + CVPixelBufferGetDataSize(buffer), 0), 960);
  CVPixelBufferRelease(buffer);
  EXPECT_EQ(CVPixelBufferCreate(nullptr, 8, 8, 'zzzz', nullptr, &buffer), kCVReturnInvalidPixelFormat);
  EXPECT_EQ(CVPixelBufferCreate(nullptr, 0, 8, 32, nullptr, &buffer), kCVReturnInvalidSize);
}

// A producer of 'r408'-sized rows whose bytes say which row they belong to,
// counting what it is asked for.
struct RowProducer {
  int calls = 0;
  std::vector<std::pair<size_t, size_t>> asked;  // first row, count

  static CVReturn produce(void* refCon, size_t firstRow, size_t rowCount, void* destination, size_t bytesPerRow) {
    auto* self = static_cast<RowProducer*>(refCon);
    ++self->calls;
    self->asked.emplace_back(firstRow, rowCount);
    for (size_t r = 0; r < rowCount; ++r)
      std::fill_n(static_cast<UInt8*>(destination) + r * bytesPerRow, 16 * 4, static_cast<UInt8>(firstRow + r + 1));
    return kCVReturnSuccess;
  }
};

constexpr UInt8 kUntouched = 0xEE;

CVPixelBufferRef rowSourceBuffer(std::vector<UInt8>& memory, RowProducer& producer, ReleaseLog* log = nullptr) {
  memory.assign(80 * 6, kUntouched);  // 6 rows of 16 pixels, 80 bytes a row
  CVPixelBufferRef buffer = nullptr;
  EXPECT_EQ(VqtCVPixelBufferCreateDeferredWithBytes(nullptr, 16, 6, k4444YpCbCrA8RPixelFormat, memory.data(), 80,
                                                    log ? logRelease : nullptr, log, RowProducer::produce, nullptr,
                                                    &producer, nullptr, &buffer),
            kCVReturnSuccess);
  return buffer;
}

TEST(RowSourceBuffer, BandsComeFromTheProducerAndTheFrameMemoryStaysUnwritten) {
  std::vector<UInt8> memory;
  RowProducer producer;
  ReleaseLog log;
  CVPixelBufferRef buffer = rowSourceBuffer(memory, producer, &log);
  ASSERT_NE(buffer, nullptr);
  EXPECT_TRUE(VqtCVPixelBufferIsDeferred(buffer));
  std::vector<UInt8> band(2 * 100, 0);  // a wider stride than the buffer's
  ASSERT_EQ(VqtCVPixelBufferCopyRows(buffer, 3, 2, band.data(), 100), kCVReturnSuccess);
  EXPECT_EQ(producer.asked, (std::vector<std::pair<size_t, size_t>>{{3, 2}}));
  EXPECT_EQ(band[0], 4);
  EXPECT_EQ(band[63], 4);
  EXPECT_EQ(band[64], 0) << "only the row's pixel bytes";
  EXPECT_EQ(band[100], 5);
  EXPECT_EQ(std::count(memory.begin(), memory.end(), kUntouched), static_cast<long>(memory.size()));

  // Outside the image, a stride too short: refused, nothing produced.
  EXPECT_EQ(VqtCVPixelBufferCopyRows(buffer, 5, 2, band.data(), 100), kCVReturnInvalidArgument);
  EXPECT_EQ(VqtCVPixelBufferCopyRows(buffer, 7, 0, band.data(), 100), kCVReturnInvalidArgument);
  EXPECT_EQ(VqtCVPixelBufferCopyRows(buffer, 0, 1, band.data(), 63), kCVReturnInvalidArgument);
  EXPECT_EQ(VqtCVPixelBufferCopyRows(buffer, 6, 0, band.data(), 100), kCVReturnSuccess);
  EXPECT_EQ(producer.calls, 1);

  // The creator alone holds it at the end: no rows are made for nobody, and
  // the memory still goes back once.
  EXPECT_EQ(VqtCVPixelBufferEndDeferral(buffer), kCVReturnSuccess);
  EXPECT_FALSE(VqtCVPixelBufferIsDeferred(buffer));
  EXPECT_EQ(producer.calls, 1);
  CVPixelBufferRelease(buffer);
  EXPECT_EQ(log.calls, 1);
  EXPECT_EQ(log.address, memory.data());
}

TEST(RowSourceBuffer, TheBaseAddressPutsEveryRowInMemoryOnceLockedOrNot) {
  for (const bool byLock : {true, false}) {
    std::vector<UInt8> memory;
    RowProducer producer;
    CVPixelBufferRef buffer = rowSourceBuffer(memory, producer);
    ASSERT_NE(buffer, nullptr);
    if (byLock) {
      EXPECT_EQ(CVPixelBufferLockBaseAddress(buffer, 0), kCVReturnSuccess);
      EXPECT_TRUE(VqtCVPixelBufferIsDeferred(buffer)) << "locking alone makes nothing";
    }
    const auto* base = static_cast<const UInt8*>(CVPixelBufferGetBaseAddress(buffer));
    EXPECT_EQ(base, memory.data());
    EXPECT_EQ(producer.asked, (std::vector<std::pair<size_t, size_t>>{{0, 6}}));
    for (int row = 0; row < 6; ++row) {
      EXPECT_EQ(memory[row * 80], row + 1);
      EXPECT_EQ(memory[row * 80 + 63], row + 1);
      EXPECT_EQ(memory[row * 80 + 64], kUntouched) << "the row's padding is the caller's";
    }
    EXPECT_FALSE(VqtCVPixelBufferIsDeferred(buffer));
    // From now on rows come from memory: the producer is not asked again.
    memory[2 * 80] = 0x42;
    std::vector<UInt8> band(80, 0);
    ASSERT_EQ(VqtCVPixelBufferCopyRows(buffer, 2, 1, band.data(), 80), kCVReturnSuccess);
    EXPECT_EQ(band[0], 0x42);
    CVPixelBufferGetBaseAddress(buffer);
    EXPECT_EQ(producer.calls, 1);
    if (byLock) EXPECT_EQ(CVPixelBufferUnlockBaseAddress(buffer, 0), kCVReturnSuccess);
    CVPixelBufferRelease(buffer);
  }
}

TEST(RowSourceBuffer, AHolderLeftAtTheEndKeepsThePixels) {
  std::vector<UInt8> memory;
  RowProducer producer;
  CVPixelBufferRef buffer = rowSourceBuffer(memory, producer);
  ASSERT_NE(buffer, nullptr);
  CVPixelBufferRef holder = CVPixelBufferRetain(buffer);
  EXPECT_EQ(VqtCVPixelBufferEndDeferral(buffer), kCVReturnSuccess);
  CVPixelBufferRelease(buffer);
  EXPECT_EQ(producer.asked, (std::vector<std::pair<size_t, size_t>>{{0, 6}}));
  ASSERT_EQ(CVPixelBufferLockBaseAddress(holder, 0), kCVReturnSuccess);
  EXPECT_EQ(static_cast<const UInt8*>(CVPixelBufferGetBaseAddress(holder))[5 * 80], 6);
  EXPECT_EQ(producer.calls, 1);
  CVPixelBufferUnlockBaseAddress(holder, 0);
  CVPixelBufferRelease(holder);

  CVPixelBufferRef refused = nullptr;
  EXPECT_EQ(VqtCVPixelBufferCreateDeferredWithBytes(nullptr, 16, 6, k4444YpCbCrA8RPixelFormat, memory.data(), 80,
                                                    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &refused),
            kCVReturnInvalidArgument);
  EXPECT_EQ(refused, nullptr);
}

}  // namespace
