// Host audio samples (floats, nominally -1..1) to the 16-bit integers stored
// in the movie, and the conversion buffer that grows but is never shrunk.
#pragma once

#include <cstdint>

namespace Vantor::QuickTime {

// value x 40960.0 in double precision, truncated toward zero to 32 bits; the
// low 16 bits are kept, so magnitudes above 0.8 wrap rather than clip.
// Values beyond the 32-bit range (and NaN) saturate before the cut instead of
// being undefined.
std::int16_t audioSampleToInt16(float value);
void convertAudioSamples(const float* in, int count, std::int16_t* out);

// Makes `buffer` hold at least `size` bytes: kept when big enough, else
// replaced (array delete, array new). False when the allocation fails.
bool ensureAudioBuffer(char*& buffer, std::int32_t& bufferSize, std::int32_t size);

}  // namespace Vantor::QuickTime
