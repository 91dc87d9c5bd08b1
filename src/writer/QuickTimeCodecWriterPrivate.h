// The writer's private object: the shared QuickTime state plus the compression
// session and the settings text, with every writer operation (settings,
// output movie, frame encoding, audio, metadata and timecode).
#pragma once

#include <QuickTimeCodecPrivate.h>
#include <vantor/property/Property.h>
#include <vantor/quicktime/FrameRate.h>

#include "StagedDestination.h"

#include <list>
#include <string>

namespace Vantor::QuickTime {

class FrameMemoryPool;

class QuickTimeCodecWriterPrivate : public QuickTimeCodecPrivate {
 public:
  QuickTimeCodecWriterPrivate() = default;
  ~QuickTimeCodecWriterPrivate() override;

  // Compression settings (CompressionSettings.cpp).
  void setCompressionSettings(int width, int height, float frameRate, int keyFrameRate, int qualityIndex, bool hasAlpha,
                              const std::string& settings);
  std::string getCompressionDescription(const std::string& settings) const;
  std::string requestCompressionSettings(const std::string& settings);
  std::string getCompressionSettings(const std::string& settings) const;
  std::string requestAudioSettings(const std::string& settings);
  const char** getCodecNames() const;
  int getCodecIndex() const;
  void setCodecIndex(int index);
  int getQualityIndex() const;
  float getFrameRate() const;
  void applySettingsText(const std::string& text);

  // Output movie (OutputMovie.cpp).
  int openMovie(const std::string& path, int streams);
  int createVideoTrack();
  int createAudioTrack();
  void finishVideo();
  void finishAudio();
  int closeMovie(bool flatten);

  // Frames (FrameEncoding.cpp).
  int createCompressionSession();
  int encodeFrame(int frame, const void* pixels, bool pixelsAreBytes);
  static OSStatus encodedFrameOutput(void* refCon, ICMCompressionSessionRef session, OSStatus error,
                                     ICMEncodedFrameRef frame, void* reserved);

  // Audio (AudioWriting.cpp).
  int32_t setAudioFormat(int channels, bool flag, int sampleRate, const std::string& text);
  bool writeAudioSamples(int sampleCount, const float* samples);
  int addAudioFromFile(const char* path, float offsetSeconds);

  // Metadata and timecode (MetadataTimecode.cpp).
  int setMetadata(const std::list<Vantor::Property::Base*>& properties);
  bool addTimecodeTrack(FrameRate rate, int startFrame, const std::string& reelName);

  ICMCompressionSessionRef compressionSession = nullptr;
  std::string settingsText;
  // Average bytes per second for the compressor; 0 lets the quality decide.
  SInt32 dataRate = 0;
  // Recycled frame memory, made on the first frame (FrameMemoryPool.h).
  FrameMemoryPool* framePool = nullptr;
  // Stored by setAudioFormat for the host; nothing reads them.
  std::string audioFormatText;
  bool audioFormatFlag = false;
  // The movie's file until closeMovie moves it over the destination.
  StagedDestination staged;
  // openMovie asked for sound: its track is made with the first samples, in
  // the format of the last setAudioFormat, so a format set before or after
  // openMovie gives the same file and a track without samples is never written.
  bool audioWanted = false;
  // A frame or samples could not be written (a full disk, a failing codec):
  // the movie does not hold what the host gave, so it does not replace the destination.
  bool incomplete = false;

 private:
  int flattenInto(std::string& flattenedPath);
  void releaseMovie();
};

}  // namespace Vantor::QuickTime
