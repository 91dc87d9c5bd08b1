#include <CoreVideo/CoreVideo.h>
#include <gtest/gtest.h>

#include <algorithm>
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

}  // namespace
