// The state shared by the movie reader and the movie writer: the QuickTime
// session and graphics port they hold for their lifetime, the codec catalogue
// (installed codecs sorted by type name), and the movie, track, video, audio
// and settings members with their defaults.
#pragma once

#include <Carbon/QuickDraw.h>
#include <CoreAudio/CoreAudioTypes.h>
#include <QuickTime/ImageCompression.h>
#include <QuickTime/MovieAudioExtraction.h>
#include <QuickTime/MovieStorage.h>
#include <QuickTime/Movies.h>
#include <QuickTime/SoundDescription.h>

#include <string>
#include <vector>

namespace Vantor::QuickTime {

class QuickTimeCodecPrivate {
 public:
  // Enters QuickTime, creates and selects a port, builds the codec catalogue.
  // Throws std::runtime_error("QuickTime could not be initialised") when
  // QuickTime cannot be entered.
  QuickTimeCodecPrivate();
  virtual ~QuickTimeCodecPrivate();
  QuickTimeCodecPrivate(const QuickTimeCodecPrivate&) = delete;
  QuickTimeCodecPrivate& operator=(const QuickTimeCodecPrivate&) = delete;

  // Number of catalogue entries (the texts without their terminating null).
  int codecCount() const;
  // The codec type at a catalogue position; the position must be valid.
  CodecType codecTypeAt(int index) const;

  SInt32 startTimecodeFrame = 0;
  SInt32 frameCount = 0;
  Movie movie = nullptr;
  Handle dataRef = nullptr;
  DataHandler dataHandler = nullptr;
  Track videoTrack = nullptr;
  Media videoMedia = nullptr;
  bool hasVideo = false;
  CodecType codecType = 'apcn';
  OSType pixelFormat = 0;
  SInt32 pixelFormatFlags = 0;
  bool writePixelAspect = true;
  float pixelAspect = 1.0f;
  SInt32 width = 512;
  SInt32 height = 256;
  SInt32 channels = 4;
  CodecQ spatialQuality = codecNormalQuality;
  Track timecodeTrack = nullptr;
  Media timecodeMedia = nullptr;
  bool hasTimecode = false;
  Fixed frameRate = 0x00180000;  // 24.0 in 16.16
  SInt32 timeScale = 0;
  SInt32 frameDuration = 0;
  SInt32 keyFrameRate = 1;
  std::string path;
  CGrafPtr port = nullptr;
  Track audioTrack = nullptr;
  Media audioMedia = nullptr;
  MovieAudioExtractionRef audioExtraction = nullptr;
  bool hasAudio = false;
  UInt32 audioSampleCount = 0;
  SInt32 audioChannels = 1;
  SInt32 audioSampleRate = 48000;
  SInt32 audioBytesPerSample = 2;
  SInt32 audioBitsPerSample = 16;
  bool audioIsFloat = false;
  SInt32 audioSampleBytes = 16;
  char* audioBuffer = nullptr;  // array new; released by the writer
  SInt32 audioBufferSize = 0;
  AudioStreamBasicDescription audioStreamDescription{};
  SoundDescriptionHandle soundDescription = nullptr;
  bool swapB64a = true;
  CodecNameSpecListPtr codecNameList = nullptr;
  // One "type<TAB>name" text per catalogue entry (strdup'ed), then a null
  // pointer; empty, without the null, when the catalogue could not be built.
  std::vector<char*> codecNames;
};

}  // namespace Vantor::QuickTime
