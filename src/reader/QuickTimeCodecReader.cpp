// The public reader: every operation forwards to the private object.
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include "QuickTimeCodecReaderPrivate.h"

namespace Vantor::QuickTime {

QuickTimeCodecReader::QuickTimeCodecReader() : d(new QuickTimeCodecReaderPrivate) {}

QuickTimeCodecReader::~QuickTimeCodecReader() {
  d->close();
  delete d;
}

int QuickTimeCodecReader::open(const std::string& path, int mode) { return d->open(path, mode); }
int QuickTimeCodecReader::close() { return d->close(); }
int QuickTimeCodecReader::getMetadata(std::list<Vantor::Property::Base*>& properties) {
  return d->getMetadata(properties);
}
void QuickTimeCodecReader::getStreamDescription(std::map<std::string, std::string>& description) {
  d->getStreamDescription(description);
}

int QuickTimeCodecReader::readAudio(unsigned int startSample, unsigned int* sampleCount, float* buffer) {
  if (!hasAudio()) return 0;
  return d->readAudio(startSample, sampleCount, buffer);
}

unsigned int QuickTimeCodecReader::getAudioSampleCount() const { return d->audioSampleCount; }

void QuickTimeCodecReader::getAudioFormat(int* channels, int* sampleRate, int* bytesPerSample, int* sampleBytes) const {
  *channels = d->audioChannels;
  *sampleRate = d->audioSampleRate;
  *bytesPerSample = d->audioBytesPerSample;
  *sampleBytes = d->audioSampleBytes;
}

bool QuickTimeCodecReader::hasAudio() const { return d->hasAudio; }
bool QuickTimeCodecReader::hasVideo() const { return d->hasVideo; }
int QuickTimeCodecReader::decodeFrame(int frame, float* rgba) { return d->decodeFrame(frame, rgba); }
int QuickTimeCodecReader::getFrameCount() const { return d->frameCount; }

void QuickTimeCodecReader::getVideoInfo(int* width, int* height, int* channels, float* pixelAspect, int* timeScale,
                                        int* frameDuration, int* startTimecodeFrame) const {
  *width = d->width;
  *height = d->height;
  *channels = d->channels;
  *pixelAspect = d->pixelAspect;
  *timeScale = d->timeScale;
  *frameDuration = d->frameDuration;
  *startTimecodeFrame = d->startTimecodeFrame;
}

}  // namespace Vantor::QuickTime
