// The settings a compression session is made with.
#pragma once

#include <QuickTime/ImageCompression.h>

#include <atomic>

struct OpaqueICMCompressionSessionOptions {
  std::atomic<long> references{1};
  Boolean allowTemporalCompression = false;
  Boolean allowFrameReordering = false;
  SInt32 maxKeyFrameInterval = 0;  // 0: the codec decides
  CodecComponent compressor = nullptr;
  Fixed expectedFrameRate = 0;
  CodecQ quality = codecNormalQuality;
  UInt32 depth = 24;
  SInt32 threads = 0;
  SInt32 averageDataRate = 0;  // bytes per second, 0: the quality decides
  Boolean encodeAhead = true;
};
