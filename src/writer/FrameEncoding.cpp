// Frame encoding: the compression session made on the first frame from the
// writer's settings, host frames laid out in the codec's pixel format and
// encoded, and the encoded frames appended to the video media.
#include <CoreVideo/CVPixelBuffer.h>
#include <QuickTime/QuickTimeComponents.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "FrameFill.h"
#include "FrameMemoryPool.h"
#include "MovieWritingConstants.h"
#include "PixelFormatChoice.h"
#include "QuickTimeCodecWriterPrivate.h"
#include "SettingsText.h"
#include "Diagnostics.h"

namespace Vantor::QuickTime {

namespace {

constexpr OSStatus kFrameDroppedByCodec = -8961;

// The host frame of one encodeFrame call, from which the pixel buffer's rows
// are made when the session asks for them.
struct HostFrame {
  OSType pixelFormat;
  const void* pixels;
  bool pixelsAreBytes;
  int width;
  int height;
  bool swapB64a;
};

CVReturn produceRows(void* refCon, size_t firstRow, size_t rowCount, void* destination, size_t bytesPerRow) {
  const auto& host = *static_cast<const HostFrame*>(refCon);
  fillFrameRows(host.pixelFormat, host.pixels, host.pixelsAreBytes, host.width, host.height, static_cast<int>(firstRow),
                static_cast<int>(rowCount), bytesPerRow, host.swapB64a, static_cast<std::uint8_t*>(destination));
  return kCVReturnSuccess;
}

void setOption(ICMCompressionSessionOptionsRef options, ComponentPropertyID id, SInt32 value) {
  ICMCompressionSessionOptionsSetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions, id, 4, &value);
}

// Session options from a settings text, or null when there is none or the
// component refuses it.
ICMCompressionSessionOptionsRef optionsFromSettingsText(const std::string& text) {
  if (text.empty()) return nullptr;
  Handle settings = decodeSettingsText(text);
  if (settings == nullptr) return nullptr;
  ICMCompressionSessionOptionsRef options = nullptr;
  ComponentInstance ci = OpenDefaultComponent(StandardCompressionType, StandardCompressionSubType);
  if (ci != nullptr) {
    SInt32 flags = scAllowEncodingWithCompressionSession;
    SCSetInfo(ci, scPreferenceFlagsType, &flags);
    const ComponentResult loaded = SCSetSettingsFromAtomContainer(ci, settings);
    if (loaded == noErr) SCCopyCompressionSessionOptions(ci, &options);
    CloseComponent(ci);
  }
  // Disposed of on every path, also when the component could not be opened.
  DisposeHandle(settings);
  return options;
}

}  // namespace

QuickTimeCodecWriterPrivate::~QuickTimeCodecWriterPrivate() {
  // A movie left open still holds its session and with it frames of the pool;
  // its temporary file goes with `staged`, leaving the destination as it was.
  releaseMovie();
  if (framePool != nullptr) framePool->release();
}

int QuickTimeCodecWriterPrivate::createCompressionSession() {
  if (compressionSession != nullptr) return 0;
  ICMCompressionSessionOptionsRef options = optionsFromSettingsText(settingsText);

  ComponentDescription wanted{'imco', codecType, 0, 0, cmpIsMissing};
  Component compressor = FindNextComponent(nullptr, &wanted);
  int flags = pixelFormatFlags;
  choosePixelFormat(compressor, pixelFormat, flags);
  pixelFormatFlags = flags;

  if (options == nullptr) ICMCompressionSessionOptionsCreate(nullptr, &options);
  OSStatus error = options == nullptr ? static_cast<OSStatus>(memFullErr) : noErr;
  if (options != nullptr) {
    ICMCompressionSessionOptionsSetAllowTemporalCompression(options, true);
    ICMCompressionSessionOptionsSetAllowFrameReordering(options, true);
    ICMCompressionSessionOptionsSetMaxKeyFrameInterval(options, keyFrameRate);
    ICMCompressionSessionOptionsSetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions,
                                            kICMCompressionSessionOptionsPropertyID_CompressorComponent,
                                            sizeof(compressor), &compressor);
    setOption(options, kICMCompressionSessionOptionsPropertyID_ExpectedFrameRate, frameRate);
    setOption(options, kICMCompressionSessionOptionsPropertyID_MaxKeyFrameInterval, keyFrameRate);
    // ProRes 422 HQ is always asked for at high quality.
    setOption(options, kICMCompressionSessionOptionsPropertyID_Quality,
              static_cast<SInt32>(codecType == 'apch' ? codecHighQuality : spatialQuality));
    // The writer's own rate wins over a settings text's, as its key frames and quality do.
    setOption(options, kICMCompressionSessionOptionsPropertyID_AverageDataRate, dataRate);
    if (channels == 4) setOption(options, kICMCompressionSessionOptionsPropertyID_Depth, 32);

    ICMEncodedFrameOutputRecord output{&QuickTimeCodecWriterPrivate::encodedFrameOutput, this, nullptr};
    error = ICMCompressionSessionCreate(nullptr, width, height, codecType, timeScale, options, nullptr, &output,
                                        &compressionSession);
    ICMCompressionSessionOptionsRelease(options);
  }
  if (error != noErr || compressionSession == nullptr) {
    // Name the codec and size: a codec that cannot hold this size (DV takes
    // only its own frame sizes) refuses it here.
    const char type[5] = {static_cast<char>(codecType >> 24), static_cast<char>(codecType >> 16),
                          static_cast<char>(codecType >> 8), static_cast<char>(codecType), 0};
    diagnostic(LogLevel::kError, "Failed to create compression session for '%s' at %dx%d: %ld\n", type, width, height,
               static_cast<long>(error));
    compressionSession = nullptr;
    return 7;
  }
  return 0;
}

int QuickTimeCodecWriterPrivate::encodeFrame(int frame, const void* pixels, bool pixelsAreBytes) {
  if (const int made = createCompressionSession(); made != 0) return made;
  const std::size_t bytesPerRow = frameBytesPerRow(pixelFormat, width);
  if (bytesPerRow == 0) return 8;
  // A null host frame or a size of zero would be read past or divide nothing
  // useful; treat it as an encoding failure.
  if (pixels == nullptr || height <= 0) return 1;
  const std::size_t size = bytesPerRow * static_cast<std::size_t>(height);
  if (framePool == nullptr) framePool = FrameMemoryPool::create();
  auto* memory = static_cast<std::uint8_t*>(framePool->take(size));
  if (memory == nullptr) return 5;

  // The buffer's rows are made from the host frame when the session asks for
  // them: a session that lays the frame out band by band takes them a few rows
  // at a time while they are in the cache, and the frame memory is written
  // only for a session that reads the whole buffer (the same bytes either way).
  HostFrame host{pixelFormat, pixels, pixelsAreBytes, width, height, swapB64a};
  CVPixelBufferRef pixelBuffer = nullptr;
  const CVReturn made = VqtCVPixelBufferCreateDeferredWithBytes(
      kCFAllocatorDefault, static_cast<std::size_t>(width), static_cast<std::size_t>(height), pixelFormat, memory,
      bytesPerRow, &FrameMemoryPool::giveBack, framePool, &produceRows, nullptr, &host, nullptr, &pixelBuffer);
  if (made != kCVReturnSuccess || pixelBuffer == nullptr) {
    FrameMemoryPool::giveBack(framePool, memory);
    diagnostic(LogLevel::kError, "Failed to create pixel buffer\n");
    return 1;
  }
  // The display time is formed in 64 bits: a 32-bit product would wrap for
  // long movies at fine time scales.
  const TimeValue64 displayTime = static_cast<TimeValue64>(frame) * frameDuration;
  const OSStatus error = ICMCompressionSessionEncodeFrame(
      compressionSession, pixelBuffer, displayTime, frameDuration,
      kICMValidTime_DisplayTimeStampIsValid | kICMValidTime_DisplayDurationIsValid, nullptr, nullptr, nullptr);
  // The host frame is the caller's again once this call returns: a session
  // that still holds the buffer gets its rows in memory now.
  VqtCVPixelBufferEndDeferral(pixelBuffer);
  CVPixelBufferRelease(pixelBuffer);
  if (error != noErr && error != kFrameDroppedByCodec) {
    diagnostic(LogLevel::kError, "Couldn't encode frame, %ld\n", static_cast<long>(error));
    incomplete = true;
    return 1;
  }
  return 0;
}

OSStatus QuickTimeCodecWriterPrivate::encodedFrameOutput(void* refCon, ICMCompressionSessionRef, OSStatus error,
                                                         ICMEncodedFrameRef frame, void*) {
  if (error != noErr) return error;
  auto* d = static_cast<QuickTimeCodecWriterPrivate*>(refCon);
  ImageDescriptionHandle description = nullptr;
  if (OSStatus status = ICMEncodedFrameGetImageDescription(frame, &description); status != noErr) return status;
  if (d->writePixelAspect) {
    PixelAspectRatioImageDescriptionExtension aspect{static_cast<UInt32>(std::floor(d->pixelAspect * 1000.0f)), 1000};
    const OSStatus status =
        ICMImageDescriptionSetProperty(description, kQTPropertyClass_ImageDescription,
                                       kICMImageDescriptionPropertyID_PixelAspectRatio, sizeof(aspect), &aspect);
    if (status != noErr) return status;
  }
  // Y'CbCr frames are tagged "unknown" only when the codec has not described
  // its colour. A codec that says which matrix it converted with keeps that
  // description: "unknown" lets each player guess, and players guess BT.601,
  // so an HD movie made with BT.709 would play with shifted colours.
  long colourDescriptions = 0;
  CountImageDescriptionExtensionType(description, kColorInfoImageDescriptionExtension, &colourDescriptions);
  if (colourDescriptions == 0 && d->pixelFormat != k32ARGBPixelFormat && d->pixelFormat != 'b48r' &&
      d->pixelFormat != 'b64a') {
    NCLCColorInfoImageDescriptionExtension colour{kVideoColorInfoImageDescriptionExtensionType, 2, 2, 2};
    ICMImageDescriptionSetProperty(description, kQTPropertyClass_ImageDescription,
                                   kICMImageDescriptionPropertyID_NCLCColorInfo, sizeof(colour), &colour);
  }
  if (d->videoMedia == nullptr) return noErr;
  const OSErr added = AddMediaSample2(
      d->videoMedia, ICMEncodedFrameGetDataPtr(frame), ICMEncodedFrameGetDataSize(frame),
      ICMEncodedFrameGetDecodeDuration(frame), ICMEncodedFrameGetDisplayOffset(frame),
      reinterpret_cast<SampleDescriptionHandle>(description), 1, ICMEncodedFrameGetMediaSampleFlags(frame), nullptr);
  if (added != noErr) d->incomplete = true;
  return added;
}

}  // namespace Vantor::QuickTime
