#include "PreviewCompressor.h"

#include <QuickTime/ImageCompression.h>

#include <memory>
#include <string>
#include <vector>

namespace vqt::binding {
namespace {

constexpr TimeScale kTimeScale = 600;

struct CompressionSessionRelease {
  void operator()(ICMCompressionSessionRef s) const { ICMCompressionSessionRelease(s); }
};
struct OptionsRelease {
  void operator()(ICMCompressionSessionOptionsRef o) const { ICMCompressionSessionOptionsRelease(o); }
};
struct DecompressionSessionRelease {
  void operator()(ICMDecompressionSessionRef s) const { ICMDecompressionSessionRelease(s); }
};
struct PixelBufferRelease {
  void operator()(CVPixelBufferRef b) const { CVPixelBufferRelease(b); }
};
using CompressionSession = std::unique_ptr<OpaqueICMCompressionSession, CompressionSessionRelease>;
using Options = std::unique_ptr<OpaqueICMCompressionSessionOptions, OptionsRelease>;
using DecompressionSession = std::unique_ptr<OpaqueICMDecompressionSession, DecompressionSessionRelease>;
using PixelBuffer = std::unique_ptr<__CVBuffer, PixelBufferRelease>;

std::string failure(const char* what, OSStatus err) {
  return std::string(what) + " (error " + std::to_string(err) + ")";
}

// 8-bit ARGB, the format every compressor and decompressor here exchanges.
PixelBuffer argbBufferFrom(const dialogs::RgbaImage& picture) {
  CVPixelBufferRef made = nullptr;
  if (CVPixelBufferCreate(nullptr, std::size_t(picture.width), std::size_t(picture.height), k32ARGBPixelFormat, nullptr,
                          &made) != kCVReturnSuccess)
    return nullptr;
  PixelBuffer buffer(made);
  auto* base = static_cast<UInt8*>(CVPixelBufferGetBaseAddress(made));
  const std::size_t rowBytes = CVPixelBufferGetBytesPerRow(made);
  for (int y = 0; y < picture.height; ++y) {
    const UInt8* from = picture.pixels.data() + std::size_t(y) * std::size_t(picture.width) * 4;
    UInt8* to = base + std::size_t(y) * rowBytes;
    for (int x = 0; x < picture.width; ++x, from += 4, to += 4) {
      to[0] = from[3];
      to[1] = from[0];
      to[2] = from[1];
      to[3] = from[2];
    }
  }
  return buffer;
}

dialogs::RgbaImage rgbaFrom(CVPixelBufferRef buffer) {
  dialogs::RgbaImage image{int(CVPixelBufferGetWidth(buffer)), int(CVPixelBufferGetHeight(buffer)), {}};
  CVPixelBufferLockBaseAddress(buffer, 0);
  const auto* base = static_cast<const UInt8*>(CVPixelBufferGetBaseAddress(buffer));
  const std::size_t rowBytes = CVPixelBufferGetBytesPerRow(buffer);
  image.pixels.reserve(std::size_t(image.width) * std::size_t(image.height) * 4);
  for (int y = 0; y < image.height; ++y) {
    const UInt8* from = base + std::size_t(y) * rowBytes;
    for (int x = 0; x < image.width; ++x, from += 4)
      image.pixels.insert(image.pixels.end(), {from[1], from[2], from[3], from[0]});
  }
  CVPixelBufferUnlockBaseAddress(buffer, 0);
  return image;
}

struct Encoded {
  std::vector<UInt8> data;
  bool received = false;
};

OSStatus keepFrame(void* refCon, ICMCompressionSessionRef, OSStatus error, ICMEncodedFrameRef frame, void*) {
  if (error != noErr) return error;
  auto* encoded = static_cast<Encoded*>(refCon);
  if (encoded->received) return noErr;  // one picture in, one frame kept
  const UInt8* data = ICMEncodedFrameGetDataPtr(frame);
  encoded->data.assign(data, data + ICMEncodedFrameGetDataSize(frame));
  encoded->received = true;
  return noErr;
}

struct Decoded {
  dialogs::RgbaImage image;
  OSStatus error = noErr;
};

void keepPicture(void* refCon, OSStatus result, ICMDecompressionTrackingFlags flags, CVPixelBufferRef buffer,
                 TimeValue64, TimeValue64, ICMValidTimeFlags, void*, void*) {
  auto* decoded = static_cast<Decoded*>(refCon);
  if (result != noErr) decoded->error = result;
  if ((flags & kICMDecompressionTracking_EmittingFrame) && buffer != nullptr) decoded->image = rgbaFrom(buffer);
}

OSStatus setOption(ICMCompressionSessionOptionsRef options, ComponentPropertyID id, UInt32 value) {
  return ICMCompressionSessionOptionsSetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions, id,
                                                 sizeof value, &value);
}

}  // namespace

dialogs::PreviewResult compressPreview(const dialogs::RgbaImage& picture, const dialogs::ImageSettings& settings) {
  if (!picture.valid()) return {{}, "No sample picture"};
  ICMCompressionSessionOptionsRef madeOptions = nullptr;
  if (OSStatus err = ICMCompressionSessionOptionsCreate(nullptr, &madeOptions); err != noErr)
    return {{}, failure("Could not set up the compressor", err)};
  Options options(madeOptions);
  // One picture: a key frame at the chosen quality, with alpha where the codec keeps it.
  ICMCompressionSessionOptionsSetAllowTemporalCompression(madeOptions, false);
  ICMCompressionSessionOptionsSetAllowFrameReordering(madeOptions, false);
  setOption(madeOptions, kICMCompressionSessionOptionsPropertyID_Quality, settings.spatialQuality);
  setOption(madeOptions, kICMCompressionSessionOptionsPropertyID_Depth, 32);

  Encoded encoded;
  ICMEncodedFrameOutputRecord output{keepFrame, &encoded, nullptr};
  ICMCompressionSessionRef madeSession = nullptr;
  if (OSStatus err = ICMCompressionSessionCreate(nullptr, picture.width, picture.height, settings.codecType, kTimeScale,
                                                 madeOptions, nullptr, &output, &madeSession);
      err != noErr)
    return {{}, failure("No compressor for this codec", err)};
  CompressionSession session(madeSession);
  PixelBuffer source = argbBufferFrom(picture);
  if (!source) return {{}, "Could not make the picture's pixel buffer"};
  OSStatus err = ICMCompressionSessionEncodeFrame(
      madeSession, source.get(), 0, 1, kICMValidTime_DisplayTimeStampIsValid | kICMValidTime_DisplayDurationIsValid,
      nullptr, nullptr, nullptr);
  if (err == noErr) err = ICMCompressionSessionCompleteFrames(madeSession, true, 0, 0);
  if (err != noErr) return {{}, failure("The picture could not be compressed", err)};
  if (!encoded.received) return {{}, "The compressor returned no frame"};

  ImageDescriptionHandle description = nullptr;  // owned by the compression session
  if (OSStatus e = ICMCompressionSessionGetImageDescription(madeSession, &description); e != noErr)
    return {{}, failure("The compressed picture has no description", e)};
  Decoded decoded;
  ICMDecompressionTrackingCallbackRecord tracking{keepPicture, &decoded};
  ICMDecompressionSessionRef madeDecompression = nullptr;
  if (OSStatus e = ICMDecompressionSessionCreate(nullptr, description, nullptr, nullptr, &tracking, &madeDecompression);
      e != noErr)
    return {{}, failure("No decompressor for this codec", e)};
  DecompressionSession decompression(madeDecompression);
  ICMFrameTimeRecord time{};
  time.scale = kTimeScale;
  time.duration = 1;
  time.rate = fixed1;
  time.recordSize = sizeof time;
  time.frameNumber = 1;
  err = ICMDecompressionSessionDecodeFrame(madeDecompression, encoded.data.data(), ByteCount(encoded.data.size()),
                                           nullptr, &time, nullptr);
  if (err == noErr) err = ICMDecompressionSessionFlush(madeDecompression);
  if (err == noErr) err = decoded.error;
  if (err != noErr) return {{}, failure("The compressed picture could not be decoded", err)};
  if (!decoded.image.valid()) return {{}, "The decompressor returned no picture"};
  return {std::move(decoded.image), {}};
}

}  // namespace vqt::binding
