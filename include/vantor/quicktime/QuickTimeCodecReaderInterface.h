// The movie reader as callers see it: open a movie, decode any frame into
// float RGBA, extract its sound as interleaved floats, read its metadata and
// describe its video stream, timecode and reel.
#pragma once

#include <vantor/Export.h>

#include <vantor/property/Property.h>

#include <list>
#include <map>
#include <string>

namespace Vantor::QuickTime {

class VANTOR_EXPORT QuickTimeCodecReaderInterface {
 public:
  virtual ~QuickTimeCodecReaderInterface() = default;

  // mode bit 0 (1): video, bit 1 (2): audio. 0 success, 1 audio set-up failed, 3 movie not opened.
  virtual int open(const std::string& path, int mode) = 0;
  virtual int close() = 0;
  // Appends one new property per readable metadata item (the caller owns them); 2 when no movie is open.
  virtual int getMetadata(std::list<Vantor::Property::Base*>& properties) = 0;
  // Inserts, never overwrites: "codec_id", "codec_pixel_format", "codec_manufacturer",
  // "codec_name", "codec_info", "reel", "timecode".
  virtual void getStreamDescription(std::map<std::string, std::string>& description) = 0;
  // Interleaved 32-bit floats; *sampleCount is wanted on entry and delivered on return.
  virtual int readAudio(unsigned int startSample, unsigned int* sampleCount, float* buffer) = 0;
  // Sample frames times channels.
  virtual unsigned int getAudioSampleCount() const = 0;
  virtual void getAudioFormat(int* channels, int* sampleRate, int* bytesPerSample, int* sampleBytes) const = 0;
  virtual bool hasAudio() const = 0;
  virtual bool hasVideo() const = 0;
  // Frames count from 1; rgba holds width x height x 4 floats, top row first.
  // 0 success, 1 movie or codec failure, 2 a pixel format with no conversion.
  virtual int decodeFrame(int frame, float* rgba) = 0;
  virtual int getFrameCount() const = 0;
  virtual void getVideoInfo(int* width, int* height, int* channels, float* pixelAspect, int* timeScale,
                            int* frameDuration, int* startTimecodeFrame) const = 0;
};

}  // namespace Vantor::QuickTime
