// Reads a sound track's 'stsd' entry, as stored in a movie file, into a SoundFormat:
// the fixed fields of versions 0, 1 and 2 and the extension atoms decoding needs
// ('wave' with 'enda' and 'esds' inside, 'esds', 'alac', 'chan').
#pragma once

#include <cstdint>
#include <span>

#include "vqt/audio/SoundFormat.h"

namespace vqt::audio {

// `entry` starts at the entry's size field. Returns badFormat when the fixed part is
// cut short; extension atoms that overrun the entry are ignored, not read past.
Status parseSoundSampleEntry(std::span<const std::uint8_t> entry, SoundFormat& format);

}  // namespace vqt::audio
