// A sound track's 'stsd' entry as stored in a movie file, read into a SoundFormat and
// written from one: the fixed fields of versions 0, 1 and 2 and the extension atoms
// decoding needs ('wave' with 'enda' and 'esds' inside, 'esds', 'alac', 'chan').
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "vqt/audio/SoundFormat.h"

namespace vqt::audio {

// `entry` starts at the entry's size field. Returns badFormat when the fixed part is
// cut short; extension atoms that overrun the entry are ignored, not read past.
Status parseSoundSampleEntry(std::span<const std::uint8_t> entry, SoundFormat& format);

// The entry a QuickTime movie carries for `format` (data reference index 1), big-endian,
// ready for the movies layer's sound description: version 1 compressed formats keep
// their cookie in a 'wave' atom (frma, the cookie atom, terminator), as do classic PCM
// codes with 'enda'; 'chan' follows when a layout is present. Reading it back gives
// the same SoundFormat.
std::vector<std::uint8_t> writeSoundSampleEntry(const SoundFormat& format);

}  // namespace vqt::audio
