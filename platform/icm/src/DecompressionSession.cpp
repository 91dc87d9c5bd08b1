#include <QuickTime/ImageCompression.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <vector>

#include "FramePool.h"
#include "SessionResults.h"
#include "vqt/codecs/DecodeSequence.h"
#include "vqt/movies/ReadAheadSource.h"

namespace codecs = vqt::codecs;

struct OpaqueICMDecompressionSessionOptions {
  std::atomic<long> references{1};
  CodecQ accuracy = codecNormalQuality;
  SInt32 threads = 0;
};

struct OpaqueICMDecompressionSession {
  struct Frame {
    void* refCon;
    std::int64_t sample;
    TimeValue64 displayTime;
    TimeValue64 duration;
    ICMValidTimeFlags validTimes;
    bool display;
  };

  std::atomic<long> references{1};
  ICMDecompressionTrackingCallbackRecord tracking{};
  OSType pixelFormat = k32ARGBPixelFormat;
  std::unique_ptr<codecs::DecodeSequence> sequence;
  std::vector<Frame> frames;  // given since the last flush, in decode order
  std::int64_t lastSample = 0;
  FramePool* pool = FramePool::create();
  // The media the frames come from, when the Movie Toolbox offered it with the
  // frame's sample: the sequence then reads ahead in it by itself.
  VqtReadAheadSource source;

  ~OpaqueICMDecompressionSession() {
    if (pool != nullptr) pool->close();
  }

  void report(OSStatus result, ICMDecompressionTrackingFlags flags, CVPixelBufferRef buffer, const Frame& frame) {
    if (tracking.decompressionTrackingCallback == nullptr) return;
    tracking.decompressionTrackingCallback(tracking.decompressionTrackingRefCon, result, flags, buffer,
                                           frame.displayTime, frame.duration, frame.validTimes, nullptr, frame.refCon);
  }
  CVPixelBufferRef render(const codecs::Picture& picture, OSStatus& result);
  OSStatus flush();
  void followSource(ByteCount size, std::int64_t sample);
};

namespace {

// Decompressors registered with VqtICMRegisterDecompressor.
struct DecompressorOverride {
  Component component;
  CodecType decodesAs;
  OSType emittedFormat;
};

std::mutex overridesMutex;
std::vector<DecompressorOverride> overrides;

bool findOverride(Component component, DecompressorOverride& found) {
  std::lock_guard lock(overridesMutex);
  for (const DecompressorOverride& o : overrides) {
    if (o.component == component) {
      found = o;
      return true;
    }
  }
  return false;
}

// Reads an SInt32 attribute; false when absent or not a number.
bool attribute(CFDictionaryRef attributes, CFStringRef key, SInt32& value) {
  if (attributes == nullptr) return false;
  auto number = static_cast<CFNumberRef>(CFDictionaryGetValue(attributes, key));
  return number != nullptr && CFNumberGetValue(number, kCFNumberSInt32Type, &value);
}

}  // namespace

namespace {

CVReturn produceRows(void* conversion, size_t firstRow, size_t rowCount, void* rows, size_t bytesPerRow) {
  const auto& rowConversion = *static_cast<const codecs::RowConversion*>(conversion);
  const codecs::ImageView view{rowConversion.pixelFormat(), rowConversion.width(), static_cast<int>(rowCount),
                               static_cast<std::ptrdiff_t>(bytesPerRow), static_cast<std::uint8_t*>(rows)};
  return rowConversion.convert(static_cast<int>(firstRow), view) == codecs::Status::ok ? kCVReturnSuccess
                                                                                       : kCVReturnError;
}

void releaseRowConversion(void* conversion) { delete static_cast<codecs::RowConversion*>(conversion); }

}  // namespace

CVPixelBufferRef OpaqueICMDecompressionSession::render(const codecs::Picture& picture, OSStatus& result) {
  const auto width = static_cast<std::size_t>(picture.width());
  const auto height = static_cast<std::size_t>(picture.height());
  // Layouts whose rows depend on the picture alone are emitted deferred: a
  // client that reads rows through VqtCVPixelBufferGetRows converts them on
  // while they are in cache, and one that asks for the base address gets the
  // same bytes made whole.
  if (std::unique_ptr<codecs::RowConversion> rows = sequence->decoder().rowConversion(picture, pixelFormat)) {
    CVPixelBufferRef buffer = nullptr;
    codecs::RowConversion* producer = rows.release();
    if (VqtCVPixelBufferCreateDeferred(nullptr, width, height, pixelFormat, produceRows, releaseRowConversion, producer,
                                       &buffer) != kCVReturnSuccess) {
      delete producer;
      result = memFullErr;
      return nullptr;
    }
    result = noErr;
    return buffer;
  }
  const std::size_t bytesPerRow = (VqtCVPixelFormatMinimumBytesPerRow(pixelFormat, width) + 15) / 16 * 16;
  void* memory = pool != nullptr ? pool->take(bytesPerRow * height) : nullptr;
  if (memory == nullptr) {
    result = memFullErr;
    return nullptr;
  }
  CVPixelBufferRef buffer = nullptr;
  if (CVPixelBufferCreateWithBytes(nullptr, width, height, pixelFormat, memory, bytesPerRow, FramePool::giveBack, pool,
                                   nullptr, &buffer) != kCVReturnSuccess) {
    FramePool::giveBack(pool, memory);
    result = memFullErr;
    return nullptr;
  }
  const codecs::ImageView view{pixelFormat, picture.width(), picture.height(), static_cast<std::ptrdiff_t>(bytesPerRow),
                               static_cast<std::uint8_t*>(memory)};
  result = vqtICMResultOf(sequence->decoder().convert(picture, view));
  if (result != noErr) {
    CVPixelBufferRelease(buffer);
    return nullptr;
  }
  return buffer;
}

void OpaqueICMDecompressionSession::followSource(ByteCount size, std::int64_t sample) {
  VqtReadAheadSource offered = VqtReadAheadFor(sample, size);
  const bool same = offered.sameStream(source);
  source = offered;
  if (same) return;
  if (!source) {
    sequence->setSampleSource({});
    return;
  }
  sequence->setSampleSource(
      [from = source](std::int64_t number, std::vector<std::uint8_t>& bytes) { return from.read(number, bytes); });
}

OSStatus OpaqueICMDecompressionSession::flush() {
  std::vector<codecs::Picture> pictures;
  const codecs::Status status = sequence->finish(pictures);
  std::vector<Frame> given;
  given.swap(frames);
  auto pictureOf = [&](const Frame& frame) -> const codecs::Picture* {
    for (const codecs::Picture& p : pictures) {
      if (p.sampleId() == frame.sample) return &p;
    }
    return nullptr;
  };
  // Frames that are not shown (or could not be decoded) first, so the last
  // call a client sees carries the last frame in display order.
  constexpr ICMDecompressionTrackingFlags kDone =
      kICMDecompressionTracking_ReleaseSourceData | kICMDecompressionTracking_LastCall;
  for (const Frame& frame : given) {
    if (!frame.display) {
      report(noErr, kDone | kICMDecompressionTracking_DecodedFrame, nullptr, frame);
    } else if (pictureOf(frame) == nullptr) {
      const OSStatus failure = status == codecs::Status::ok ? codecBadDataErr : vqtICMResultOf(status);
      report(failure, kDone | kICMDecompressionTracking_FrameDropped, nullptr, frame);
    }
  }
  for (const codecs::Picture& picture : pictures) {
    const auto frame = std::find_if(given.begin(), given.end(),
                                    [&](const Frame& f) { return f.display && f.sample == picture.sampleId(); });
    if (frame == given.end()) continue;
    OSStatus result = noErr;
    CVPixelBufferRef buffer = render(picture, result);
    if (buffer == nullptr) {
      report(result, kDone | kICMDecompressionTracking_FrameDropped, nullptr, *frame);
      continue;
    }
    report(noErr, kDone | kICMDecompressionTracking_DecodedFrame | kICMDecompressionTracking_EmittingFrame, buffer,
           *frame);
    CVPixelBufferRelease(buffer);
  }
  return noErr;
}

OSStatus ICMDecompressionSessionOptionsCreate(CFAllocatorRef, ICMDecompressionSessionOptionsRef* options) {
  if (options == nullptr) return paramErr;
  *options = new (std::nothrow) OpaqueICMDecompressionSessionOptions;
  return *options ? noErr : memFullErr;
}

OSStatus ICMDecompressionSessionOptionsSetProperty(ICMDecompressionSessionOptionsRef options,
                                                   ComponentPropertyClass inPropClass, ComponentPropertyID inPropID,
                                                   ByteCount inPropValueSize,
                                                   ConstComponentValuePtr inPropValueAddress) {
  if (options == nullptr || inPropValueAddress == nullptr) return paramErr;
  if (inPropClass != kQTPropertyClass_ICMDecompressionSessionOptions) return kQTPropertyNotSupportedErr;
  if (inPropValueSize != 4) return kQTPropertyBadValueSizeErr;
  switch (inPropID) {
    case kICMDecompressionSessionOptionsPropertyID_Accuracy:
      options->accuracy = *static_cast<const CodecQ*>(inPropValueAddress);
      return noErr;
    case kICMDecompressionSessionOptionsPropertyID_NumberOfThreads:
      options->threads = std::max<SInt32>(0, *static_cast<const SInt32*>(inPropValueAddress));
      return noErr;
    default:
      return kQTPropertyNotSupportedErr;
  }
}

OSStatus ICMDecompressionSessionOptionsGetProperty(ICMDecompressionSessionOptionsRef options,
                                                   ComponentPropertyClass inPropClass, ComponentPropertyID inPropID,
                                                   ByteCount inPropValueSize, ComponentValuePtr outPropValueAddress,
                                                   ByteCount* outPropValueSizeUsed) {
  if (options == nullptr || outPropValueAddress == nullptr) return paramErr;
  if (inPropClass != kQTPropertyClass_ICMDecompressionSessionOptions) return kQTPropertyNotSupportedErr;
  if (inPropValueSize < 4) return kQTPropertyBadValueSizeErr;
  switch (inPropID) {
    case kICMDecompressionSessionOptionsPropertyID_Accuracy:
      *static_cast<CodecQ*>(outPropValueAddress) = options->accuracy;
      break;
    case kICMDecompressionSessionOptionsPropertyID_NumberOfThreads:
      *static_cast<SInt32*>(outPropValueAddress) = options->threads;
      break;
    default:
      return kQTPropertyNotSupportedErr;
  }
  if (outPropValueSizeUsed != nullptr) *outPropValueSizeUsed = 4;
  return noErr;
}

ICMDecompressionSessionOptionsRef ICMDecompressionSessionOptionsRetain(ICMDecompressionSessionOptionsRef options) {
  if (options != nullptr) ++options->references;
  return options;
}

void ICMDecompressionSessionOptionsRelease(ICMDecompressionSessionOptionsRef options) {
  if (options != nullptr && --options->references == 0) delete options;
}

OSStatus ICMDecompressionSessionCreate(CFAllocatorRef, ImageDescriptionHandle desc,
                                       ICMDecompressionSessionOptionsRef decompressionOptions,
                                       CFDictionaryRef destinationPixelBufferAttributes,
                                       ICMDecompressionTrackingCallbackRecord* trackingCallbackRecord,
                                       ICMDecompressionSessionRef* decompressionSessionOut) {
  if (decompressionSessionOut == nullptr) return paramErr;
  *decompressionSessionOut = nullptr;
  if (desc == nullptr || *desc == nullptr ||
      GetHandleSize(reinterpret_cast<Handle>(desc)) < Size{sizeof(ImageDescription)})
    return paramErr;
  ComponentDescription looking{decompressorComponentType, (**desc).cType, 0, 0, cmpIsMissing};
  const Component decompressor = FindNextComponent(nullptr, &looking);
  if (decompressor == nullptr) return noCodecErr;

  SInt32 format = k32ARGBPixelFormat;
  attribute(destinationPixelBufferAttributes, kCVPixelBufferPixelFormatTypeKey, format);
  codecs::DecoderConfig config = vqtDecoderConfigFrom(desc);
  if (DecompressorOverride o{}; findOverride(decompressor, o)) {
    config.codecType = o.decodesAs;
    format = static_cast<SInt32>(o.emittedFormat);
  }
  if (!codecs::isExchangeFormat(static_cast<OSType>(format))) return codecUnimpErr;

  if (decompressionOptions != nullptr) config.threads = decompressionOptions->threads;
  std::unique_ptr<codecs::Decoder> decoder;
  if (const codecs::Status s = codecs::Decoder::create(config, decoder); s != codecs::Status::ok)
    return vqtICMResultOf(s);

  auto* session = new (std::nothrow) OpaqueICMDecompressionSession;
  if (session == nullptr) return memFullErr;
  if (session->pool == nullptr) {
    delete session;
    return memFullErr;
  }
  session->pixelFormat = static_cast<OSType>(format);
  session->sequence = std::make_unique<codecs::DecodeSequence>(std::move(decoder));
  if (trackingCallbackRecord != nullptr) session->tracking = *trackingCallbackRecord;
  *decompressionSessionOut = session;
  return noErr;
}

OSStatus ICMDecompressionSessionDecodeFrame(ICMDecompressionSessionRef session, const UInt8* data, ByteCount dataSize,
                                            ICMDecompressionFrameOptionsRef, const ICMFrameTimeRecord* frameTime,
                                            void* sourceFrameRefCon) {
  if (session == nullptr || (data == nullptr && dataSize != 0)) return paramErr;
  OpaqueICMDecompressionSession::Frame frame{sourceFrameRefCon, session->lastSample + 1, 0, 0, 0, true};
  if (frameTime != nullptr) {
    // Without a sample number the frame is taken to follow the previous one.
    if (frameTime->frameNumber != 0) frame.sample = frameTime->frameNumber;
    frame.displayTime = frameTime->value;
    frame.duration = frameTime->duration;
    frame.validTimes = kICMValidTime_DisplayTimeStampIsValid | kICMValidTime_DisplayDurationIsValid;
    frame.display = (frameTime->flags & icmFrameTimeDoNotDisplay) == 0;
  }
  session->lastSample = frame.sample;
  session->followSource(dataSize, frame.sample);
  session->frames.push_back(frame);
  // Decode errors reach the client through the callback at the flush.
  session->sequence->add(frame.sample, {data, static_cast<std::size_t>(dataSize)}, frame.display);
  // A client that never flushes still gets its frames, and the session holds
  // a bounded number of decoded pictures.
  constexpr long kMostShownFramesHeld = 32;
  if (std::count_if(session->frames.begin(), session->frames.end(), [](const auto& f) { return f.display; }) >=
      kMostShownFramesHeld)
    return session->flush();
  return noErr;
}

OSStatus ICMDecompressionSessionFlush(ICMDecompressionSessionRef session) {
  if (session == nullptr) return paramErr;
  return session->flush();
}

ICMDecompressionSessionRef ICMDecompressionSessionRetain(ICMDecompressionSessionRef session) {
  if (session != nullptr) ++session->references;
  return session;
}

void ICMDecompressionSessionRelease(ICMDecompressionSessionRef session) {
  if (session == nullptr || --session->references != 0) return;
  // Frames never flushed still give their source data back.
  for (const auto& frame : session->frames) {
    session->report(noErr, kICMDecompressionTracking_ReleaseSourceData | kICMDecompressionTracking_LastCall, nullptr,
                    frame);
  }
  delete session;
}

Component VqtICMRegisterDecompressor(CodecType codecType, CodecType decodesAs, OSType emittedFormat, const char* name) {
  VqtComponentRegistration registration;
  registration.description = {decompressorComponentType, codecType, 'vntr', 0, 0};
  registration.name = name != nullptr ? name : "";
  registration.information = registration.name;
  registration.publicResources.push_back({{'cpix', 1}, VqtPixelFormatResource({emittedFormat})});
  Component component = VqtRegisterComponent(registration);
  if (component != nullptr) {
    std::lock_guard lock(overridesMutex);
    overrides.push_back({component, decodesAs, emittedFormat});
  }
  return component;
}

UInt64 VqtICMDecompressionSessionGetDecodedSampleCount(ICMDecompressionSessionRef session) {
  return session ? session->sequence->samplesDecoded() : 0;
}
