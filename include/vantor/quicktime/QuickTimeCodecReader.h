// The movie reader: opens a movie file, decodes any frame into float RGBA,
// extracts its sound as interleaved floats, and reports metadata, the stream
// description, the timecode and the reel. All state lives in its private object.
#pragma once

#include <vantor/quicktime/QuickTimeCodecReaderInterface.h>

namespace Vantor::QuickTime {

class QuickTimeCodecReaderPrivate;

class VANTOR_EXPORT QuickTimeCodecReader : public QuickTimeCodecReaderInterface {
 public:
  // Throws std::runtime_error("QuickTime could not be initialised") when QuickTime cannot be entered.
  QuickTimeCodecReader();
  ~QuickTimeCodecReader() override;
  QuickTimeCodecReader(const QuickTimeCodecReader&) = delete;
  QuickTimeCodecReader& operator=(const QuickTimeCodecReader&) = delete;

  int open(const std::string& path, int mode) override;
  int close() override;
  int getMetadata(std::list<Vantor::Property::Base*>& properties) override;
  void getStreamDescription(std::map<std::string, std::string>& description) override;
  int readAudio(unsigned int startSample, unsigned int* sampleCount, float* buffer) override;
  unsigned int getAudioSampleCount() const override;
  void getAudioFormat(int* channels, int* sampleRate, int* bytesPerSample, int* sampleBytes) const override;
  bool hasAudio() const override;
  bool hasVideo() const override;
  int decodeFrame(int frame, float* rgba) override;
  int getFrameCount() const override;
  void getVideoInfo(int* width, int* height, int* channels, float* pixelAspect, int* timeScale, int* frameDuration,
                    int* startTimecodeFrame) const override;

 private:
  QuickTimeCodecReaderPrivate* d;
};

}  // namespace Vantor::QuickTime
