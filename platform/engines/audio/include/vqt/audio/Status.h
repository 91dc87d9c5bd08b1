// Results of the audio engine. The movies layer maps them to QuickTime result codes;
// nothing in the engine throws across its interface.
#pragma once

namespace vqt::audio {

enum class Status {
  ok,
  badFormat,    // the sound description is malformed (zero channels, absurd rate, ...)
  unsupported,  // a well-formed description of something the engine does not decode
  badData,      // a packet could not be read or decoded, or its size is impossible
  outOfRange,   // a position or size outside what the stream holds
  ioError,      // a file could not be opened or read
  outOfMemory,
  failed,  // any other failure inside FFmpeg
};

const char* statusName(Status status);

}  // namespace vqt::audio
