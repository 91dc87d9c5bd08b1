// The movie's sound as one stream of interleaved 32-bit floats, mixed by the
// movie audio extraction; positions and counts are samples (frames x channels).
#include "QuickTimeCodecReaderPrivate.h"

#include "Diagnostics.h"

#include <cmath>
#include <cstdint>
#include <cstdio>

namespace Vantor::QuickTime {

namespace {

constexpr OSType kEncryptedSoundFormat = 'enca';

// Whether a sound track of the movie is encrypted: extraction then cannot
// begin, and the user should learn why.
bool hasEncryptedSound(Movie movie) {
  const SInt32 count = GetMovieTrackCount(movie);
  Handle description = NewHandle(0);
  if (!description) return false;
  bool encrypted = false;
  for (SInt32 index = 1; index <= count && !encrypted; ++index) {
    Media media = GetTrackMedia(GetMovieIndTrack(movie, index));
    OSType type = 0;
    GetMediaHandlerDescription(media, &type, nullptr, nullptr);
    if (type != SoundMediaType) continue;
    GetMediaSampleDescription(media, 1, reinterpret_cast<SampleDescriptionHandle>(description));
    encrypted = GetMoviesError() == noErr &&
                static_cast<size_t>(GetHandleSize(description)) >= sizeof(SoundDescription) &&
                (**reinterpret_cast<SoundDescriptionHandle>(description)).dataFormat == kEncryptedSoundFormat;
  }
  DisposeHandle(description);
  return encrypted;
}
// Sample positions and counts cross the reader's interface as 32-bit unsigned
// numbers (frames x channels), so a longer sound cannot be addressed; it is
// refused rather than wrapped (about 6.2 hours of 48 kHz stereo).
constexpr std::uint64_t kMostAudioSamples = 0xFFFFFFFFu;

}  // namespace

int QuickTimeCodecReaderPrivate::setUpAudio() {
  if (MovieAudioExtractionBegin(movie, 0, &audioExtraction) != noErr) {
    audioExtraction = nullptr;
    if (hasEncryptedSound(movie))
      diagnostic(LogLevel::kError, "The movie's sound is encrypted; it cannot be extracted\n");
    return 1;
  }
  AudioStreamBasicDescription description{};
  if (MovieAudioExtractionGetProperty(audioExtraction, kQTPropertyClass_MovieAudioExtraction_Audio,
                                      kQTMovieAudioExtractionAudioPropertyID_AudioStreamBasicDescription,
                                      sizeof(description), &description, nullptr) != noErr) {
    return 1;
  }
  if (description.mChannelsPerFrame == 0) return 0;  // nothing to extract

  description.mFormatID = kAudioFormatLinearPCM;
  description.mFormatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsAlignedHigh;
  description.mBitsPerChannel = 32;
  description.mBytesPerPacket = 4 * description.mChannelsPerFrame;
  description.mFramesPerPacket = 1;
  description.mBytesPerFrame = 4 * description.mChannelsPerFrame;
  if (MovieAudioExtractionSetProperty(audioExtraction, kQTPropertyClass_MovieAudioExtraction_Audio,
                                      kQTMovieAudioExtractionAudioPropertyID_AudioStreamBasicDescription,
                                      sizeof(description), &description) != noErr) {
    return 1;
  }
  audioChannels = static_cast<SInt32>(description.mChannelsPerFrame);
  audioSampleRate = static_cast<SInt32>(description.mSampleRate);
  audioBytesPerSample = static_cast<SInt32>(description.mBitsPerChannel / 8);
  audioSampleBytes = audioBytesPerSample;

  audioSampleCount = 0;
  const SInt32 count = GetMovieTrackCount(movie);
  for (SInt32 index = 1; index <= count; ++index) {
    Track track = GetMovieIndTrack(movie, index);
    if (!track) continue;
    Media media = GetTrackMedia(track);
    OSType type = 0;
    GetMediaHandlerDescription(media, &type, nullptr, nullptr);
    if (type != SoundMediaType) continue;
    // The media's duration is its sample table's (never the header's field),
    // in the media's time scale; the count is in the extraction's rate.
    const TimeValue duration = GetMediaDuration(media);
    const TimeScale scale = GetMediaTimeScale(media);
    if (duration <= 0 || scale <= 0 || audioSampleRate <= 0) continue;
    const auto frames = static_cast<std::uint64_t>(duration) * static_cast<std::uint64_t>(audioSampleRate) /
                        static_cast<std::uint64_t>(scale);
    const std::uint64_t samples = frames * static_cast<std::uint64_t>(audioChannels);
    if (samples > kMostAudioSamples) {
      diagnostic(LogLevel::kError, "Sound of %llu samples is longer than the %llu a reader counts\n",
                 static_cast<unsigned long long>(samples), static_cast<unsigned long long>(kMostAudioSamples));
      return 1;
    }
    audioSampleCount = static_cast<UInt32>(samples);
    break;
  }
  hasAudio = audioSampleCount != 0;
  return 0;
}

int QuickTimeCodecReaderPrivate::readAudio(unsigned int startSample, unsigned int* sampleCount, float* buffer) {
  // A zero channel count cannot come with audio, but would be a division by zero.
  if (!audioExtraction || audioChannels <= 0 || !sampleCount) return 1;
  const auto channels = static_cast<UInt32>(audioChannels);
  TimeRecord position{};
  position.value.lo = startSample / channels;
  position.value.hi = 0;
  position.scale = audioSampleRate;
  position.base = nullptr;
  if (MovieAudioExtractionSetProperty(audioExtraction, kQTPropertyClass_MovieAudioExtraction_Movie,
                                      kQTMovieAudioExtractionMoviePropertyID_CurrentTime, sizeof(position),
                                      &position) != noErr) {
    return 1;
  }
  AudioBufferList buffers{};
  buffers.mNumberBuffers = 1;
  buffers.mBuffers[0].mNumberChannels = channels;
  buffers.mBuffers[0].mDataByteSize = *sampleCount * 4;
  buffers.mBuffers[0].mData = buffer;
  UInt32 frames = *sampleCount / channels;
  UInt32 extractionFlags = 0;
  if (MovieAudioExtractionFillBuffer(audioExtraction, &frames, &buffers, &extractionFlags) != noErr) return 1;
  *sampleCount = frames * channels;
  return 0;
}

}  // namespace Vantor::QuickTime
