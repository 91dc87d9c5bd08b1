// Which pixel format the reader and writer exchange with a codec component:
// the formats the codec lists in its 'cpix' resource, a fixed order of
// preference, and per-codec override flags from GlobalSettings.csv in the
// host bundle's resources.
#pragma once

#include <Carbon/Components.h>
#include <QuickTime/ImageDescription.h>

#include <string>
#include <vector>

namespace Vantor::QuickTime {

// Override flags of a GlobalSettings.csv row.
constexpr int kExcludeB64a = 0x001;
constexpr int kExclude2vuy = 0x002;
constexpr int kExcludeR408 = 0x004;
constexpr int kSkipByteSwap = 0x010;  // use 16-bit 'b48r'/'b64a' samples as they come
constexpr int kExcludeR4fl = 0x100;
constexpr int kOnlyB64a = 0x200;
constexpr int kOnly2vuy = 0x400;

struct GlobalSettingsEntry {
  OSType componentType;          // 'imco' for "encode" rows, 'imdc' for all others
  OSType componentSubType;       // 0: any codec type
  OSType componentManufacturer;  // 0: any manufacturer
  int platform;                  // 1 "macosx", else 0
  int architecture;              // 1 "intel", 2 "ppc", else 0
  int flags;
};

// "0" and "32" are decimal numbers; any other text packs its first four
// characters, the first in the most significant byte (shorter texts are padded
// with zero bytes at the low end).
OSType parseFourCharCode(const std::string& text);

// The rows of one file, with the rules below, without touching the table.
std::vector<GlobalSettingsEntry> readGlobalSettings(const std::string& path);

// Appends the rows of one file to the process-wide table; a path beginning
// with ".." is taken inside the host bundle. Bad lines are reported on
// standard error and skipped; a missing file adds nothing.
void loadGlobalSettings(const std::string& path);

// Loads `path` when the table is still empty; safe to call from many threads at
// once (one of them reads the file, the others wait for its rows).
void loadGlobalSettingsIfEmpty(const std::string& path);

// The process-wide table, loaded by the first lookup that finds it empty.
const std::vector<GlobalSettingsEntry>& globalSettingsTable();

// Chooses the pixel format to exchange with `codec` and the override flags that
// apply to it. Never fails: 32 (8-bit ARGB) when nothing better qualifies.
// Given the stream's image description, an H.264 or HEVC stream whose
// configuration says 8-bit 4:2:0 takes '2vuy' before 'r4fl' (when the codec
// offers it and no override rules it out): it holds all such a stream has, at
// an eighth of the bytes a frame.
void choosePixelFormat(Component codec, OSType& pixelFormat, int& flags, ImageDescriptionHandle image = nullptr);

// True when an H.264 ('avcC': Baseline, Main, Extended or High profile) or HEVC
// ('hvcC': 4:2:0 chroma, 8-bit luma and chroma) configuration in the image
// description says every picture is 8-bit 4:2:0; false when there is none.
bool isEightBit420Stream(ImageDescriptionHandle image);

}  // namespace Vantor::QuickTime
