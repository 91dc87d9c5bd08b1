// Session plumbing for the ICM tests: pixel buffers from test pictures, a
// compression session that collects its frames, a decompression session that
// records every tracking callback.
#pragma once

#include <QuickTime/ImageCompression.h>

#include <vector>

#include "TestImages.h"

namespace vqt::icm::test {

using namespace vqt::test;

// A pixel buffer holding a copy of `image` (own memory).
CVPixelBufferRef pixelBufferFrom(const TestImage& image);
// The pixels of a buffer, rows packed.
TestImage imageFrom(CVPixelBufferRef buffer);

struct CollectedFrame {
  std::vector<UInt8> data;
  TimeValue64 decodeTime, decodeDuration, displayTime, displayOffset;
  MediaSampleFlags flags;
};

struct Compressed {
  std::vector<CollectedFrame> frames;            // decode order
  ImageDescriptionHandle description = nullptr;  // a copy, owned by the caller
  OSStatus result = noErr;
};

struct CompressionSettings {
  CodecType codec;
  SInt32 keyFrameInterval = 0;
  bool reordering = false;
  CodecQ quality = codecNormalQuality;
  UInt32 depth = 24;
};

// Encodes the frames at one frame per 100 time units (time scale 2400).
Compressed compress(const CompressionSettings& settings, const std::vector<TestImage>& frames);

struct TrackingCall {
  OSStatus result;
  ICMDecompressionTrackingFlags flags;
  bool hadBuffer;
  void* refCon;
  TestImage pixels;  // when a buffer came
};

class DecompressionRecorder {
 public:
  explicit DecompressionRecorder(ImageDescriptionHandle description, OSType pixelFormat = k32ARGBPixelFormat);
  ~DecompressionRecorder();
  OSStatus created() const { return created_; }
  ICMDecompressionSessionRef session() const { return session_; }
  void releaseSession();
  // Feeds one sample; its refcon is the address of its frame in `frames`.
  OSStatus decode(const std::vector<CollectedFrame>& frames, std::size_t index, SInt32 flags);
  std::vector<TrackingCall> calls;

 private:
  static void track(void* refCon, OSStatus result, ICMDecompressionTrackingFlags flags, CVPixelBufferRef buffer,
                    TimeValue64, TimeValue64, ICMValidTimeFlags, void*, void* sourceRefCon);
  ICMDecompressionSessionRef session_ = nullptr;
  OSStatus created_ = noErr;
};

}  // namespace vqt::icm::test
