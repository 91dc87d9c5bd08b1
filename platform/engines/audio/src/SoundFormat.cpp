#include "vqt/audio/SoundFormat.h"

#include <cmath>

namespace vqt::audio {

Status validate(const SoundFormat& format) {
  if (format.channels == 0 || format.channels > kMaxChannels) return Status::badFormat;
  if (!std::isfinite(format.sampleRate) || format.sampleRate < kMinSampleRate || format.sampleRate > kMaxSampleRate)
    return Status::badFormat;
  return Status::ok;
}

const char* statusName(Status status) {
  switch (status) {
    case Status::ok:
      return "ok";
    case Status::badFormat:
      return "badFormat";
    case Status::unsupported:
      return "unsupported";
    case Status::badData:
      return "badData";
    case Status::outOfRange:
      return "outOfRange";
    case Status::ioError:
      return "ioError";
    case Status::outOfMemory:
      return "outOfMemory";
    case Status::failed:
      return "failed";
  }
  return "unknown";
}

}  // namespace vqt::audio
