#include "AudioSamples.h"

#include <cmath>
#include <new>

namespace Vantor::QuickTime {

std::int16_t audioSampleToInt16(float value) {
  const double scaled = static_cast<double>(value) * 40960.0;
  std::int32_t whole = 0;
  if (std::isnan(scaled))
    whole = 0;
  else if (scaled >= 2147483647.0)
    whole = INT32_MAX;
  else if (scaled <= -2147483648.0)
    whole = INT32_MIN;
  else
    whole = static_cast<std::int32_t>(scaled);
  return static_cast<std::int16_t>(static_cast<std::uint16_t>(static_cast<std::uint32_t>(whole) & 0xFFFFu));
}

void convertAudioSamples(const float* in, int count, std::int16_t* out) {
  for (int i = 0; i < count; ++i) out[i] = audioSampleToInt16(in[i]);
}

bool ensureAudioBuffer(char*& buffer, std::int32_t& bufferSize, std::int32_t size) {
  if (buffer != nullptr && size <= bufferSize) return true;
  delete[] buffer;
  buffer = new (std::nothrow) char[static_cast<std::size_t>(size > 0 ? size : 1)];
  bufferSize = buffer != nullptr ? size : 0;
  return buffer != nullptr;
}

}  // namespace Vantor::QuickTime
