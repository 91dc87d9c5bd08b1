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
  // A deferred buffer's producer (the extension at the end of this file): its
  // rows are in memory only once `made` is set, which happens once, under `making`.
  VqtCVPixelBufferProduceRowsCallback produceRows = nullptr;
  VqtCVPixelBufferReleaseProducerCallback releaseProducer = nullptr;
  void* producerRefCon = nullptr;
  std::mutex making;
  std::atomic<bool> made{true};
  bool madeNothing = false;  // the producer failed: no pixels to show
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

void makeRows(__CVBuffer* buffer);

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
  if (buffer->releaseProducer != nullptr) buffer->releaseProducer(buffer->producerRefCon);
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
  makeRows(buffer);  // whoever asks for the memory gets the pixels in it
  return buffer->madeNothing ? nullptr : buffer->baseAddress;
}
size_t CVPixelBufferGetBytesPerRow(CVPixelBufferRef buffer) { return buffer ? buffer->bytesPerRow : 0; }
size_t CVPixelBufferGetWidth(CVPixelBufferRef buffer) { return buffer ? buffer->width : 0; }
size_t CVPixelBufferGetHeight(CVPixelBufferRef buffer) { return buffer ? buffer->height : 0; }
size_t CVPixelBufferGetDataSize(CVPixelBufferRef buffer) { return buffer ? buffer->bytesPerRow * buffer->height : 0; }
OSType CVPixelBufferGetPixelFormatType(CVPixelBufferRef buffer) { return buffer ? buffer->pixelFormat : 0; }
Boolean CVPixelBufferIsPlanar(CVPixelBufferRef) { return false; }
long VqtCVPixelBufferLiveCount() { return liveBuffers.load(); }

// ---------------------------------------------------------------------------
// Deferred buffers: rows made on request (see the header).

namespace {

// Every row into the buffer's memory, once: memory of its own is allocated
// first where none was lent. A producer that fails leaves no base address
// (the memory itself goes as usual with the last reference).
void makeRows(__CVBuffer* buffer) {
  if (buffer->made.load(std::memory_order_acquire)) return;
  std::lock_guard lock(buffer->making);
  if (buffer->made.load(std::memory_order_relaxed)) return;
  if (buffer->baseAddress == nullptr) {
    buffer->baseAddress = std::calloc(buffer->height, buffer->bytesPerRow);
    buffer->ownsMemory = buffer->baseAddress != nullptr;
  }
  buffer->madeNothing = buffer->baseAddress == nullptr ||
                        buffer->produceRows(buffer->producerRefCon, 0, buffer->height, buffer->baseAddress,
                                            buffer->bytesPerRow) != kCVReturnSuccess;
  buffer->made.store(true, std::memory_order_release);
}

void setProducer(__CVBuffer* buffer, VqtCVPixelBufferProduceRowsCallback produceRows,
                 VqtCVPixelBufferReleaseProducerCallback releaseProducer, void* producerRefCon) {
  buffer->produceRows = produceRows;
  buffer->releaseProducer = releaseProducer;
  buffer->producerRefCon = producerRefCon;
  buffer->made.store(false, std::memory_order_release);
}

}  // namespace

CVReturn VqtCVPixelBufferCreateDeferred(CFAllocatorRef, size_t width, size_t height, OSType pixelFormatType,
                                        VqtCVPixelBufferProduceRowsCallback produceRows,
                                        VqtCVPixelBufferReleaseProducerCallback releaseProducer, void* producerRefCon,
                                        CVPixelBufferRef* pixelBufferOut) {
  if (CVReturn result = checkRequest(width, height, pixelBufferOut)) return result;
  if (produceRows == nullptr) return kCVReturnInvalidArgument;
  const size_t minimum = VqtCVPixelFormatMinimumBytesPerRow(pixelFormatType, width);
  if (minimum == 0) return kCVReturnInvalidPixelFormat;
  const size_t bytesPerRow = (minimum + 15) / 16 * 16;
  if (height > SIZE_MAX / bytesPerRow) return kCVReturnInvalidSize;
  auto* buffer = new (std::nothrow)
      __CVBuffer{.width = width, .height = height, .bytesPerRow = bytesPerRow, .pixelFormat = pixelFormatType};
  if (buffer != nullptr) setProducer(buffer, produceRows, releaseProducer, producerRefCon);
  return handOut(buffer, pixelBufferOut);
}

CVReturn VqtCVPixelBufferCreateDeferredWithBytes(CFAllocatorRef allocator, size_t width, size_t height,
                                                 OSType pixelFormatType, void* baseAddress, size_t bytesPerRow,
                                                 CVPixelBufferReleaseBytesCallback releaseCallback, void* releaseRefCon,
                                                 VqtCVPixelBufferProduceRowsCallback produceRows,
                                                 VqtCVPixelBufferReleaseProducerCallback releaseProducer,
                                                 void* producerRefCon, CFDictionaryRef pixelBufferAttributes,
                                                 CVPixelBufferRef* pixelBufferOut) {
  if (produceRows == nullptr) {
    if (pixelBufferOut != nullptr) *pixelBufferOut = nullptr;
    return kCVReturnInvalidArgument;
  }
  const CVReturn made =
      CVPixelBufferCreateWithBytes(allocator, width, height, pixelFormatType, baseAddress, bytesPerRow, releaseCallback,
                                   releaseRefCon, pixelBufferAttributes, pixelBufferOut);
  if (made != kCVReturnSuccess) return made;
  setProducer(*pixelBufferOut, produceRows, releaseProducer, producerRefCon);
  return kCVReturnSuccess;
}

Boolean VqtCVPixelBufferIsDeferred(CVPixelBufferRef buffer) {
  return buffer != nullptr && !buffer->made.load(std::memory_order_acquire);
}

CVReturn VqtCVPixelBufferGetRows(CVPixelBufferRef buffer, size_t firstRow, size_t rowCount, void* scratch,
                                 size_t scratchBytesPerRow, const void** rows, size_t* bytesPerRow) {
  if (buffer == nullptr || rows == nullptr || bytesPerRow == nullptr) return kCVReturnInvalidArgument;
  if (firstRow > buffer->height || rowCount > buffer->height - firstRow) return kCVReturnInvalidArgument;
  if (buffer->made.load(std::memory_order_acquire)) {
    if (buffer->baseAddress == nullptr || buffer->madeNothing) return kCVReturnError;
    *rows = static_cast<const std::uint8_t*>(buffer->baseAddress) + firstRow * buffer->bytesPerRow;
    *bytesPerRow = buffer->bytesPerRow;
    return kCVReturnSuccess;
  }
  const size_t minimum = VqtCVPixelFormatMinimumBytesPerRow(buffer->pixelFormat, buffer->width);
  if (scratch == nullptr || scratchBytesPerRow < minimum) return kCVReturnInvalidArgument;
  if (rowCount > 0) {
    if (CVReturn result = buffer->produceRows(buffer->producerRefCon, firstRow, rowCount, scratch, scratchBytesPerRow))
      return result;
  }
  *rows = scratch;
  *bytesPerRow = scratchBytesPerRow;
  return kCVReturnSuccess;
}

CVReturn VqtCVPixelBufferCopyRows(CVPixelBufferRef buffer, size_t firstRow, size_t rowCount, void* destination,
                                  size_t destinationBytesPerRow) {
  if (buffer == nullptr || destination == nullptr) return kCVReturnInvalidArgument;
  // The pixel bytes of a row: what the format needs, or the whole row for a
  // format not known here.
  const size_t needed = VqtCVPixelFormatMinimumBytesPerRow(buffer->pixelFormat, buffer->width);
  const size_t rowBytes = needed != 0 ? std::min(needed, buffer->bytesPerRow) : buffer->bytesPerRow;
  if (destinationBytesPerRow < rowBytes) return kCVReturnInvalidArgument;
  const void* rows = nullptr;
  size_t stride = 0;
  if (CVReturn result =
          VqtCVPixelBufferGetRows(buffer, firstRow, rowCount, destination, destinationBytesPerRow, &rows, &stride))
    return result;
  if (rows == destination) return kCVReturnSuccess;
  auto* to = static_cast<std::uint8_t*>(destination);
  for (size_t row = 0; row < rowCount; ++row)
    std::memcpy(to + row * destinationBytesPerRow, static_cast<const std::uint8_t*>(rows) + row * stride, rowBytes);
  return kCVReturnSuccess;
}

CVReturn VqtCVPixelBufferEndDeferral(CVPixelBufferRef buffer) {
  if (buffer == nullptr) return kCVReturnInvalidArgument;
  // Anyone else holding the buffer keeps seeing the pixels: they go into its
  // memory now. Held by its creator alone, nobody will read them: never made.
  if (buffer->retainCount.load() > 1) makeRows(buffer);
  std::lock_guard lock(buffer->making);
  if (buffer->releaseProducer != nullptr) buffer->releaseProducer(buffer->producerRefCon);
  buffer->produceRows = nullptr;
  buffer->releaseProducer = nullptr;
  buffer->made.store(true, std::memory_order_release);
  return kCVReturnSuccess;
}
