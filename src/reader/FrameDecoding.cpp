// Decoding one frame: from the frame number to its media sample, back to the
// sync sample before it, every sample from there through the decompression
// session, and the emitted pixel buffer's rows into the host's RGBA floats.
#include "QuickTimeCodecReaderPrivate.h"

#include "PixelFormatChoice.h"
#include "PixelFormatNames.h"
#include "RowBands.h"
#include "Diagnostics.h"

#include <vantor/quicktime/PixelKernels.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace Vantor::QuickTime {

namespace {

constexpr Fixed kRateOne = 0x00010000;
constexpr Fixed kRateMinusOne = static_cast<Fixed>(0xFFFF0000);
constexpr SInt32 kWantedFrameFlags = 0x10;    // decode now and show
constexpr SInt32 kEarlierSampleFlags = 0x20;  // decode for the ones after it, never show
constexpr SInt32 kFrameTimeRecordSize = 56;
constexpr CodecQ kDecodeAccuracy = codecHighQuality;
constexpr float kByteScale = std::bit_cast<float>(0x3B808081u);  // 1/255
constexpr float kWordScale = std::bit_cast<float>(0x37800000u);  // 1/65536

void addNumber(CFMutableDictionaryRef dictionary, CFStringRef key, SInt32 value) {
  CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value);
  if (!number) return;
  CFDictionaryAddValue(dictionary, key, number);
  CFRelease(number);
}

void swapWords(CVPixelBufferRef buffer) {
  auto* words = static_cast<UInt16*>(CVPixelBufferGetBaseAddress(buffer));
  if (!words) return;
  const size_t count = CVPixelBufferGetBytesPerRow(buffer) * CVPixelBufferGetHeight(buffer) / 2;
  for (size_t i = 0; i < count; ++i) words[i] = static_cast<UInt16>((words[i] >> 8) | (words[i] << 8));
}

// One row of the emitted buffer into a row of the host's floats.
void convertRow(OSType format, const UInt8* in, float* r, int pixels, const ChromaCoefficients& chroma) {
  float* g = r + 1;
  float* b = r + 2;
  float* a = r + 3;
  switch (format) {
    case k32ARGBPixelFormat:
      for (int x = 0; x < pixels; ++x) {
        a[4 * x] = in[4 * x] * kByteScale;
        r[4 * x] = in[4 * x + 1] * kByteScale;
        g[4 * x] = in[4 * x + 2] * kByteScale;
        b[4 * x] = in[4 * x + 3] * kByteScale;
      }
      break;
    case k64ARGBPixelFormat: {
      const auto* words = reinterpret_cast<const UInt16*>(in);
      for (int x = 0; x < pixels; ++x) {
        a[4 * x] = words[4 * x] * kWordScale;
        r[4 * x] = words[4 * x + 1] * kWordScale;
        g[4 * x] = words[4 * x + 2] * kWordScale;
        b[4 * x] = words[4 * x + 3] * kWordScale;
      }
      break;
    }
    case k48RGBPixelFormat: {
      const auto* words = reinterpret_cast<const UInt16*>(in);
      for (int x = 0; x < pixels; ++x) {
        r[4 * x] = words[3 * x] * kWordScale;
        g[4 * x] = words[3 * x + 1] * kWordScale;
        b[4 * x] = words[3 * x + 2] * kWordScale;
        a[4 * x] = 1.0f;
      }
      break;
    }
    case k2vuyPixelFormat:
      // An odd width ends in a group with Cb, Y' and Cr but no second pixel:
      // one byte more lets the kernel read that Cr for the last column.
      convert2vuyToRgb(in, a, r, g, b, 4, 2 * pixels + (pixels & 1), chroma);
      break;
    case kYUVSPixelFormat:
      convertYuvsToRgb(in, a, r, g, b, 4, 2 * pixels);
      break;
    case k4444YpCbCrA8RPixelFormat:
      convertR408ToRgb(in, a, r, g, b, 4, pixels);
      break;
    case k4444YpCbCrA32RPixelFormat:
      convertR4flToRgb(reinterpret_cast<const float*>(in), a, r, g, b, 4, pixels);
      break;
    default:
      break;
  }
}

}  // namespace

int QuickTimeCodecReaderPrivate::createDecompressionSession() {
  if (decompressionSession) return 0;
  if (videoRefusal) return 1;
  // Without a video medium there is no first sample to describe.
  TimeValue64 decodeTime = 0;
  if (videoMedia) SampleNumToMediaDecodeTime(videoMedia, 1, &decodeTime, nullptr);
  if (!videoMedia || GetMoviesError() != noErr) {
    diagnostic(LogLevel::kError, "Error finding decode time for start of movie\n");
    return 1;
  }
  Handle description = NewHandle(0);
  MediaSampleFlags sampleFlags = 0;
  if (!description ||
      GetMediaSample2(videoMedia, nullptr, 0, nullptr, decodeTime, nullptr, nullptr, nullptr,
                      reinterpret_cast<SampleDescriptionHandle>(description), nullptr, 1, nullptr,
                      &sampleFlags) != noErr ||
      static_cast<size_t>(GetHandleSize(description)) < sizeof(ImageDescription)) {
    if (description) DisposeHandle(description);
    diagnostic(LogLevel::kError, "Failed to size up media sample\n");
    return 1;
  }
  auto image = reinterpret_cast<ImageDescriptionHandle>(description);
  codecType = (**image).cType;
  ComponentDescription wanted{decompressorComponentType, codecType, 0, 0, cmpIsMissing};
  Component decompressor = FindNextComponent(nullptr, &wanted);

  CFMutableDictionaryRef attributes = CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                                &kCFTypeDictionaryValueCallBacks);
  if (!attributes) {
    DisposeHandle(description);
    diagnostic(LogLevel::kError, "Couldn't create dictionary\n");
    return 1;
  }
  if (width != 0) addNumber(attributes, kCVPixelBufferWidthKey, width);
  if (height != 0) addNumber(attributes, kCVPixelBufferHeightKey, height);
  int flags = 0;
  choosePixelFormat(decompressor, pixelFormat, flags, image);
  pixelFormatFlags = flags;
  if (pixelFormat != 0) addNumber(attributes, kCVPixelBufferPixelFormatTypeKey, static_cast<SInt32>(pixelFormat));

  ICMDecompressionSessionOptionsRef options = nullptr;
  if (ICMDecompressionSessionOptionsCreate(kCFAllocatorDefault, &options) == noErr) {
    CodecQ accuracy = kDecodeAccuracy;
    ICMDecompressionSessionOptionsSetProperty(options, kQTPropertyClass_ICMDecompressionSessionOptions,
                                              kICMDecompressionSessionOptionsPropertyID_Accuracy, sizeof(accuracy),
                                              &accuracy);
  } else {
    options = nullptr;
  }
  ICMDecompressionTrackingCallbackRecord tracking{&QuickTimeCodecReaderPrivate::trackingCallback, this};
  const OSStatus result =
      ICMDecompressionSessionCreate(kCFAllocatorDefault, image, options, attributes, &tracking, &decompressionSession);
  if (options) ICMDecompressionSessionOptionsRelease(options);
  if (result == noCodecErr) {
    // No decompressor will appear later: said once, and later frames fail
    // without trying again.
    videoRefusal = "No suitable codec found for this movie";
    diagnostic(LogLevel::kError, "%s\n", videoRefusal);
  } else if (result != noErr) {
    diagnostic(LogLevel::kError, "Failed to create decompression session\n");
  }
  CFRelease(attributes);
  DisposeHandle(description);
  if (result != noErr) decompressionSession = nullptr;
  return result != noErr ? 1 : 0;
}

int QuickTimeCodecReaderPrivate::decodeFrame(int frame, float* rgba) {
  releasePixelBuffer();
  // No frames (no video track, or a movie opened without the scan).
  if (frameCount <= 0 || !videoTrack || !videoMedia) return 1;
  // The scan has already said why no frame of this movie can be read.
  if (videoRefusal) return 1;

  // Frame k is the k-th stop of the open scan's walk through the track, not
  // (k - 1) times the track duration over the frame count: that step is
  // truncated to whole movie time units, and where the movie's time scale is
  // coarser than the media's (1000 against 24000 or 30000) the product falls
  // before the frame's start and picks the frame before it. The stops are
  // sample starts rounded up to the next movie time unit, so each lies inside
  // its own sample, after empty edits and at the start of every edit.
  const bool counted = frame >= 1 && static_cast<size_t>(frame) <= frameTimes.size();
  const TimeValue trackTime = counted ? frameTimes[static_cast<size_t>(frame - 1)] : -1;
  const auto mediaTime = static_cast<TimeValue64>(TrackTimeToMediaTime(trackTime, videoTrack));
  SInt64 target = 0;
  MediaDisplayTimeToSampleNum(videoMedia, mediaTime, &target, nullptr, nullptr);
  TimeValue64 decodeTime = 0;
  SampleNumToMediaDecodeTime(videoMedia, target, &decodeTime, nullptr);
  if (!counted || mediaTime < 0 || GetMoviesError() != noErr) {
    diagnostic(LogLevel::kError, "Error finding decode time for frame %d\n", frame);
    return 1;
  }

  createDecompressionSession();
  if (!decompressionSession) return 1;

  TimeValue64 syncTime = 0;
  GetMediaNextInterestingDecodeTime(videoMedia, nextTimeSyncSample | nextTimeEdgeOK, decodeTime, kRateMinusOne,
                                    &syncTime, nullptr);
  if (GetMoviesError() != noErr) {
    diagnostic(LogLevel::kError, "Error finding sync time for frame %d\n", frame);
    return 1;
  }
  SInt64 sample = 0;
  MediaDecodeTimeToSampleNum(videoMedia, syncTime, &sample, nullptr, nullptr);
  if (GetMoviesError() != noErr) {
    diagnostic(LogLevel::kError, "Error finding sync sample for frame %d", frame);
    return 1;
  }

  const TimeScale scale = GetMediaTimeScale(videoMedia);
  for (; sample <= target; ++sample) {
    TimeValue64 sampleTime = 0;
    SampleNumToMediaDecodeTime(videoMedia, sample, &sampleTime, nullptr);
    ByteCount size = 0;
    MediaSampleFlags sampleFlags = 0;
    if (GetMediaSample2(videoMedia, nullptr, 0, &size, sampleTime, nullptr, nullptr, nullptr, nullptr, nullptr, 1,
                        nullptr, &sampleFlags) != noErr) {
      diagnostic(LogLevel::kError, "Couldn't find frame %d in movie\n", frame);
      return 1;
    }
    // At least one byte, so that an empty sample still has memory to hand over.
    auto* data = static_cast<UInt8*>(malloc(std::max<ByteCount>(size, 1)));
    TimeValue64 decodeDuration = 0;
    if (!data || GetMediaSample2(videoMedia, data, size, nullptr, sampleTime, nullptr, &decodeDuration, nullptr,
                                 nullptr, nullptr, 1, nullptr, &sampleFlags) != noErr) {
      free(data);
      diagnostic(LogLevel::kError, "Couldn't get media for sample %lld\n", static_cast<long long>(sample));
      return 1;
    }
    ICMFrameTimeRecord frameTime{};
    frameTime.value = sampleTime;
    frameTime.scale = scale;
    frameTime.base = nullptr;
    frameTime.duration = static_cast<SInt32>(decodeDuration);
    frameTime.rate = kRateOne;
    frameTime.recordSize = kFrameTimeRecordSize;
    frameTime.frameNumber = static_cast<SInt32>(sample);
    frameTime.flags = sample == target ? kWantedFrameFlags : kEarlierSampleFlags;
    frameTime.virtualStartTime = 0;
    frameTime.virtualDuration = 0;
    frameTime.decodeTime = sampleTime;
    if (ICMDecompressionSessionDecodeFrame(decompressionSession, data, size, nullptr, &frameTime, data) != noErr) {
      // The session did not take the data, so its callback will not free it.
      free(data);
      diagnostic(LogLevel::kError, "Failed to decode sample %lld\n", static_cast<long long>(sample));
      return 1;
    }
  }
  ICMDecompressionSessionFlush(decompressionSession);
  return convertPixelBuffer(rgba);
}

void QuickTimeCodecReaderPrivate::trackingCallback(void* refCon, OSStatus result, ICMDecompressionTrackingFlags flags,
                                                   CVPixelBufferRef emitted, TimeValue64, TimeValue64,
                                                   ICMValidTimeFlags, void*, void* sourceFrameRefCon) {
  auto* reader = static_cast<QuickTimeCodecReaderPrivate*>(refCon);
  // The sample memory is ours to free whenever the session lets go of it,
  // also for a frame that failed; otherwise it would never be freed.
  if (flags & kICMDecompressionTracking_ReleaseSourceData) free(sourceFrameRefCon);
  if (result != noErr) {
    diagnosticError(LogLevel::kError, "Decode Error: %ld\n", static_cast<long>(result));
    return;
  }
  // A buffer kept from an earlier callback of the same decode is given back
  // (unlocked and released) before it is replaced.
  reader->releasePixelBuffer();
  if ((flags & kICMDecompressionTracking_EmittingFrame) && emitted) {
    CVPixelBufferRetain(emitted);
    CVPixelBufferLockBaseAddress(emitted, 0);
    reader->pixelBuffer = emitted;
    const OSType format = CVPixelBufferGetPixelFormatType(emitted);
    if ((format == k48RGBPixelFormat || format == k64ARGBPixelFormat) && !(reader->pixelFormatFlags & kSkipByteSwap)) {
      swapWords(emitted);  // the samples arrive big-endian
    }
  }
}

void QuickTimeCodecReaderPrivate::releasePixelBuffer() {
  if (!pixelBuffer) return;
  CVPixelBufferUnlockBaseAddress(pixelBuffer, 0);
  CVPixelBufferRelease(pixelBuffer);
  pixelBuffer = nullptr;
}

int QuickTimeCodecReaderPrivate::convertPixelBuffer(float* rgba) {
  // Nothing emitted (the decode failed, or no sample was decoded): nothing to read.
  if (!pixelBuffer) return 1;
  const auto bufferHeight = static_cast<SInt64>(CVPixelBufferGetHeight(pixelBuffer));
  const OSType format = CVPixelBufferGetPixelFormatType(pixelBuffer);
  switch (format) {
    case k32ARGBPixelFormat:
    case k64ARGBPixelFormat:
    case k48RGBPixelFormat:
    case k2vuyPixelFormat:
    case kYUVSPixelFormat:
    case k4444YpCbCrA8RPixelFormat:
    case k4444YpCbCrA32RPixelFormat:
      break;
    default:
      diagnostic(LogLevel::kError, "Unhandled pixel format: %s (%d)\n", pixelFormatDescription(format),
                 static_cast<int>(format));
      return 2;
  }
  if (height <= 0) return 0;
  // A buffer narrower than the track's image fills only the pixels it has; one
  // shorter than the image fills only the bottom rows it has (rows are aligned
  // at the last row).
  const int pixels = std::min<SInt64>(width, static_cast<SInt64>(CVPixelBufferGetWidth(pixelBuffer)));
  const ChromaCoefficients chroma = (codecType == 'mp4v' || codecType == 'avc1') ? kVideo2vuyMpeg : kVideo2vuyDefault;
  const SInt64 rows = std::min<SInt64>(height, bufferHeight);
  // The buffer's rows are read a few at a time (VqtCVPixelBufferGetRows): a
  // deferred buffer makes them then, into memory of each band's own that stays
  // in cache until the kernel below has read them, so a frame is written once
  // (the floats) instead of three times (the buffer, then the floats). A buffer
  // already made hands out its own rows. Either way each row meets the same
  // kernel, so the floats are the same.
  const size_t scratchBytesPerRow =
      (VqtCVPixelFormatMinimumBytesPerRow(format, CVPixelBufferGetWidth(pixelBuffer)) + 63) / 64 * 64;
  constexpr size_t kChunkBytes = 256 * 1024;
  const SInt64 chunkRows =
      std::max<SInt64>(2, static_cast<SInt64>(kChunkBytes / std::max<size_t>(scratchBytesPerRow, 1)) & ~SInt64{1});
  const unsigned bands = rowBandCount(rows);
  rowScratch.resize(static_cast<size_t>(bands) * static_cast<size_t>(chunkRows) * scratchBytesPerRow + 64);
  std::atomic<bool> failed{false};
  // Rows are independent: bands of them convert side by side, each row with
  // the same kernel as one thread would use, so the floats are the same.
  forRowBands(rows, [&](unsigned band, SInt64 first, SInt64 end) {
    auto* scratch = reinterpret_cast<UInt8*>((reinterpret_cast<uintptr_t>(rowScratch.data()) + 63) & ~uintptr_t{63}) +
                    static_cast<size_t>(band) * static_cast<size_t>(chunkRows) * scratchBytesPerRow;
    // Destination rows [first, end) take source rows [bufferHeight - end, bufferHeight - first).
    for (SInt64 chunkStart = bufferHeight - end; chunkStart < bufferHeight - first;) {
      const SInt64 chunkEnd = std::min(bufferHeight - first, (chunkStart / chunkRows + 1) * chunkRows);
      const void* chunk = nullptr;
      size_t bytesPerRow = 0;
      if (VqtCVPixelBufferGetRows(pixelBuffer, static_cast<size_t>(chunkStart),
                                  static_cast<size_t>(chunkEnd - chunkStart), scratch, scratchBytesPerRow, &chunk,
                                  &bytesPerRow) != kCVReturnSuccess) {
        failed = true;
        return;
      }
      for (SInt64 sourceRow = chunkStart; sourceRow < chunkEnd; ++sourceRow) {
        const SInt64 y = bufferHeight - 1 - sourceRow;
        const UInt8* in = static_cast<const UInt8*>(chunk) + static_cast<size_t>(sourceRow - chunkStart) * bytesPerRow;
        float* r = rgba + static_cast<size_t>(height - 1 - y) * static_cast<size_t>(width) * 4;
        convertRow(format, in, r, pixels, chroma);
      }
      chunkStart = chunkEnd;
    }
  });
  // A buffer without memory (its rows could not be made): nothing to read.
  return failed ? 1 : 0;
}

}  // namespace Vantor::QuickTime
