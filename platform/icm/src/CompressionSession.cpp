#include <QuickTime/ImageCompression.h>

#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <vector>

#include "CompressionOptions.h"
#include "EncodeAhead.h"
#include "SessionResults.h"
#include "vqt/codecs/CodecTable.h"
#include "vqt/codecs/Encoder.h"
#include "vqt/formats/ImageExtensions.h"

namespace codecs = vqt::codecs;

namespace {

// The Movie Toolbox's sample flags.
constexpr MediaSampleFlags kSampleNotSync = 1u << 0;
constexpr MediaSampleFlags kSampleIsNotDependedOnByOthers = 1u << 27;

// The description's 'colr': the colour the codec made its Y'CbCr in, so that
// every reader converts back with the matrix that was used. Video range goes
// in an 'nclc'; full range (JPEG) needs an 'nclx', which alone can say so.
OSErr describeColour(ImageDescriptionHandle desc, const codecs::ColourTags& tags) {
  const auto code = [](int value) { return static_cast<UInt16>(value); };
  if (!tags.fullRange) {
    const NCLCColorInfoImageDescriptionExtension nclc{kVideoColorInfoImageDescriptionExtensionType,
                                                      code(tags.primaries), code(tags.transfer), code(tags.matrix)};
    return static_cast<OSErr>(ICMImageDescriptionSetProperty(
        desc, kQTPropertyClass_ImageDescription, kICMImageDescriptionPropertyID_NCLCColorInfo, sizeof(nclc), &nclc));
  }
  const auto nclx = vqt::formats::writeColr(
      {'nclx', code(tags.primaries), code(tags.transfer), code(tags.matrix), 0x80});  // full range
  Handle extension = nullptr;
  if (PtrToHand(nclx.data(), &extension, static_cast<long>(nclx.size())) != noErr) return memFullErr;
  const OSErr added =
      AddImageDescriptionExtension(desc, extension, static_cast<long>(kColorInfoImageDescriptionExtension));
  DisposeHandle(extension);
  return added;
}

bool isDeepFormat(OSType format) {
  return format == k64ARGBPixelFormat || format == k48RGBPixelFormat || format == k4444YpCbCrA32RPixelFormat;
}

}  // namespace

namespace vqt::icm {

// The frame on the encoding thread, and what its job leaves behind for the
// caller's thread: the client's buffer, tracking and encoded frames are only
// ever handed back there, so its callbacks never run on our thread. Kept
// outside the session's struct: a nested struct with member initializers is
// not yet default-constructible inside its enclosing class for std::optional.
struct FrameInFlight {
  CVPixelBufferRef buffer = nullptr;  // retained and locked until handed back; none once laid out
  ICMSourceTrackingCallbackRecord tracking{};
  void* trackingRefCon = nullptr;
  codecs::Status status = codecs::Status::ok;
  std::vector<codecs::EncodedFrame> frames;
};

}  // namespace vqt::icm

struct OpaqueICMCompressionSession {
  std::atomic<long> references{1};
  ICMEncodedFrameOutputRecord output{};
  codecs::EncoderConfig config;
  const codecs::CodecEntry* entry = nullptr;
  std::unique_ptr<codecs::Encoder> encoder;
  ImageDescriptionHandle description = nullptr;
  bool framesSubmitted = false;  // since the encoder was made
  bool drained = false;
  TimeValue64 nextDisplayTime = 0;
  TimeValue64 lastDuration = 1;
  // The codec's decode stamps begin before the first display time by its
  // reordering delay, which as display offsets would push every frame that far
  // late in the media. Emitted decode times are moved so that they begin at
  // the display time of the first frame submitted: the first frame shown then
  // sits at the media's first time (an edit from media time 0 begins with it)
  // and reordered frames get negative display offsets.
  TimeValue64 firstDisplayTime = 0;
  TimeValue64 decodeShift = 0;
  bool decodeShiftKnown = false;  // since the encoder was made

  using InFlight = vqt::icm::FrameInFlight;
  bool encodeAhead = true;
  std::optional<InFlight> inFlight;
  EncodeAhead ahead;  // declared last: its thread stops before anything it uses goes

  ~OpaqueICMCompressionSession();
  OSStatus makeEncoder(OSType sourceFormat);
  OSStatus deliver(std::vector<codecs::EncodedFrame>& frames);
  std::optional<InFlight> takeFinished();
  OSStatus handBack(InFlight& finished);
};

struct OpaqueICMEncodedFrame {
  std::atomic<long> references{1};
  ICMCompressionSessionRef session = nullptr;  // retained: the description lives there
  codecs::EncodedFrame frame;

  ~OpaqueICMEncodedFrame() { ICMCompressionSessionRelease(session); }
};

OpaqueICMCompressionSession::~OpaqueICMCompressionSession() {
  // Frames not completed are dropped, as the codec's held frames are; the
  // client's buffer still goes back to it.
  if (std::optional<InFlight> finished = takeFinished(); finished && finished->buffer != nullptr) {
    CVPixelBufferUnlockBaseAddress(finished->buffer, 0);
    CVPixelBufferRelease(finished->buffer);
  }
  DisposeHandle(reinterpret_cast<Handle>(description));
}

// The frame the encoding thread had, once it is done with it (none when no
// frame was in flight).
std::optional<OpaqueICMCompressionSession::InFlight> OpaqueICMCompressionSession::takeFinished() {
  ahead.wait();
  std::optional<InFlight> finished = std::move(inFlight);
  inFlight.reset();
  return finished;
}

// On the caller's thread: the buffer goes back, the source is tracked and
// the encoded frames are delivered, as the synchronous path does them.
// Returns the frame's encoding error first, else the callback's.
OSStatus OpaqueICMCompressionSession::handBack(InFlight& finished) {
  if (finished.buffer != nullptr) {  // none when the frame was laid out before it went ahead
    CVPixelBufferUnlockBaseAddress(finished.buffer, 0);
    CVPixelBufferRelease(finished.buffer);
    finished.buffer = nullptr;
  }
  if (finished.tracking.sourceTrackingCallback != nullptr) {
    const UInt32 flags = kICMSourceTracking_LastCall | kICMSourceTracking_ReleasedPixelBuffer |
                         (finished.status == codecs::Status::ok ? kICMSourceTracking_FrameWasEncoded
                                                                : kICMSourceTracking_FrameWasDropped);
    finished.tracking.sourceTrackingCallback(finished.tracking.sourceTrackingRefCon, flags, finished.trackingRefCon,
                                             nullptr);
  }
  const OSStatus delivered = deliver(finished.frames);
  return finished.status != codecs::Status::ok ? vqtICMResultOf(finished.status) : delivered;
}

OSStatus OpaqueICMCompressionSession::makeEncoder(OSType sourceFormat) {
  config.sourceFormat = sourceFormat;
  encoder.reset();
  if (const codecs::Status s = codecs::Encoder::create(config, encoder); s != codecs::Status::ok)
    return vqtICMResultOf(s);
  framesSubmitted = false;
  drained = false;
  decodeShiftKnown = false;

  ImageDescriptionHandle desc =
      VqtNewImageDescription(config.codecType, static_cast<SInt16>(config.width), static_cast<SInt16>(config.height));
  if (desc == nullptr) return memFullErr;
  ImageDescription& d = **desc;
  d.vendor = static_cast<SInt32>(codecs::kManufacturerCode);
  d.spatialQuality = config.quality;
  d.temporalQuality = entry->temporal ? config.quality : 0;
  d.depth = (config.depth == 32 && !entry->encodeAlphaLayout.empty()) ? 32 : 24;
  const std::size_t nameLength = std::min<std::size_t>(entry->name.size(), sizeof(Str31) - 1);
  d.name[0] = static_cast<unsigned char>(nameLength);
  std::memcpy(d.name + 1, entry->name.data(), nameLength);
  if (encoder->configAtomType() != 0) {
    const std::vector<std::uint8_t>& atom = encoder->configAtom();
    Handle extension = nullptr;
    if (PtrToHand(atom.data(), &extension, static_cast<long>(atom.size())) != noErr) {
      DisposeHandle(reinterpret_cast<Handle>(desc));
      return memFullErr;
    }
    const OSErr added = AddImageDescriptionExtension(desc, extension, static_cast<long>(encoder->configAtomType()));
    DisposeHandle(extension);
    if (added != noErr) {
      DisposeHandle(reinterpret_cast<Handle>(desc));
      return added;
    }
  }
  if (const auto tags = encoder->colourTags()) {
    if (const OSErr described = describeColour(desc, *tags); described != noErr) {
      DisposeHandle(reinterpret_cast<Handle>(desc));
      return described;
    }
  }
  DisposeHandle(reinterpret_cast<Handle>(description));
  description = desc;
  return noErr;
}

OSStatus OpaqueICMCompressionSession::deliver(std::vector<codecs::EncodedFrame>& frames) {
  OSStatus result = noErr;
  for (codecs::EncodedFrame& encoded : frames) {
    auto* frame = new (std::nothrow) OpaqueICMEncodedFrame;
    if (frame == nullptr) return memFullErr;
    frame->session = ICMCompressionSessionRetain(this);
    frame->frame = std::move(encoded);
    if (!decodeShiftKnown) decodeShift = firstDisplayTime - frame->frame.decodeTime;
    decodeShiftKnown = true;
    frame->frame.decodeTime += decodeShift;
    if (output.encodedFrameOutputCallback != nullptr) {
      const OSStatus err =
          output.encodedFrameOutputCallback(output.encodedFrameOutputRefCon, this, noErr, frame, nullptr);
      if (result == noErr) result = err;
    }
    ICMEncodedFrameRelease(frame);
  }
  frames.clear();
  return result;
}

OSStatus ICMCompressionSessionCreate(CFAllocatorRef, int width, int height, CodecType cType, TimeScale timescale,
                                     ICMCompressionSessionOptionsRef options,
                                     CFDictionaryRef sourcePixelBufferAttributes,
                                     ICMEncodedFrameOutputRecord* encodedFrameOutputRecord,
                                     ICMCompressionSessionRef* compressionSessionOut) {
  if (compressionSessionOut == nullptr) return paramErr;
  *compressionSessionOut = nullptr;
  if (width <= 0 || height <= 0 || width > 0x7FFF || height > 0x7FFF || timescale <= 0) return paramErr;

  Component compressor = options ? options->compressor : nullptr;
  if (compressor == nullptr) {
    ComponentDescription looking{compressorComponentType, cType, 0, 0, cmpIsMissing};
    compressor = FindNextComponent(nullptr, &looking);
  }
  ComponentDescription cd{};
  if (compressor == nullptr || GetComponentInfo(compressor, &cd, nullptr, nullptr, nullptr) != noErr ||
      cd.componentType != compressorComponentType || cd.componentSubType != cType)
    return noCodecErr;
  const codecs::CodecEntry* entry = codecs::findCodec(cType);
  if (entry == nullptr) return noCodecErr;

  auto session = std::unique_ptr<OpaqueICMCompressionSession>(new (std::nothrow) OpaqueICMCompressionSession);
  if (!session) return memFullErr;
  session->entry = entry;
  codecs::EncoderConfig& config = session->config;
  config.codecType = cType;
  config.width = width;
  config.height = height;
  config.timeScale = timescale;
  if (options != nullptr) {
    config.depth = static_cast<int>(options->depth);
    config.quality = options->quality;
    config.allowTemporal = options->allowTemporalCompression;
    config.allowReordering = options->allowFrameReordering;
    config.keyFrameInterval = options->maxKeyFrameInterval;
    config.frameRate = options->expectedFrameRate / 65536.0;
    config.threads = options->threads;
    config.bitRate = std::int64_t{options->averageDataRate} * 8;
    session->encodeAhead = options->encodeAhead != 0;
  } else {
    config.allowTemporal = false;  // QuickTime's default: every frame a key frame
    config.allowReordering = false;
  }
  SInt32 sourceFormat = 0;
  if (sourcePixelBufferAttributes != nullptr) {
    auto number =
        static_cast<CFNumberRef>(CFDictionaryGetValue(sourcePixelBufferAttributes, kCVPixelBufferPixelFormatTypeKey));
    if (number != nullptr) CFNumberGetValue(number, kCFNumberSInt32Type, &sourceFormat);
  }
  if (const OSStatus err = session->makeEncoder(static_cast<OSType>(sourceFormat)); err != noErr) return err;
  if (encodedFrameOutputRecord != nullptr) session->output = *encodedFrameOutputRecord;
  *compressionSessionOut = session.release();
  return noErr;
}

OSStatus ICMCompressionSessionEncodeFrame(ICMCompressionSessionRef session, CVPixelBufferRef pixelBuffer,
                                          TimeValue64 displayTimeStamp, TimeValue64 displayDuration,
                                          ICMValidTimeFlags validTimeFlags, ICMCompressionFrameOptionsRef,
                                          ICMSourceTrackingCallbackRecord* sourceTrackingCallback,
                                          void* sourceFrameRefCon) {
  if (session == nullptr || pixelBuffer == nullptr) return paramErr;
  const OSType format = CVPixelBufferGetPixelFormatType(pixelBuffer);
  if (static_cast<int>(CVPixelBufferGetWidth(pixelBuffer)) != session->config.width ||
      static_cast<int>(CVPixelBufferGetHeight(pixelBuffer)) != session->config.height ||
      !codecs::isExchangeFormat(format))
    return paramErr;
  // A 16-bit source picks the deep layout of codecs that have one (PNG), if no frame went in yet.
  const bool wantDeep =
      isDeepFormat(format) && !session->entry->deepLayout.empty() && !isDeepFormat(session->config.sourceFormat);
  if (session->drained || (wantDeep && !session->framesSubmitted)) {
    if (const OSStatus err = session->makeEncoder(format); err != noErr) return err;
  }
  // The previous frame, if it is still on the encoding thread, is finished
  // first: its encoding error belongs to the caller before anything else, and
  // this frame is then not encoded (the stream is broken already).
  std::optional<OpaqueICMCompressionSession::InFlight> previous = session->takeFinished();
  if (previous && previous->status != codecs::Status::ok) {
    const OSStatus failed = session->handBack(*previous);
    if (sourceTrackingCallback != nullptr && sourceTrackingCallback->sourceTrackingCallback != nullptr)
      sourceTrackingCallback->sourceTrackingCallback(
          sourceTrackingCallback->sourceTrackingRefCon,
          kICMSourceTracking_LastCall | kICMSourceTracking_ReleasedPixelBuffer | kICMSourceTracking_FrameWasDropped,
          sourceFrameRefCon, nullptr);
    return failed;
  }
  if (!(validTimeFlags & kICMValidTime_DisplayDurationIsValid)) displayDuration = session->lastDuration;
  if (!(validTimeFlags & kICMValidTime_DisplayTimeStampIsValid)) displayTimeStamp = session->nextDisplayTime;
  session->lastDuration = displayDuration;
  session->nextDisplayTime = displayTimeStamp + displayDuration;
  if (!session->framesSubmitted) session->firstDisplayTime = displayTimeStamp;
  session->framesSubmitted = true;

  // A buffer whose rows are produced on request is laid out here, in bands
  // straight into the encoder's frame, on the caller's thread: its producer
  // may read memory that is the caller's only until this call returns. Then
  // only the sending goes ahead, and the buffer is not held past this call.
  codecs::Encoder* encoder = session->encoder.get();
  const bool banded = VqtCVPixelBufferIsDeferred(pixelBuffer) && encoder->takesRowsInBands(format);
  codecs::ConstImageView view{};
  if (banded) {
    const codecs::RowSourceImage rows{
        format, session->config.width, session->config.height,
        [pixelBuffer](int first, int count, std::uint8_t* destination, std::ptrdiff_t bytesPerRow) {
          VqtCVPixelBufferCopyRows(pixelBuffer, static_cast<size_t>(first), static_cast<size_t>(count), destination,
                                   static_cast<size_t>(bytesPerRow));
        }};
    if (const codecs::Status laid = encoder->layOut(rows); laid != codecs::Status::ok) {
      const OSStatus delivered = previous ? session->handBack(*previous) : noErr;
      if (sourceTrackingCallback != nullptr && sourceTrackingCallback->sourceTrackingCallback != nullptr)
        sourceTrackingCallback->sourceTrackingCallback(
            sourceTrackingCallback->sourceTrackingRefCon,
            kICMSourceTracking_LastCall | kICMSourceTracking_ReleasedPixelBuffer | kICMSourceTracking_FrameWasDropped,
            sourceFrameRefCon, nullptr);
      return delivered != noErr ? delivered : vqtICMResultOf(laid);
    }
  } else {
    CVPixelBufferLockBaseAddress(pixelBuffer, 0);
    view = {format, session->config.width, session->config.height,
            static_cast<std::ptrdiff_t>(CVPixelBufferGetBytesPerRow(pixelBuffer)),
            static_cast<const std::uint8_t*>(CVPixelBufferGetBaseAddress(pixelBuffer))};
  }
  // What is left of the frame's work: sending the laid-out frame, or laying
  // out and sending the frame in memory.
  const auto work = [encoder, banded, view, displayTimeStamp,
                     displayDuration](std::vector<codecs::EncodedFrame>& frames) {
    return banded ? encoder->send(displayTimeStamp, displayDuration, frames)
                  : encoder->encode(view, displayTimeStamp, displayDuration, frames);
  };
  if (session->encodeAhead) {
    // This frame goes to the encoding thread, which keeps a buffer in memory
    // until the next call into the session hands it back; meanwhile the
    // previous frame's results are delivered here.
    session->inFlight.emplace();
    OpaqueICMCompressionSession::InFlight& job = *session->inFlight;
    job.buffer = banded ? nullptr : CVPixelBufferRetain(pixelBuffer);
    if (sourceTrackingCallback != nullptr) job.tracking = *sourceTrackingCallback;
    job.trackingRefCon = sourceFrameRefCon;
    if (session->ahead.submit([work, &job] { job.status = work(job.frames); })) {
      return previous ? session->handBack(*previous) : noErr;
    }
    // No thread to be had: this frame is encoded here, after the previous one.
    if (!banded) CVPixelBufferRelease(pixelBuffer);
    session->inFlight.reset();
  }
  OSStatus delivered = previous ? session->handBack(*previous) : noErr;
  std::vector<codecs::EncodedFrame> frames;
  const codecs::Status status = work(frames);
  if (!banded) CVPixelBufferUnlockBaseAddress(pixelBuffer, 0);
  // The pixels were copied into the codec's own frame: the buffer is free again.
  if (sourceTrackingCallback != nullptr && sourceTrackingCallback->sourceTrackingCallback != nullptr) {
    const UInt32 flags =
        kICMSourceTracking_LastCall | kICMSourceTracking_ReleasedPixelBuffer |
        (status == codecs::Status::ok ? kICMSourceTracking_FrameWasEncoded : kICMSourceTracking_FrameWasDropped);
    sourceTrackingCallback->sourceTrackingCallback(sourceTrackingCallback->sourceTrackingRefCon, flags,
                                                   sourceFrameRefCon, nullptr);
  }
  const OSStatus now = session->deliver(frames);
  if (delivered == noErr) delivered = now;
  return status != codecs::Status::ok ? vqtICMResultOf(status) : delivered;
}

OSStatus ICMCompressionSessionCompleteFrames(ICMCompressionSessionRef session, Boolean, TimeValue64, TimeValue64) {
  if (session == nullptr) return paramErr;
  // The frame still on the encoding thread comes first, with its error.
  OSStatus earlier = noErr;
  if (std::optional<OpaqueICMCompressionSession::InFlight> previous = session->takeFinished())
    earlier = session->handBack(*previous);
  // Completing always completes every frame; the next frame starts a new key frame.
  if (!session->framesSubmitted || session->drained) return earlier;
  std::vector<codecs::EncodedFrame> frames;
  const codecs::Status status = session->encoder->finish(frames);
  session->drained = true;
  const OSStatus delivered = session->deliver(frames);
  if (earlier != noErr) return earlier;
  return status != codecs::Status::ok ? vqtICMResultOf(status) : delivered;
}

ICMCompressionSessionRef ICMCompressionSessionRetain(ICMCompressionSessionRef session) {
  if (session != nullptr) ++session->references;
  return session;
}

void ICMCompressionSessionRelease(ICMCompressionSessionRef session) {
  if (session != nullptr && --session->references == 0) delete session;
}

OSStatus ICMCompressionSessionGetImageDescription(ICMCompressionSessionRef session,
                                                  ImageDescriptionHandle* imageDescOut) {
  if (session == nullptr || imageDescOut == nullptr) return paramErr;
  *imageDescOut = session->description;
  return noErr;
}

TimeScale ICMCompressionSessionGetTimeScale(ICMCompressionSessionRef session) {
  return session ? session->config.timeScale : 0;
}

ICMEncodedFrameRef ICMEncodedFrameRetain(ICMEncodedFrameRef frame) {
  if (frame != nullptr) ++const_cast<OpaqueICMEncodedFrame*>(frame)->references;
  return frame;
}

void ICMEncodedFrameRelease(ICMEncodedFrameRef frame) {
  if (frame != nullptr && --const_cast<OpaqueICMEncodedFrame*>(frame)->references == 0) delete frame;
}

UInt8* ICMEncodedFrameGetDataPtr(ICMEncodedFrameRef frame) {
  return frame ? const_cast<UInt8*>(frame->frame.data.data()) : nullptr;
}
ByteCount ICMEncodedFrameGetDataSize(ICMEncodedFrameRef frame) {
  return frame ? static_cast<ByteCount>(frame->frame.data.size()) : 0;
}
ByteCount ICMEncodedFrameGetBufferSize(ICMEncodedFrameRef frame) { return ICMEncodedFrameGetDataSize(frame); }
TimeValue64 ICMEncodedFrameGetDecodeTimeStamp(ICMEncodedFrameRef frame) { return frame ? frame->frame.decodeTime : 0; }
TimeValue64 ICMEncodedFrameGetDecodeDuration(ICMEncodedFrameRef frame) {
  return frame ? frame->frame.decodeDuration : 0;
}
TimeValue64 ICMEncodedFrameGetDisplayTimeStamp(ICMEncodedFrameRef frame) {
  return frame ? frame->frame.displayTime : 0;
}
TimeValue64 ICMEncodedFrameGetDisplayDuration(ICMEncodedFrameRef frame) {
  return frame ? frame->frame.displayDuration : 0;
}
TimeValue64 ICMEncodedFrameGetDisplayOffset(ICMEncodedFrameRef frame) {
  return frame ? frame->frame.displayTime - frame->frame.decodeTime : 0;
}
ICMValidTimeFlags ICMEncodedFrameGetValidTimeFlags(ICMEncodedFrameRef frame) {
  return frame ? kICMValidTime_DisplayTimeStampIsValid | kICMValidTime_DisplayDurationIsValid |
                     kICMValidTime_DecodeTimeStampIsValid | kICMValidTime_DecodeDurationIsValid
               : 0;
}
TimeScale ICMEncodedFrameGetTimeScale(ICMEncodedFrameRef frame) { return frame ? frame->session->config.timeScale : 0; }

MediaSampleFlags ICMEncodedFrameGetMediaSampleFlags(ICMEncodedFrameRef frame) {
  if (frame == nullptr) return 0;
  MediaSampleFlags flags = frame->frame.sync ? 0 : kSampleNotSync;
  if (frame->frame.droppable) flags |= kSampleIsNotDependedOnByOthers;
  return flags;
}

// The codec reports key frames and droppable frames; a droppable frame that is
// not a key frame is taken for a B-frame.
ICMFrameType ICMEncodedFrameGetFrameType(ICMEncodedFrameRef frame) {
  if (frame == nullptr) return kICMFrameType_Unknown;
  if (frame->frame.sync) return kICMFrameType_I;
  return frame->frame.droppable ? kICMFrameType_B : kICMFrameType_P;
}

OSStatus ICMEncodedFrameGetImageDescription(ICMEncodedFrameRef frame, ImageDescriptionHandle* imageDescOut) {
  if (frame == nullptr || imageDescOut == nullptr) return paramErr;
  *imageDescOut = frame->session->description;
  return noErr;
}
