#include "IcmTestSupport.h"

#include <gtest/gtest.h>

#include <cstring>

namespace vqt::icm::test {

CVPixelBufferRef pixelBufferFrom(const TestImage& image) {
  CVPixelBufferRef buffer = nullptr;
  EXPECT_EQ(CVPixelBufferCreate(nullptr, image.width, image.height, image.format, nullptr, &buffer), kCVReturnSuccess);
  if (buffer == nullptr) return nullptr;
  auto* base = static_cast<UInt8*>(CVPixelBufferGetBaseAddress(buffer));
  for (int y = 0; y < image.height; ++y)
    std::memcpy(base + y * CVPixelBufferGetBytesPerRow(buffer), image.bytes.data() + y * image.bytesPerRow,
                image.bytesPerRow);
  return buffer;
}

TestImage imageFrom(CVPixelBufferRef buffer) {
  TestImage image(CVPixelBufferGetPixelFormatType(buffer), static_cast<int>(CVPixelBufferGetWidth(buffer)),
                  static_cast<int>(CVPixelBufferGetHeight(buffer)));
  const auto* base = static_cast<const UInt8*>(CVPixelBufferGetBaseAddress(buffer));
  for (int y = 0; y < image.height; ++y)
    std::memcpy(image.bytes.data() + y * image.bytesPerRow, base + y * CVPixelBufferGetBytesPerRow(buffer),
                image.bytesPerRow);
  return image;
}

namespace {

OSStatus collect(void* refCon, ICMCompressionSessionRef, OSStatus error, ICMEncodedFrameRef frame, void*) {
  auto* out = static_cast<Compressed*>(refCon);
  if (error != noErr) return error;
  const UInt8* data = ICMEncodedFrameGetDataPtr(frame);
  out->frames.push_back({std::vector<UInt8>(data, data + ICMEncodedFrameGetDataSize(frame)),
                         ICMEncodedFrameGetDecodeTimeStamp(frame), ICMEncodedFrameGetDecodeDuration(frame),
                         ICMEncodedFrameGetDisplayTimeStamp(frame), ICMEncodedFrameGetDisplayOffset(frame),
                         ICMEncodedFrameGetMediaSampleFlags(frame)});
  if (out->description == nullptr) {
    ImageDescriptionHandle shared = nullptr;
    EXPECT_EQ(ICMEncodedFrameGetImageDescription(frame, &shared), noErr);
    Handle copy = reinterpret_cast<Handle>(shared);
    EXPECT_EQ(HandToHand(&copy), noErr);
    out->description = reinterpret_cast<ImageDescriptionHandle>(copy);
  }
  return noErr;
}

}  // namespace

Compressed compress(const CompressionSettings& settings, const std::vector<TestImage>& frames) {
  Compressed out;
  ICMCompressionSessionOptionsRef options = nullptr;
  EXPECT_EQ(ICMCompressionSessionOptionsCreate(nullptr, &options), noErr);
  ICMCompressionSessionOptionsSetAllowTemporalCompression(options, true);
  ICMCompressionSessionOptionsSetAllowFrameReordering(options, settings.reordering);
  ICMCompressionSessionOptionsSetMaxKeyFrameInterval(options, settings.keyFrameInterval);
  ICMCompressionSessionOptionsSetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions,
                                          kICMCompressionSessionOptionsPropertyID_Quality, 4, &settings.quality);
  ICMCompressionSessionOptionsSetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions,
                                          kICMCompressionSessionOptionsPropertyID_Depth, 4, &settings.depth);
  ICMEncodedFrameOutputRecord record{collect, &out, nullptr};
  ICMCompressionSessionRef session = nullptr;
  out.result = ICMCompressionSessionCreate(nullptr, frames.at(0).width, frames.at(0).height, settings.codec, 2400,
                                           options, nullptr, &record, &session);
  ICMCompressionSessionOptionsRelease(options);
  if (out.result != noErr) return out;
  for (std::size_t i = 0; i < frames.size() && out.result == noErr; ++i) {
    CVPixelBufferRef buffer = pixelBufferFrom(frames[i]);
    out.result = ICMCompressionSessionEncodeFrame(
        session, buffer, static_cast<TimeValue64>(i) * 100, 100,
        kICMValidTime_DisplayTimeStampIsValid | kICMValidTime_DisplayDurationIsValid, nullptr, nullptr, nullptr);
    CVPixelBufferRelease(buffer);
  }
  if (out.result == noErr) out.result = ICMCompressionSessionCompleteFrames(session, true, 0, 0);
  ICMCompressionSessionRelease(session);
  return out;
}

DecompressionRecorder::DecompressionRecorder(ImageDescriptionHandle description, OSType pixelFormat) {
  CFMutableDictionaryRef attributes =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  const SInt32 format = static_cast<SInt32>(pixelFormat);
  CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &format);
  CFDictionaryAddValue(attributes, kCVPixelBufferPixelFormatTypeKey, number);
  CFRelease(number);
  ICMDecompressionTrackingCallbackRecord record{track, this};
  created_ = ICMDecompressionSessionCreate(nullptr, description, nullptr, attributes, &record, &session_);
  CFRelease(attributes);
}

DecompressionRecorder::~DecompressionRecorder() { releaseSession(); }

void DecompressionRecorder::releaseSession() {
  ICMDecompressionSessionRelease(session_);
  session_ = nullptr;
}

OSStatus DecompressionRecorder::decode(const std::vector<CollectedFrame>& frames, std::size_t index, SInt32 flags) {
  ICMFrameTimeRecord time{};
  time.value = frames[index].decodeTime;
  time.scale = 2400;
  time.duration = static_cast<SInt32>(frames[index].decodeDuration);
  time.rate = 0x00010000;
  time.recordSize = sizeof time;
  time.frameNumber = static_cast<SInt32>(index + 1);
  time.flags = flags;
  time.decodeTime = frames[index].decodeTime;
  return ICMDecompressionSessionDecodeFrame(session_, frames[index].data.data(), frames[index].data.size(), nullptr,
                                            &time, const_cast<CollectedFrame*>(&frames[index]));
}

void DecompressionRecorder::track(void* refCon, OSStatus result, ICMDecompressionTrackingFlags flags,
                                  CVPixelBufferRef buffer, TimeValue64, TimeValue64, ICMValidTimeFlags, void*,
                                  void* sourceRefCon) {
  auto* self = static_cast<DecompressionRecorder*>(refCon);
  TrackingCall call{result, flags, buffer != nullptr, sourceRefCon, {}};
  if (buffer != nullptr) {
    CVPixelBufferLockBaseAddress(buffer, 0);
    call.pixels = imageFrom(buffer);
    CVPixelBufferUnlockBaseAddress(buffer, 0);
  }
  self->calls.push_back(std::move(call));
}

}  // namespace vqt::icm::test
