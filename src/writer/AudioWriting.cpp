// Audio of the output movie: the host's float samples stored as 16-bit linear
// PCM in the sound track, and the sound tracks of another file copied in at an
// offset.
#include <cstdio>

#include "AudioSamples.h"
#include "MovieWritingConstants.h"
#include "QuickTimeCodecWriterPrivate.h"
#include "Diagnostics.h"

namespace Vantor::QuickTime {

using namespace MovieWriting;

int32_t QuickTimeCodecWriterPrivate::setAudioFormat(int newChannels, bool flag, int sampleRate,
                                                    const std::string& text) {
  // The sound track takes its time scale and description from the first
  // samples; once they are written another format would contradict them.
  if (audioMedia != nullptr && (newChannels != audioChannels || sampleRate != audioSampleRate)) {
    diagnostic(LogLevel::kError, "Can't change the audio format after writing audio samples\n");
    return paramErr;
  }
  audioFormatText = text;
  audioFormatFlag = flag;
  audioSampleRate = sampleRate;
  audioChannels = newChannels;
  audioBytesPerSample = audioBitsPerSample / 8;
  if (soundDescription != nullptr) DisposeHandle(reinterpret_cast<Handle>(soundDescription));
  soundDescription = nullptr;

  audioStreamDescription = AudioStreamBasicDescription{};
  audioStreamDescription.mSampleRate = static_cast<double>(static_cast<std::uint32_t>(audioSampleRate));
  audioStreamDescription.mFormatID = 'lpcm';
  audioStreamDescription.mFormatFlags = 12;  // signed integer, packed
  audioStreamDescription.mBytesPerPacket = static_cast<UInt32>(audioBytesPerSample * audioChannels);
  audioStreamDescription.mFramesPerPacket = 1;
  audioStreamDescription.mBytesPerFrame = static_cast<UInt32>(audioBytesPerSample * audioChannels);
  audioStreamDescription.mChannelsPerFrame = static_cast<UInt32>(audioChannels);
  audioStreamDescription.mBitsPerChannel = static_cast<UInt32>(audioBitsPerSample);
  return QTSoundDescriptionCreate(&audioStreamDescription, nullptr, 0, nullptr, 0,
                                  kQTSoundDescriptionKind_Movie_Version2, &soundDescription);
}

bool QuickTimeCodecWriterPrivate::writeAudioSamples(int sampleCount, const float* samples) {
  // Without channels there is no whole sample frame to add (and the frame
  // count would divide by zero); without samples there is nothing to read.
  if (audioChannels <= 0 || sampleCount < 0 || (sampleCount > 0 && samples == nullptr)) return true;
  const std::int64_t size64 = static_cast<std::int64_t>(sampleCount) * audioBytesPerSample;
  if (size64 > INT32_MAX) return true;
  const auto size = static_cast<std::int32_t>(size64);
  if (!ensureAudioBuffer(audioBuffer, audioBufferSize, size)) return true;
  convertAudioSamples(samples, sampleCount, reinterpret_cast<std::int16_t*>(audioBuffer));
  if (audioMedia == nullptr && audioWanted && movie != nullptr && sampleCount > 0) createAudioTrack();
  if (audioMedia == nullptr) return true;
  const OSErr error =
      AddMediaSample2(audioMedia, reinterpret_cast<const UInt8*>(audioBuffer), static_cast<ByteCount>(size), 1, 0,
                      reinterpret_cast<SampleDescriptionHandle>(soundDescription),
                      static_cast<ItemCount>(sampleCount / audioChannels), 0, nullptr);
  if (error != noErr) incomplete = true;
  return error != noErr;
}

int QuickTimeCodecWriterPrivate::addAudioFromFile(const char* sourcePath, float offsetSeconds) {
  if (sourcePath == nullptr || sourcePath[0] == '\0' || movie == nullptr) return 1;
  const std::string source(sourcePath);
  CFStringRef text = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(source.data()),
                                             static_cast<CFIndex>(source.size()), kCFStringEncodingUTF8, false);
  Handle sourceRef = nullptr;
  OSType sourceRefType = 0;
  OSErr error = text != nullptr
                    ? QTNewDataReferenceFromFullPathCFString(text, kQTPOSIXPath, 0, &sourceRef, &sourceRefType)
                    : static_cast<OSErr>(paramErr);
  if (text != nullptr) CFRelease(text);
  if (error != noErr || sourceRef == nullptr) {
    diagnostic(LogLevel::kError, "Couldn't create data reference for destination");
    return 1;
  }
  DataHandler sourceHandler = nullptr;
  error = OpenMovieStorage(sourceRef, sourceRefType, kDataHCanRead, &sourceHandler);
  if (error != noErr) {
    diagnostic(LogLevel::kError, "Couldn't open audio file for reading: %d", static_cast<int>(error));
    DisposeHandle(sourceRef);
    return 1;
  }
  Movie sourceMovie = nullptr;
  short id = 0;
  error = NewMovieFromDataRef(&sourceMovie, kNewMovieActive, &id, sourceRef, sourceRefType);
  if (error != noErr || sourceMovie == nullptr) {
    diagnostic(LogLevel::kError, "Didn't recognize format of audio file: %d", static_cast<int>(error));
    CloseMovieStorage(sourceHandler);
    DisposeHandle(sourceRef);
    return 1;
  }

  const TimeValue start = GetMovieDuration(movie);
  TimeRecord now{};
  GetMovieTime(movie, &now);
  const TimeScale sourceScale = GetMovieTimeScale(sourceMovie);
  for (SInt32 index = 1;; ++index) {
    Track sourceTrack = GetMovieIndTrackType(sourceMovie, index, AudioMediaCharacteristic, movieTrackCharacteristic);
    if (sourceTrack == nullptr) break;
    Media sourceMedia = GetTrackMedia(sourceTrack);
    Track track = NewMovieTrack(movie, 0, 0, GetTrackVolume(sourceTrack));
    OSType handlerType = SoundMediaType;
    GetMediaHandlerDescription(sourceMedia, &handlerType, nullptr, nullptr);
    Media media = NewTrackMedia(track, handlerType, GetMediaTimeScale(sourceMedia), nullptr, 0);
    BeginMediaEdits(media);
    TimeValue destinationTime = 0;
    TimeValue sourceTime = 0;
    if (offsetSeconds > 0)
      destinationTime = static_cast<TimeValue>(static_cast<float>(now.scale) * offsetSeconds);
    else if (offsetSeconds < 0)
      sourceTime = static_cast<TimeValue>(-offsetSeconds * static_cast<float>(sourceScale));
    InsertTrackSegment(sourceTrack, track, sourceTime, GetTrackDuration(sourceTrack), destinationTime);
    CopyTrackSettings(sourceTrack, track);
    SetTrackLayer(track, GetTrackLayer(sourceTrack));
    EndMediaEdits(media);
  }
  const TimeValue end = GetMovieDuration(movie);
  if (end > start) DeleteMovieSegment(movie, start, end - start);

  DisposeMovie(sourceMovie);
  CloseMovieStorage(sourceHandler);
  DisposeHandle(sourceRef);
  return 0;
}

}  // namespace Vantor::QuickTime
