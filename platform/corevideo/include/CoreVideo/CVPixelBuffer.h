// Core Video pixel buffers: one image, chunky (not planar), in memory the
// buffer owns or the caller lends with a release callback, or made on demand
// (deferred buffers, below). Reference counted: the memory goes when the last
// reference does.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreVideo/CVPixelFormatTypes.h>

#include <cstddef>

typedef struct __CVBuffer* CVBufferRef;
typedef CVBufferRef CVImageBufferRef;
typedef CVImageBufferRef CVPixelBufferRef;
typedef SInt32 CVReturn;
typedef UInt64 CVOptionFlags;

enum : CVReturn {
  kCVReturnSuccess = 0,
  kCVReturnError = -6660,
  kCVReturnInvalidArgument = -6661,
  kCVReturnAllocationFailed = -6662,
  kCVReturnInvalidPixelFormat = -6680,
  kCVReturnInvalidSize = -6681,
};

typedef void (*CVPixelBufferReleaseBytesCallback)(void* releaseRefCon, const void* baseAddress);

// Attribute keys (values are CFNumbers).
extern const CFStringRef kCVPixelBufferWidthKey;
extern const CFStringRef kCVPixelBufferHeightKey;
extern const CFStringRef kCVPixelBufferPixelFormatTypeKey;
extern const CFStringRef kCVPixelBufferBytesPerRowAlignmentKey;

CFTypeID CVPixelBufferGetTypeID();

// Wraps caller memory; `releaseCallback` (may be null) gets `releaseRefCon` and
// the base address when the last reference goes.
CVReturn CVPixelBufferCreateWithBytes(CFAllocatorRef allocator, size_t width, size_t height, OSType pixelFormatType,
                                      void* baseAddress, size_t bytesPerRow,
                                      CVPixelBufferReleaseBytesCallback releaseCallback, void* releaseRefCon,
                                      CFDictionaryRef pixelBufferAttributes, CVPixelBufferRef* pixelBufferOut);
// Allocates zeroed memory for a known pixel format, rows aligned to 16 bytes
// (or to kCVPixelBufferBytesPerRowAlignmentKey).
CVReturn CVPixelBufferCreate(CFAllocatorRef allocator, size_t width, size_t height, OSType pixelFormatType,
                             CFDictionaryRef pixelBufferAttributes, CVPixelBufferRef* pixelBufferOut);

CVPixelBufferRef CVPixelBufferRetain(CVPixelBufferRef buffer);  // null is ignored
void CVPixelBufferRelease(CVPixelBufferRef buffer);             // null is ignored
CFIndex CVPixelBufferGetRetainCount(CVPixelBufferRef buffer);

CVReturn CVPixelBufferLockBaseAddress(CVPixelBufferRef buffer, CVOptionFlags lockFlags);
CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBufferRef buffer, CVOptionFlags unlockFlags);
long VqtCVPixelBufferGetLockCount(CVPixelBufferRef buffer);

void* CVPixelBufferGetBaseAddress(CVPixelBufferRef buffer);
size_t CVPixelBufferGetBytesPerRow(CVPixelBufferRef buffer);
size_t CVPixelBufferGetWidth(CVPixelBufferRef buffer);
size_t CVPixelBufferGetHeight(CVPixelBufferRef buffer);
size_t CVPixelBufferGetDataSize(CVPixelBufferRef buffer);
OSType CVPixelBufferGetPixelFormatType(CVPixelBufferRef buffer);
Boolean CVPixelBufferIsPlanar(CVPixelBufferRef buffer);

// Bytes one row of `width` pixels needs in a chunky format; 0 for formats not known here.
size_t VqtCVPixelFormatMinimumBytesPerRow(OSType pixelFormatType, size_t width);

// Deferred pixel buffers (an extension of this platform): the rows are made by
// `produceRows` when they are first asked for, so that a reader converting
// them on into its own layout a few rows at a time finds them still in the
// processor's cache instead of a whole frame written out and read back.
// CVPixelBufferGetBaseAddress makes every row at once into memory the buffer
// owns (rows 16-byte aligned) and from then on the buffer is like any other;
// VqtCVPixelBufferGetRows makes only the rows asked for, into the caller's
// memory. `produceRows` must be safe to call from several threads at once for
// different rows; it returns kCVReturnSuccess or an error, which leaves the
// base address null. `releaseProducer` (may be null) gets `producerRefCon`
// when the last reference goes.
typedef CVReturn (*VqtCVPixelBufferProduceRowsCallback)(void* producerRefCon, size_t firstRow, size_t rowCount,
                                                        void* rows, size_t bytesPerRow);
typedef void (*VqtCVPixelBufferReleaseProducerCallback)(void* producerRefCon);
CVReturn VqtCVPixelBufferCreateDeferred(CFAllocatorRef allocator, size_t width, size_t height, OSType pixelFormatType,
                                        VqtCVPixelBufferProduceRowsCallback produceRows,
                                        VqtCVPixelBufferReleaseProducerCallback releaseProducer, void* producerRefCon,
                                        CVPixelBufferRef* pixelBufferOut);
// Rows [firstRow, firstRow + rowCount) of any pixel buffer, to read: `*rows`
// points into the buffer's own memory when it holds them (`*bytesPerRow` its
// stride), otherwise at `scratch`, into which a deferred buffer has just made
// them `scratchBytesPerRow` apart. `scratch` holds rowCount rows of at least
// the format's minimum bytes per row.
CVReturn VqtCVPixelBufferGetRows(CVPixelBufferRef buffer, size_t firstRow, size_t rowCount, void* scratch,
                                 size_t scratchBytesPerRow, const void** rows, size_t* bytesPerRow);
// True while a deferred buffer has not made its base address yet.
Boolean VqtCVPixelBufferIsDeferred(CVPixelBufferRef buffer);

// Pixel buffers alive right now (for leak checks in tests).
long VqtCVPixelBufferLiveCount();
