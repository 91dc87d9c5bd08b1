// The Image Compression Manager: the list of installed codecs, pixel format
// information, decompression sessions (compressed frames in, Core Video pixel
// buffers out through a tracking callback) and compression sessions (pixel
// buffers in, encoded frames out through an output callback). QuickTime's
// "long" fields are 32-bit here, as they were in a 32-bit process.
#pragma once

#include <Carbon/Components.h>
#include <Carbon/MacErrors.h>
#include <Carbon/MacMemory.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreVideo/CoreVideo.h>
#include <QuickTime/ImageDescription.h>
#include <QuickTime/QTProperties.h>

// Shared with the Movie Toolbox (identical redeclarations).
struct TimeBaseRecord;
typedef TimeBaseRecord* TimeBase;
typedef UInt32 MediaSampleFlags;

typedef Component CodecComponent;
typedef OSType ComponentPropertyClass;
typedef OSType ComponentPropertyID;
typedef const void* ConstComponentValuePtr;
typedef void* ComponentValuePtr;

// ---------------------------------------------------------------- codec list

struct CodecNameSpec {
  CodecComponent codec;
  CodecType cType;
  Str31 typeName;  // Pascal string
  Handle name;     // Pascal string: the component's information text
};

struct CodecNameSpecList {
  SInt16 count;
  CodecNameSpec list[1];  // `count` entries
};
typedef CodecNameSpecList* CodecNameSpecListPtr;

// One entry per installed compressor (not flagged cmpIsMissing), in registration
// order; showAll 0 keeps only the first per codec type and drops unnamed ones.
OSErr GetCodecNameList(CodecNameSpecListPtr* list, SInt16 showAll);
OSErr DisposeCodecNameList(CodecNameSpecListPtr list);

// -------------------------------------------------------- pixel format info

struct ICMPixelFormatInfo {
  UInt32 size;  // set by the caller; only this many bytes are read or written
  UInt32 formatFlags;
  SInt32 bitsPerPixel[14];
  Fixed defaultGammaLevel;
  SInt32 horizontalSubsampling[14];
  SInt32 verticalSubsampling[14];
  UInt32 cmpCount;
  UInt32 cmpSize;
};
typedef ICMPixelFormatInfo* ICMPixelFormatInfoPtr;

enum : UInt32 {
  kICMPixelFormatIsPlanarMask = 0x0F,
  kICMPixelFormatIsIndexed = 1u << 4,
  kICMPixelFormatIsSupportedByQD = 1u << 5,
  kICMPixelFormatIsMonochrome = 1u << 6,
  kICMPixelFormatHasAlphaChannel = 1u << 7,
};

// paramErr for formats not known to the system.
OSErr ICMGetPixelFormatInfo(OSType pixelFormat, ICMPixelFormatInfoPtr theInfo);
// Makes a format known; a format known from the start cannot be redefined (paramErr).
OSErr ICMSetPixelFormatInfo(OSType pixelFormat, ICMPixelFormatInfoPtr theInfo);

// ------------------------------------------------------- timing and flags

typedef UInt32 ICMValidTimeFlags;
enum : ICMValidTimeFlags {
  kICMValidTime_DisplayTimeStampIsValid = 1u << 0,
  kICMValidTime_DisplayDurationIsValid = 1u << 1,
  kICMValidTime_DecodeTimeStampIsValid = 1u << 2,
  kICMValidTime_DecodeDurationIsValid = 1u << 3,
};

struct ICMFrameTimeRecord {
  TimeValue64 value;  // display time of the frame
  TimeScale scale;
  TimeBase base;
  SInt32 duration;
  Fixed rate;
  SInt32 recordSize;
  SInt32 frameNumber;  // sample number: tells a session which samples it has seen
  SInt32 flags;
  TimeValue64 virtualStartTime;
  SInt32 virtualDuration;
  TimeValue64 decodeTime;
};
typedef ICMFrameTimeRecord* ICMFrameTimePtr;

enum : SInt32 {
  icmFrameTimeHasVirtualStartTimeAndDuration = 1 << 0,
  icmFrameTimeIsNonScheduledDisplayTime = 1 << 1,
  icmFrameTimeHasDecodeTime = 1 << 2,
  icmFrameTimeDecodeImmediately = 1 << 4,
  icmFrameTimeDoNotDisplay = 1 << 5,  // decode (others may need it), never emit
};

// ------------------------------------------------- decompression sessions

typedef struct OpaqueICMDecompressionSession* ICMDecompressionSessionRef;
typedef struct OpaqueICMDecompressionSessionOptions* ICMDecompressionSessionOptionsRef;
typedef struct OpaqueICMDecompressionFrameOptions* ICMDecompressionFrameOptionsRef;

typedef UInt32 ICMDecompressionTrackingFlags;
enum : ICMDecompressionTrackingFlags {
  kICMDecompressionTracking_LastCall = 1u << 0,           // last call for this source frame
  kICMDecompressionTracking_ReleaseSourceData = 1u << 1,  // the source data may be freed now
  kICMDecompressionTracking_EmittingFrame = 1u << 2,      // the pixel buffer holds the frame
  kICMDecompressionTracking_DecodedFrame = 1u << 3,
  kICMDecompressionTracking_FrameDropped = 1u << 4,
  kICMDecompressionTracking_FrameNeedsRequeueing = 1u << 5,
};

typedef void (*ICMDecompressionTrackingCallback)(void* decompressionTrackingRefCon, OSStatus result,
                                                 ICMDecompressionTrackingFlags decompressionTrackingFlags,
                                                 CVPixelBufferRef pixelBuffer, TimeValue64 displayTime,
                                                 TimeValue64 displayDuration, ICMValidTimeFlags validTimeFlags,
                                                 void* reserved, void* sourceFrameRefCon);

struct ICMDecompressionTrackingCallbackRecord {
  ICMDecompressionTrackingCallback decompressionTrackingCallback;
  void* decompressionTrackingRefCon;
};

constexpr ComponentPropertyClass kQTPropertyClass_ICMDecompressionSessionOptions = 'idso';
constexpr ComponentPropertyID kICMDecompressionSessionOptionsPropertyID_Accuracy = 'acur';         // CodecQ
constexpr ComponentPropertyID kICMDecompressionSessionOptionsPropertyID_NumberOfThreads = 'nthr';  // SInt32, 0 = all

OSStatus ICMDecompressionSessionOptionsCreate(CFAllocatorRef allocator, ICMDecompressionSessionOptionsRef* options);
OSStatus ICMDecompressionSessionOptionsSetProperty(ICMDecompressionSessionOptionsRef options,
                                                   ComponentPropertyClass inPropClass, ComponentPropertyID inPropID,
                                                   ByteCount inPropValueSize,
                                                   ConstComponentValuePtr inPropValueAddress);
OSStatus ICMDecompressionSessionOptionsGetProperty(ICMDecompressionSessionOptionsRef options,
                                                   ComponentPropertyClass inPropClass, ComponentPropertyID inPropID,
                                                   ByteCount inPropValueSize, ComponentValuePtr outPropValueAddress,
                                                   ByteCount* outPropValueSizeUsed);
ICMDecompressionSessionOptionsRef ICMDecompressionSessionOptionsRetain(ICMDecompressionSessionOptionsRef options);
void ICMDecompressionSessionOptionsRelease(ICMDecompressionSessionOptionsRef options);

// noCodecErr when no decompressor exists for the description's codec type.
// The attributes may name kCVPixelBufferPixelFormatTypeKey (default 32-bit ARGB;
// 32, 'b64a', 'b48r', '2vuy', 'yuvs', 'r408', 'r4fl' and 'v210' can be emitted);
// emitted buffers have the frame's own size.
OSStatus ICMDecompressionSessionCreate(CFAllocatorRef allocator, ImageDescriptionHandle desc,
                                       ICMDecompressionSessionOptionsRef decompressionOptions,
                                       CFDictionaryRef destinationPixelBufferAttributes,
                                       ICMDecompressionTrackingCallbackRecord* trackingCallbackRecord,
                                       ICMDecompressionSessionRef* decompressionSessionOut);
// Frames are decoded in the order given. The data must stay valid until the
// callback says kICMDecompressionTracking_ReleaseSourceData for its refcon.
// Once 32 frames to be shown are waiting, the session flushes by itself.
OSStatus ICMDecompressionSessionDecodeFrame(ICMDecompressionSessionRef session, const UInt8* data, ByteCount dataSize,
                                            ICMDecompressionFrameOptionsRef frameOptions,
                                            const ICMFrameTimeRecord* frameTime, void* sourceFrameRefCon);
// Emits every frame given since the last flush through the tracking callback:
// first the frames that are not shown (release only), then the shown ones in display order.
OSStatus ICMDecompressionSessionFlush(ICMDecompressionSessionRef session);
ICMDecompressionSessionRef ICMDecompressionSessionRetain(ICMDecompressionSessionRef session);
void ICMDecompressionSessionRelease(ICMDecompressionSessionRef session);
// Registers an image decompressor for `codecType` that decodes like our codec
// `decodesAs` and emits `emittedFormat` whatever format a session asks for
// (tests: a decompressor that emits 'v210'). Its 'cpix' lists `emittedFormat`.
Component VqtICMRegisterDecompressor(CodecType codecType, CodecType decodesAs, OSType emittedFormat, const char* name);

// Compressed samples the session has handed to its decoder so far (for tests and benchmarks).
UInt64 VqtICMDecompressionSessionGetDecodedSampleCount(ICMDecompressionSessionRef session);

// --------------------------------------------------- compression sessions

typedef struct OpaqueICMCompressionSession* ICMCompressionSessionRef;
typedef struct OpaqueICMCompressionSessionOptions* ICMCompressionSessionOptionsRef;
typedef struct OpaqueICMCompressionFrameOptions* ICMCompressionFrameOptionsRef;
typedef const struct OpaqueICMEncodedFrame* ICMEncodedFrameRef;
typedef struct OpaqueICMEncodedFrame* ICMMutableEncodedFrameRef;

typedef OSStatus (*ICMEncodedFrameOutputCallback)(void* encodedFrameOutputRefCon, ICMCompressionSessionRef session,
                                                  OSStatus error, ICMEncodedFrameRef frame, void* reserved);
struct ICMEncodedFrameOutputRecord {
  ICMEncodedFrameOutputCallback encodedFrameOutputCallback;
  void* encodedFrameOutputRefCon;
  CFAllocatorRef frameDataAllocator;
};

typedef void (*ICMSourceTrackingCallback)(void* sourceTrackingRefCon, UInt32 sourceTrackingFlags,
                                          void* sourceFrameRefCon, void* reserved);
struct ICMSourceTrackingCallbackRecord {
  ICMSourceTrackingCallback sourceTrackingCallback;
  void* sourceTrackingRefCon;
};
enum : UInt32 {
  kICMSourceTracking_LastCall = 1u << 0,
  kICMSourceTracking_ReleasedPixelBuffer = 1u << 1,
  kICMSourceTracking_FrameWasEncoded = 1u << 2,
  kICMSourceTracking_FrameWasDropped = 1u << 3,
  kICMSourceTracking_FrameWasMerged = 1u << 4,
};

typedef UInt16 ICMFrameType;
enum : ICMFrameType { kICMFrameType_I = 'I', kICMFrameType_P = 'P', kICMFrameType_B = 'B', kICMFrameType_Unknown = 0 };

constexpr ComponentPropertyClass kQTPropertyClass_ICMCompressionSessionOptions = 'icso';
constexpr ComponentPropertyID kICMCompressionSessionOptionsPropertyID_CompressorComponent = 'imco';  // CodecComponent
constexpr ComponentPropertyID kICMCompressionSessionOptionsPropertyID_ExpectedFrameRate = 'fran';    // Fixed
constexpr ComponentPropertyID kICMCompressionSessionOptionsPropertyID_MaxKeyFrameInterval = 'kyfr';  // SInt32
constexpr ComponentPropertyID kICMCompressionSessionOptionsPropertyID_Quality = 'qual';              // CodecQ
constexpr ComponentPropertyID kICMCompressionSessionOptionsPropertyID_Depth = 'deep';                // UInt32
constexpr ComponentPropertyID kICMCompressionSessionOptionsPropertyID_AllowTemporalCompression = 'p2p ';  // Boolean
constexpr ComponentPropertyID kICMCompressionSessionOptionsPropertyID_AllowFrameReordering = 'b2p ';      // Boolean
constexpr ComponentPropertyID kICMCompressionSessionOptionsPropertyID_NumberOfThreads = 'nthr';  // SInt32, 0 = all
// SInt32 bytes per second the compressor aims at on average; 0 (the default) leaves the rate to the quality.
constexpr ComponentPropertyID kICMCompressionSessionOptionsPropertyID_AverageDataRate = 'aver';
// Boolean, true by default (an extension of ours): the session lays out and encodes each frame on a thread of its
// own while the caller prepares the next. Calls stay synchronous in effect: encoded frames, errors and source
// tracking reach the caller's thread, at the next call into the session, in order, and the bytes are the same.
constexpr ComponentPropertyID kICMCompressionSessionOptionsPropertyID_EncodeAhead = 'enah';

OSStatus ICMCompressionSessionOptionsCreate(CFAllocatorRef allocator, ICMCompressionSessionOptionsRef* options);
OSStatus ICMCompressionSessionOptionsCreateCopy(CFAllocatorRef allocator, ICMCompressionSessionOptionsRef original,
                                                ICMCompressionSessionOptionsRef* copiedOptions);
ICMCompressionSessionOptionsRef ICMCompressionSessionOptionsRetain(ICMCompressionSessionOptionsRef options);
void ICMCompressionSessionOptionsRelease(ICMCompressionSessionOptionsRef options);
OSStatus ICMCompressionSessionOptionsSetAllowTemporalCompression(ICMCompressionSessionOptionsRef options,
                                                                 Boolean allowTemporalCompression);
Boolean ICMCompressionSessionOptionsGetAllowTemporalCompression(ICMCompressionSessionOptionsRef options);
OSStatus ICMCompressionSessionOptionsSetAllowFrameReordering(ICMCompressionSessionOptionsRef options,
                                                             Boolean allowFrameReordering);
Boolean ICMCompressionSessionOptionsGetAllowFrameReordering(ICMCompressionSessionOptionsRef options);
OSStatus ICMCompressionSessionOptionsSetMaxKeyFrameInterval(ICMCompressionSessionOptionsRef options,
                                                            SInt32 maxKeyFrameInterval);
SInt32 ICMCompressionSessionOptionsGetMaxKeyFrameInterval(ICMCompressionSessionOptionsRef options);
OSStatus ICMCompressionSessionOptionsSetProperty(ICMCompressionSessionOptionsRef options,
                                                 ComponentPropertyClass inPropClass, ComponentPropertyID inPropID,
                                                 ByteCount inPropValueSize, ConstComponentValuePtr inPropValueAddress);
OSStatus ICMCompressionSessionOptionsGetProperty(ICMCompressionSessionOptionsRef options,
                                                 ComponentPropertyClass inPropClass, ComponentPropertyID inPropID,
                                                 ByteCount inPropValueSize, ComponentValuePtr outPropValueAddress,
                                                 ByteCount* outPropValueSizeUsed);

// noCodecErr when no compressor exists for `cType`.
OSStatus ICMCompressionSessionCreate(CFAllocatorRef allocator, int width, int height, CodecType cType,
                                     TimeScale timescale, ICMCompressionSessionOptionsRef compressionOptions,
                                     CFDictionaryRef sourcePixelBufferAttributes,
                                     ICMEncodedFrameOutputRecord* encodedFrameOutputRecord,
                                     ICMCompressionSessionRef* compressionSessionOut);
// The session keeps its own reference to the pixel buffer while it needs it.
OSStatus ICMCompressionSessionEncodeFrame(ICMCompressionSessionRef session, CVPixelBufferRef pixelBuffer,
                                          TimeValue64 displayTimeStamp, TimeValue64 displayDuration,
                                          ICMValidTimeFlags validTimeFlags, ICMCompressionFrameOptionsRef frameOptions,
                                          ICMSourceTrackingCallbackRecord* sourceTrackingCallback,
                                          void* sourceFrameRefCon);
OSStatus ICMCompressionSessionCompleteFrames(ICMCompressionSessionRef session, Boolean completeAllFrames,
                                             TimeValue64 completeUntilDisplayTimeStamp,
                                             TimeValue64 nextDisplayTimeStamp);
ICMCompressionSessionRef ICMCompressionSessionRetain(ICMCompressionSessionRef session);
void ICMCompressionSessionRelease(ICMCompressionSessionRef session);
// The image description frames of this session carry (owned by the session).
OSStatus ICMCompressionSessionGetImageDescription(ICMCompressionSessionRef session,
                                                  ImageDescriptionHandle* imageDescOut);
TimeScale ICMCompressionSessionGetTimeScale(ICMCompressionSessionRef session);

// Encoded frames are valid during the output callback (retain to keep them).
ICMEncodedFrameRef ICMEncodedFrameRetain(ICMEncodedFrameRef frame);
void ICMEncodedFrameRelease(ICMEncodedFrameRef frame);
UInt8* ICMEncodedFrameGetDataPtr(ICMEncodedFrameRef frame);
ByteCount ICMEncodedFrameGetDataSize(ICMEncodedFrameRef frame);
ByteCount ICMEncodedFrameGetBufferSize(ICMEncodedFrameRef frame);
TimeValue64 ICMEncodedFrameGetDecodeTimeStamp(ICMEncodedFrameRef frame);
TimeValue64 ICMEncodedFrameGetDecodeDuration(ICMEncodedFrameRef frame);
TimeValue64 ICMEncodedFrameGetDisplayTimeStamp(ICMEncodedFrameRef frame);
TimeValue64 ICMEncodedFrameGetDisplayDuration(ICMEncodedFrameRef frame);
// Display time minus decode time (positive when frames are reordered).
TimeValue64 ICMEncodedFrameGetDisplayOffset(ICMEncodedFrameRef frame);
ICMValidTimeFlags ICMEncodedFrameGetValidTimeFlags(ICMEncodedFrameRef frame);
TimeScale ICMEncodedFrameGetTimeScale(ICMEncodedFrameRef frame);
// The Movie Toolbox's sample flags: mediaSampleNotSync (1 << 0) for frames that
// are not key frames, mediaSampleIsNotDependedOnByOthers (1 << 27) for droppable ones.
MediaSampleFlags ICMEncodedFrameGetMediaSampleFlags(ICMEncodedFrameRef frame);
ICMFrameType ICMEncodedFrameGetFrameType(ICMEncodedFrameRef frame);
// The session's image description, shared by its frames; changing its
// properties ('pasp', 'nclc', ...) changes what later frames carry.
OSStatus ICMEncodedFrameGetImageDescription(ICMEncodedFrameRef frame, ImageDescriptionHandle* imageDescOut);
