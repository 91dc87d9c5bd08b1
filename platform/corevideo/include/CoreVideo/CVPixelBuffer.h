// Core Video pixel buffers: one image, chunky (not planar), in memory the
// buffer owns or the caller lends with a release callback. Reference counted:
// the memory goes when the last reference does.
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

// Pixel buffers alive right now (for leak checks in tests).
long VqtCVPixelBufferLiveCount();

// ---------------------------------------------------------------------------
// Extension: buffers whose rows are produced on request (encoding side).
//
// The creator gives a producer instead of filled memory. A consumer that works
// in bands of rows asks for them with VqtCVPixelBufferCopyRows, into a small
// buffer of its own that stays in the cache, and the frame's memory is never
// written or read: a 1080p float frame spared a trip through memory both ways.
// Every other consumer sees an ordinary buffer: locking it, or asking for its
// base address, first has the producer write every row into the memory given
// at creation, so QuickTime 7 code that locks and reads the pixels works
// unchanged.

// Writes `rowCount` rows from `firstRow` on to `destination`, rows
// `destinationBytesPerRow` apart. May be called on any thread, for any rows,
// also for the same rows twice; it must write the same bytes every time.
typedef void (*VqtCVPixelBufferRowSourceCallback)(void* sourceRefCon, size_t firstRow, size_t rowCount,
                                                  void* destination, size_t destinationBytesPerRow);

// As CVPixelBufferCreateWithBytes, with `baseAddress` left unwritten until a
// consumer needs the whole frame in memory; `rowSource` produces the rows.
CVReturn VqtCVPixelBufferCreateWithRowSource(CFAllocatorRef allocator, size_t width, size_t height,
                                             OSType pixelFormatType, void* baseAddress, size_t bytesPerRow,
                                             VqtCVPixelBufferRowSourceCallback rowSource, void* sourceRefCon,
                                             CVPixelBufferReleaseBytesCallback releaseCallback, void* releaseRefCon,
                                             CFDictionaryRef pixelBufferAttributes, CVPixelBufferRef* pixelBufferOut);

// True while the buffer's rows come from its producer (not yet written to its
// memory): then VqtCVPixelBufferCopyRows is cheaper than locking.
Boolean VqtCVPixelBufferHasRowSource(CVPixelBufferRef buffer);

// Writes rows `firstRow` .. `firstRow + rowCount - 1` of any buffer to
// `destination` (each row's pixel bytes, rows `destinationBytesPerRow` apart):
// from the producer, or from the memory once the rows are there.
// kCVReturnInvalidArgument for rows outside the image or a row stride too short.
CVReturn VqtCVPixelBufferCopyRows(CVPixelBufferRef buffer, size_t firstRow, size_t rowCount, void* destination,
                                  size_t destinationBytesPerRow);

// The creator's last word on the producer, before what it reads goes away:
// if anyone else still holds the buffer, the rows are written to its memory
// now, so they keep seeing the pixels; the producer is not called afterwards.
CVReturn VqtCVPixelBufferEndRowSource(CVPixelBufferRef buffer);
