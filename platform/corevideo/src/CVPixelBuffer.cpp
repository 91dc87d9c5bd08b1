#include <CoreVideo/CVPixelBuffer.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

// Not a Core Foundation object here: reference counting goes through the
// CVPixelBuffer calls, which is all QuickTime code uses on pixel buffers.
struct __CVBuffer {
  std::atomic<CFIndex> retainCount{1};
  std::atomic<long> lockCount{0};
  size_t width = 0;
  size_t height = 0;
  size_t bytesPerRow = 0;
  OSType pixelFormat = 0;
  void* baseAddress = nullptr;
  CVPixelBufferReleaseBytesCallback releaseCallback = nullptr;
  void* releaseRefCon = nullptr;
  bool ownsMemory = false;
  // Buffers with a row source (the extension at the end of this file): the
  // memory holds the pixels only once `rowsInMemory` is set.
  VqtCVPixelBufferRowSourceCallback rowSource = nullptr;
  void* sourceRefCon = nullptr;
  std::atomic<bool> rowsInMemory{true};
  std::mutex producing;  // one whole-frame write at a time
};

namespace {

std::atomic<long> liveBuffers{0};
constexpr CFTypeID kPixelBufferTypeID = 0x4356;  // 'CV'

size_t alignmentFrom(CFDictionaryRef attributes) {
  if (attributes == nullptr) return 16;
  auto value = static_cast<CFNumberRef>(CFDictionaryGetValue(attributes, kCVPixelBufferBytesPerRowAlignmentKey));
  SInt32 alignment = 0;
  if (value == nullptr || !CFNumberGetValue(value, kCFNumberSInt32Type, &alignment) || alignment <= 0) return 16;
  return static_cast<size_t>(alignment);
}

// The checks both creation calls start with; the result is cleared first.
CVReturn checkRequest(size_t width, size_t height, CVPixelBufferRef* pixelBufferOut) {
  if (pixelBufferOut == nullptr) return kCVReturnInvalidArgument;
  *pixelBufferOut = nullptr;
  return width == 0 || height == 0 ? kCVReturnInvalidSize : kCVReturnSuccess;
}

void writeRowsToMemory(__CVBuffer* buffer);

CVReturn handOut(__CVBuffer* buffer, CVPixelBufferRef* pixelBufferOut) {
  if (buffer == nullptr) return kCVReturnAllocationFailed;
  ++liveBuffers;
  *pixelBufferOut = buffer;
  return kCVReturnSuccess;
}

}  // namespace

const CFStringRef kCVPixelBufferWidthKey = CFSTR("Width");
const CFStringRef kCVPixelBufferHeightKey = CFSTR("Height");
const CFStringRef kCVPixelBufferPixelFormatTypeKey = CFSTR("PixelFormatType");
const CFStringRef kCVPixelBufferBytesPerRowAlignmentKey = CFSTR("BytesPerRowAlignment");

CFTypeID CVPixelBufferGetTypeID() { return kPixelBufferTypeID; }

size_t VqtCVPixelFormatMinimumBytesPerRow(OSType format, size_t width) {
  switch (format) {
    case kCVPixelFormatType_32ARGB:
    case kCVPixelFormatType_32BGRA:
    case kCVPixelFormatType_4444YpCbCrA8R:
      return width * 4;
    case kCVPixelFormatType_24RGB:
      return width * 3;
    case kCVPixelFormatType_48RGB:
      return width * 6;
    case kCVPixelFormatType_64ARGB:
      return width * 8;
    case kCVPixelFormatType_4444AYpCbCrFloat32:
      return width * 16;
    case kCVPixelFormatType_422YpCbCr8:
    case kCVPixelFormatType_422YpCbCr8_yuvs:
      return (width + 1) / 2 * 4;
    case kCVPixelFormatType_422YpCbCr10:
      return (width + 47) / 48 * 128;
    default:
      return 0;
  }
}

CVReturn CVPixelBufferCreateWithBytes(CFAllocatorRef, size_t width, size_t height, OSType pixelFormatType,
                                      void* baseAddress, size_t bytesPerRow,
                                      CVPixelBufferReleaseBytesCallback releaseCallback, void* releaseRefCon,
                                      CFDictionaryRef, CVPixelBufferRef* pixelBufferOut) {
  if (CVReturn result = checkRequest(width, height, pixelBufferOut)) return result;
  if (baseAddress == nullptr) return kCVReturnInvalidArgument;
  const size_t minimum = VqtCVPixelFormatMinimumBytesPerRow(pixelFormatType, width);
  if (minimum != 0 && bytesPerRow < minimum) return kCVReturnInvalidArgument;
  auto* buffer = new (std::nothrow) __CVBuffer{.width = width,
                                               .height = height,
                                               .bytesPerRow = bytesPerRow,
                                               .pixelFormat = pixelFormatType,
                                               .baseAddress = baseAddress,
                                               .releaseCallback = releaseCallback,
                                               .releaseRefCon = releaseRefCon};
  return handOut(buffer, pixelBufferOut);
}

CVReturn CVPixelBufferCreate(CFAllocatorRef, size_t width, size_t height, OSType pixelFormatType,
                             CFDictionaryRef pixelBufferAttributes, CVPixelBufferRef* pixelBufferOut) {
  if (CVReturn result = checkRequest(width, height, pixelBufferOut)) return result;
  const size_t minimum = VqtCVPixelFormatMinimumBytesPerRow(pixelFormatType, width);
  if (minimum == 0) return kCVReturnInvalidPixelFormat;
  const size_t alignment = alignmentFrom(pixelBufferAttributes);
  const size_t bytesPerRow = (minimum + alignment - 1) / alignment * alignment;
  if (height > SIZE_MAX / bytesPerRow) return kCVReturnInvalidSize;
  void* memory = std::calloc(height, bytesPerRow);
  if (memory == nullptr) return kCVReturnAllocationFailed;
  auto* buffer = new (std::nothrow) __CVBuffer{.width = width,
                                               .height = height,
                                               .bytesPerRow = bytesPerRow,
                                               .pixelFormat = pixelFormatType,
                                               .baseAddress = memory,
                                               .ownsMemory = true};
  if (buffer == nullptr) std::free(memory);
  return handOut(buffer, pixelBufferOut);
}

CVPixelBufferRef CVPixelBufferRetain(CVPixelBufferRef buffer) {
  if (buffer != nullptr) buffer->retainCount.fetch_add(1);
  return buffer;
}

void CVPixelBufferRelease(CVPixelBufferRef buffer) {
  if (buffer == nullptr || buffer->retainCount.fetch_sub(1) != 1) return;
  if (buffer->ownsMemory) {
    std::free(buffer->baseAddress);
  } else if (buffer->releaseCallback != nullptr) {
    buffer->releaseCallback(buffer->releaseRefCon, buffer->baseAddress);
  }
  --liveBuffers;
  delete buffer;
}

CFIndex CVPixelBufferGetRetainCount(CVPixelBufferRef buffer) { return buffer ? buffer->retainCount.load() : 0; }

CVReturn CVPixelBufferLockBaseAddress(CVPixelBufferRef buffer, CVOptionFlags) {
  if (buffer == nullptr) return kCVReturnInvalidArgument;
  writeRowsToMemory(buffer);
  ++buffer->lockCount;
  return kCVReturnSuccess;
}

CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBufferRef buffer, CVOptionFlags) {
  if (buffer == nullptr) return kCVReturnInvalidArgument;
  if (buffer->lockCount.load() <= 0) return kCVReturnError;
  --buffer->lockCount;
  return kCVReturnSuccess;
}

long VqtCVPixelBufferGetLockCount(CVPixelBufferRef buffer) { return buffer ? buffer->lockCount.load() : 0; }
void* CVPixelBufferGetBaseAddress(CVPixelBufferRef buffer) {
  if (buffer == nullptr) return nullptr;
  writeRowsToMemory(buffer);  // whoever asks for the memory gets the pixels in it
  return buffer->baseAddress;
}
size_t CVPixelBufferGetBytesPerRow(CVPixelBufferRef buffer) { return buffer ? buffer->bytesPerRow : 0; }
size_t CVPixelBufferGetWidth(CVPixelBufferRef buffer) { return buffer ? buffer->width : 0; }
size_t CVPixelBufferGetHeight(CVPixelBufferRef buffer) { return buffer ? buffer->height : 0; }
size_t CVPixelBufferGetDataSize(CVPixelBufferRef buffer) { return buffer ? buffer->bytesPerRow * buffer->height : 0; }
OSType CVPixelBufferGetPixelFormatType(CVPixelBufferRef buffer) { return buffer ? buffer->pixelFormat : 0; }
Boolean CVPixelBufferIsPlanar(CVPixelBufferRef) { return false; }
long VqtCVPixelBufferLiveCount() { return liveBuffers.load(); }

// ---------------------------------------------------------------------------
// Extension: buffers whose rows are produced on request (see the header).

namespace {

void writeRowsToMemory(__CVBuffer* buffer) {
  if (buffer->rowsInMemory.load(std::memory_order_acquire)) return;
  std::lock_guard lock(buffer->producing);
  if (buffer->rowsInMemory.load(std::memory_order_relaxed)) return;
  if (buffer->rowSource != nullptr)
    buffer->rowSource(buffer->sourceRefCon, 0, buffer->height, buffer->baseAddress, buffer->bytesPerRow);
  buffer->rowsInMemory.store(true, std::memory_order_release);
}

}  // namespace

CVReturn VqtCVPixelBufferCreateWithRowSource(CFAllocatorRef allocator, size_t width, size_t height,
                                             OSType pixelFormatType, void* baseAddress, size_t bytesPerRow,
                                             VqtCVPixelBufferRowSourceCallback rowSource, void* sourceRefCon,
                                             CVPixelBufferReleaseBytesCallback releaseCallback, void* releaseRefCon,
                                             CFDictionaryRef pixelBufferAttributes, CVPixelBufferRef* pixelBufferOut) {
  if (rowSource == nullptr) {
    if (pixelBufferOut != nullptr) *pixelBufferOut = nullptr;
    return kCVReturnInvalidArgument;
  }
  const CVReturn made =
      CVPixelBufferCreateWithBytes(allocator, width, height, pixelFormatType, baseAddress, bytesPerRow, releaseCallback,
                                   releaseRefCon, pixelBufferAttributes, pixelBufferOut);
  if (made != kCVReturnSuccess) return made;
  __CVBuffer* buffer = *pixelBufferOut;
  buffer->rowSource = rowSource;
  buffer->sourceRefCon = sourceRefCon;
  buffer->rowsInMemory.store(false, std::memory_order_release);
  return kCVReturnSuccess;
}

Boolean VqtCVPixelBufferHasRowSource(CVPixelBufferRef buffer) {
  return buffer != nullptr && !buffer->rowsInMemory.load(std::memory_order_acquire);
}

CVReturn VqtCVPixelBufferCopyRows(CVPixelBufferRef buffer, size_t firstRow, size_t rowCount, void* destination,
                                  size_t destinationBytesPerRow) {
  if (buffer == nullptr || destination == nullptr || firstRow > buffer->height || rowCount > buffer->height - firstRow)
    return kCVReturnInvalidArgument;
  // The pixel bytes of a row: what the format needs, or the whole row for a
  // format not known here.
  const size_t needed = VqtCVPixelFormatMinimumBytesPerRow(buffer->pixelFormat, buffer->width);
  const size_t rowBytes = needed != 0 ? std::min(needed, buffer->bytesPerRow) : buffer->bytesPerRow;
  if (destinationBytesPerRow < rowBytes) return kCVReturnInvalidArgument;
  if (rowCount == 0) return kCVReturnSuccess;
  if (!buffer->rowsInMemory.load(std::memory_order_acquire)) {
    buffer->rowSource(buffer->sourceRefCon, firstRow, rowCount, destination, destinationBytesPerRow);
    return kCVReturnSuccess;
  }
  const auto* from = static_cast<const std::uint8_t*>(buffer->baseAddress) + firstRow * buffer->bytesPerRow;
  auto* to = static_cast<std::uint8_t*>(destination);
  for (size_t row = 0; row < rowCount; ++row)
    std::memcpy(to + row * destinationBytesPerRow, from + row * buffer->bytesPerRow, rowBytes);
  return kCVReturnSuccess;
}

CVReturn VqtCVPixelBufferEndRowSource(CVPixelBufferRef buffer) {
  if (buffer == nullptr) return kCVReturnInvalidArgument;
  if (buffer->retainCount.load() > 1) writeRowsToMemory(buffer);
  // The creator alone holds it: nobody will read these pixels, so they are
  // never made. From here on the buffer is an ordinary one on its memory.
  std::lock_guard lock(buffer->producing);
  buffer->rowSource = nullptr;
  buffer->rowsInMemory.store(true, std::memory_order_release);
  return kCVReturnSuccess;
}
