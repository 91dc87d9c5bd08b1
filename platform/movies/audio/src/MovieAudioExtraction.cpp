// The extraction calls: a mixer over the movie's sound tracks, its output
// described as QuickTime describes it (32-bit float, non-interleaved, at the
// highest rate and the largest channel count of the tracks), positioned by a
// TimeRecord and read into the caller's buffer list.
#include <QuickTime/MovieAudioExtraction.h>

#include "SoundTrackInputs.h"

#include <Carbon/MacErrors.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

struct MovieAudioExtractionRefRecord {
  Movie movie = nullptr;
  std::unique_ptr<vqt::audio::Mixer> mixer;  // null: the movie has no sound to extract
  AudioStreamBasicDescription format{};
  std::vector<float> interleaved;  // staging for non-interleaved output
};

namespace {

using vqt::audio::Status;

OSStatus resultOf(Status status) {
  switch (status) {
    case Status::ok:
      return noErr;
    case Status::badFormat:
    case Status::unsupported:
      return invalidSampleDescription;
    case Status::badData:
      return invalidSampleTable;
    case Status::outOfRange:
      return paramErr;
    case Status::ioError:
      return ioErr;
    case Status::outOfMemory:
      return memFullErr;
    case Status::failed:
      return internalQuickTimeError;
  }
  return internalQuickTimeError;
}

AudioStreamBasicDescription floatFormat(double rate, UInt32 channels, bool interleaved) {
  AudioStreamBasicDescription format{};
  format.mSampleRate = rate;
  format.mFormatID = kAudioFormatLinearPCM;
  format.mFormatFlags =
      kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked | (interleaved ? 0 : kAudioFormatFlagIsNonInterleaved);
  const UInt32 frameBytes = interleaved ? 4 * channels : 4;
  format.mBytesPerPacket = frameBytes;
  format.mFramesPerPacket = 1;
  format.mBytesPerFrame = frameBytes;
  format.mChannelsPerFrame = channels;
  format.mBitsPerChannel = 32;
  return format;
}

// The mixer's rate as positions are counted: whole frames a second.
std::int64_t wholeRate(const MovieAudioExtractionRefRecord& session) {
  return session.mixer ? std::llround(session.mixer->sampleRate()) : 0;
}

bool interleavedOutput(const AudioStreamBasicDescription& format) {
  return (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) == 0 || format.mChannelsPerFrame <= 1;
}

OSStatus setFormat(MovieAudioExtractionRefRecord& session, const AudioStreamBasicDescription& wanted) {
  // Float samples in host order at the mix's own rate and channel count are
  // what the mixer makes; conversions to other formats are not offered.
  const AudioFormatFlags ignored =
      kAudioFormatFlagIsPacked | kAudioFormatFlagIsAlignedHigh | kAudioFormatFlagIsNonMixable;
  if (wanted.mFormatID != kAudioFormatLinearPCM || wanted.mBitsPerChannel != 32 ||
      (wanted.mFormatFlags & ~ignored & ~kAudioFormatFlagIsNonInterleaved) != kAudioFormatFlagIsFloat ||
      wanted.mChannelsPerFrame != session.format.mChannelsPerFrame ||
      wanted.mSampleRate != session.format.mSampleRate ||
      (wanted.mFramesPerPacket != 0 && wanted.mFramesPerPacket != 1)) {
    return kQTPropertyNotSupportedErr;
  }
  session.format = wanted;
  const bool interleaved = (wanted.mFormatFlags & kAudioFormatFlagIsNonInterleaved) == 0;
  const UInt32 frameBytes = interleaved ? 4 * wanted.mChannelsPerFrame : 4;
  session.format.mBytesPerPacket = frameBytes;
  session.format.mBytesPerFrame = frameBytes;
  session.format.mFramesPerPacket = 1;
  return noErr;
}

}  // namespace

OSStatus MovieAudioExtractionBegin(Movie m, UInt32 /*flags*/, MovieAudioExtractionRef* outSession) {
  if (!outSession) return paramErr;
  *outSession = nullptr;
  if (!m || GetMovieTrackCount(m) < 0) return invalidMovie;
  auto session = std::make_unique<MovieAudioExtractionRefRecord>();
  session->movie = m;
  vqt::movies::audio::SoundTrackScan scan = vqt::movies::audio::scanSoundTracks(m);
  if (!scan.inputs.empty()) {
    if (Status status = vqt::audio::Mixer::create(std::move(scan.inputs), session->mixer); status != Status::ok) {
      return resultOf(status);
    }
    session->format = floatFormat(session->mixer->sampleRate(), static_cast<UInt32>(session->mixer->channels()), false);
  } else if (scan.soundTracks > 0) {
    // Sound tracks that none of our decoders can play.
    return resultOf(scan.firstFailure);
  }
  // No sound track: the session exists and describes zero channels.
  *outSession = session.release();
  return noErr;
}

OSStatus MovieAudioExtractionEnd(MovieAudioExtractionRef session) {
  if (!session) return paramErr;
  delete session;
  return noErr;
}

OSStatus MovieAudioExtractionGetPropertyInfo(MovieAudioExtractionRef session, QTPropertyClass inPropClass,
                                             QTPropertyID inPropID, QTPropertyValueType* outPropType,
                                             ByteCount* outPropValueSize, UInt32* outPropertyFlags) {
  if (!session) return paramErr;
  QTPropertyValueType type = 0;
  ByteCount size = 0;
  if (inPropClass == kQTPropertyClass_MovieAudioExtraction_Audio &&
      inPropID == kQTMovieAudioExtractionAudioPropertyID_AudioStreamBasicDescription) {
    type = 'asbd';
    size = sizeof(AudioStreamBasicDescription);
  } else if (inPropClass == kQTPropertyClass_MovieAudioExtraction_Movie &&
             inPropID == kQTMovieAudioExtractionMoviePropertyID_CurrentTime) {
    type = 'timr';
    size = sizeof(TimeRecord);
  } else {
    return kQTPropertyNotSupportedErr;
  }
  if (outPropType) *outPropType = type;
  if (outPropValueSize) *outPropValueSize = size;
  if (outPropertyFlags) *outPropertyFlags = 3;  // readable and writable
  return noErr;
}

OSStatus MovieAudioExtractionGetProperty(MovieAudioExtractionRef session, QTPropertyClass inPropClass,
                                         QTPropertyID inPropID, ByteCount inPropValueSize,
                                         QTPropertyValuePtr outPropValueAddress, ByteCount* outPropValueSizeUsed) {
  if (!session || !outPropValueAddress) return paramErr;
  if (inPropClass == kQTPropertyClass_MovieAudioExtraction_Audio &&
      inPropID == kQTMovieAudioExtractionAudioPropertyID_AudioStreamBasicDescription) {
    if (inPropValueSize < sizeof(AudioStreamBasicDescription)) return kQTPropertyBadValueSizeErr;
    std::memcpy(outPropValueAddress, &session->format, sizeof(AudioStreamBasicDescription));
    if (outPropValueSizeUsed) *outPropValueSizeUsed = sizeof(AudioStreamBasicDescription);
    return noErr;
  }
  if (inPropClass == kQTPropertyClass_MovieAudioExtraction_Movie &&
      inPropID == kQTMovieAudioExtractionMoviePropertyID_CurrentTime) {
    if (inPropValueSize < sizeof(TimeRecord)) return kQTPropertyBadValueSizeErr;
    TimeRecord time{};
    const std::int64_t position = session->mixer ? session->mixer->position() : 0;
    time.value.lo = static_cast<UInt32>(position);
    time.value.hi = static_cast<SInt32>(position >> 32);
    time.scale = static_cast<TimeScale>(wholeRate(*session));
    std::memcpy(outPropValueAddress, &time, sizeof(TimeRecord));
    if (outPropValueSizeUsed) *outPropValueSizeUsed = sizeof(TimeRecord);
    return noErr;
  }
  return kQTPropertyNotSupportedErr;
}

OSStatus MovieAudioExtractionSetProperty(MovieAudioExtractionRef session, QTPropertyClass inPropClass,
                                         QTPropertyID inPropID, ByteCount inPropValueSize,
                                         ConstQTPropertyValuePtr inPropValueAddress) {
  if (!session || !inPropValueAddress) return paramErr;
  if (inPropClass == kQTPropertyClass_MovieAudioExtraction_Audio &&
      inPropID == kQTMovieAudioExtractionAudioPropertyID_AudioStreamBasicDescription) {
    if (inPropValueSize < sizeof(AudioStreamBasicDescription)) return kQTPropertyBadValueSizeErr;
    AudioStreamBasicDescription wanted;
    std::memcpy(&wanted, inPropValueAddress, sizeof wanted);
    if (!session->mixer) return kQTPropertyNotSupportedErr;
    return setFormat(*session, wanted);
  }
  if (inPropClass == kQTPropertyClass_MovieAudioExtraction_Movie &&
      inPropID == kQTMovieAudioExtractionMoviePropertyID_CurrentTime) {
    if (inPropValueSize < sizeof(TimeRecord)) return kQTPropertyBadValueSizeErr;
    TimeRecord time;
    std::memcpy(&time, inPropValueAddress, sizeof time);
    const std::int64_t value = static_cast<std::int64_t>(
        (static_cast<std::uint64_t>(static_cast<UInt32>(time.value.hi)) << 32) | time.value.lo);
    if (time.scale <= 0 || value < 0) return paramErr;
    if (!session->mixer) return noErr;
    // value / scale seconds in whole output frames, exact in 128 bits; a time
    // in the output's own rate is the frame number itself.
    const auto frame = static_cast<std::int64_t>(static_cast<__int128>(value) * wholeRate(*session) / time.scale);
    return resultOf(session->mixer->seek(frame));
  }
  return kQTPropertyNotSupportedErr;
}

OSStatus MovieAudioExtractionFillBuffer(MovieAudioExtractionRef session, UInt32* ioNumFrames, AudioBufferList* ioData,
                                        UInt32* outFlags) {
  if (!session || !ioNumFrames || !ioData) return paramErr;
  if (outFlags) *outFlags = 0;
  if (!session->mixer) {
    *ioNumFrames = 0;
    for (UInt32 b = 0; b < ioData->mNumberBuffers; ++b) ioData->mBuffers[b].mDataByteSize = 0;
    if (outFlags) *outFlags = kQTMovieAudioExtractionComplete;
    return noErr;
  }
  vqt::audio::Mixer& mixer = *session->mixer;
  const UInt32 channels = session->format.mChannelsPerFrame;
  const bool interleaved = interleavedOutput(session->format);
  if (ioData->mNumberBuffers < (interleaved ? 1u : channels)) return paramErr;

  // The frames the caller's buffers can hold.
  std::int64_t frames = *ioNumFrames;
  for (UInt32 b = 0; b < (interleaved ? 1u : channels); ++b) {
    const AudioBuffer& buffer = ioData->mBuffers[b];
    if (!buffer.mData) return paramErr;
    frames = std::min<std::int64_t>(frames, buffer.mDataByteSize / (interleaved ? 4 * channels : 4));
  }

  std::int64_t delivered = 0;
  Status status;
  if (interleaved) {
    status = mixer.fill(frames,
                        {static_cast<float*>(ioData->mBuffers[0].mData), static_cast<std::size_t>(frames) * channels},
                        delivered);
  } else {
    session->interleaved.resize(static_cast<std::size_t>(frames) * channels);
    status = mixer.fill(frames, session->interleaved, delivered);
    for (UInt32 c = 0; c < channels; ++c) {
      float* out = static_cast<float*>(ioData->mBuffers[c].mData);
      for (std::int64_t f = 0; f < delivered; ++f) out[f] = session->interleaved[f * channels + c];
    }
  }
  // A packet that cannot be read or decoded plays as silence, as a damaged
  // sound track does in a player; only other failures are errors.
  if (status != Status::ok && status != Status::badData && status != Status::ioError) return resultOf(status);

  *ioNumFrames = static_cast<UInt32>(delivered);
  for (UInt32 b = 0; b < (interleaved ? 1u : channels); ++b) {
    ioData->mBuffers[b].mDataByteSize = static_cast<UInt32>(delivered) * (interleaved ? 4 * channels : 4);
  }
  if (outFlags && (delivered < frames || mixer.position() >= mixer.frameCount())) {
    *outFlags = kQTMovieAudioExtractionComplete;
  }
  return noErr;
}
