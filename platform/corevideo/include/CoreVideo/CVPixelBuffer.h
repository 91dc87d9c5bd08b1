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

// Pixel buffers alive right now (for leak checks in tests).
long VqtCVPixelBufferLiveCount();

// ---------------------------------------------------------------------------
// Deferred pixel buffers (an extension of this platform): rows made on request.
//
// The creator gives a producer instead of filled memory. A client that works
// in bands of rows asks for a few at a time (VqtCVPixelBufferGetRows or
// VqtCVPixelBufferCopyRows) into a small buffer of its own that stays in the
// processor's cache, and the frame's memory is never written or read: a 1080p
// float frame is spared a trip through memory both ways. The decompression
// session emits pictures so and the reader converts them on band by band; the
// writer hands frames to the compression session so and the session lays them
// out band by band into the encoder's frame. Every other client sees an
// ordinary buffer: CVPixelBufferGetBaseAddress first has every row made into
// the buffer's memory, once, whichever threads ask, so QuickTime 7 code that
// locks and reads the pixels works unchanged (locking alone makes nothing).

// Writes rows [firstRow, firstRow + rowCount) to `rows`, `bytesPerRow` apart,
// and returns kCVReturnSuccess, or an error (the buffer then has no base
// address). Called on any thread, for any rows, also for the same rows twice;
// it writes the same bytes every time.
typedef CVReturn (*VqtCVPixelBufferProduceRowsCallback)(void* producerRefCon, size_t firstRow, size_t rowCount,
                                                        void* rows, size_t bytesPerRow);
// Gets `producerRefCon` when the producer is done with (the last reference
// goes, or the deferral ends); may be null.
typedef void (*VqtCVPixelBufferReleaseProducerCallback)(void* producerRefCon);

// A deferred buffer with memory of its own, allocated when the base address is
// first asked for (rows 16-byte aligned).
CVReturn VqtCVPixelBufferCreateDeferred(CFAllocatorRef allocator, size_t width, size_t height, OSType pixelFormatType,
                                        VqtCVPixelBufferProduceRowsCallback produceRows,
                                        VqtCVPixelBufferReleaseProducerCallback releaseProducer, void* producerRefCon,
                                        CVPixelBufferRef* pixelBufferOut);
// As CVPixelBufferCreateWithBytes, the lent memory left unwritten until a
// client asks for the base address.
CVReturn VqtCVPixelBufferCreateDeferredWithBytes(CFAllocatorRef allocator, size_t width, size_t height,
                                                 OSType pixelFormatType, void* baseAddress, size_t bytesPerRow,
                                                 CVPixelBufferReleaseBytesCallback releaseCallback, void* releaseRefCon,
                                                 VqtCVPixelBufferProduceRowsCallback produceRows,
                                                 VqtCVPixelBufferReleaseProducerCallback releaseProducer,
                                                 void* producerRefCon, CFDictionaryRef pixelBufferAttributes,
                                                 CVPixelBufferRef* pixelBufferOut);

// True while a buffer's rows still come from its producer (not made into its
// memory yet): reading them a few at a time is then cheaper than locking.
Boolean VqtCVPixelBufferIsDeferred(CVPixelBufferRef buffer);

// Rows [firstRow, firstRow + rowCount) of any pixel buffer, to read: `*rows`
// points into the buffer's own memory when it holds them (`*bytesPerRow` its
// stride), otherwise at `scratch`, into which a deferred buffer has just made
// them `scratchBytesPerRow` apart. `scratch` holds rowCount rows of at least
// the format's minimum bytes per row. kCVReturnInvalidArgument for rows outside
// the image or scratch too narrow.
CVReturn VqtCVPixelBufferGetRows(CVPixelBufferRef buffer, size_t firstRow, size_t rowCount, void* scratch,
                                 size_t scratchBytesPerRow, const void** rows, size_t* bytesPerRow);
// The same rows written to `destination` (each row's pixel bytes, rows
// `destinationBytesPerRow` apart), made there or copied from the memory.
CVReturn VqtCVPixelBufferCopyRows(CVPixelBufferRef buffer, size_t firstRow, size_t rowCount, void* destination,
                                  size_t destinationBytesPerRow);

// The creator's last word on the producer, before what it reads goes away: if
// anyone else still holds the buffer, every row is made into its memory now,
// so they keep seeing the pixels; the producer is released and not called
// again, and the buffer is an ordinary one from here on.
CVReturn VqtCVPixelBufferEndDeferral(CVPixelBufferRef buffer);
