// The pure arithmetic of the compression settings: the settings text (hex of
// a settings atom container), the quality-level table, 16.16 frame rates, and
// the words a description uses for a quality.
#pragma once

#include <Carbon/MacMemory.h>
#include <Carbon/MacTypes.h>
#include <QuickTime/ImageCompression.h>

#include <array>
#include <string>

namespace Vantor::QuickTime {

// Quality index -> QuickTime quality level; the one place this mapping lives.
inline constexpr std::array<CodecQ, 6> kQualityLevels{0x000, 0x100, 0x200, 0x300, 0x3FF, 0x400};

// Index of an exact level, or -1.
int qualityIndexOf(CodecQ quality);
// The level of an index; indexes outside the table give codecNormalQuality.
CodecQ qualityLevelAt(int index);
// "Lossless", "Maximum Quality", ... by threshold (0x100 reads as "Minimum Quality").
const char* qualityWord(CodecQ quality);

// Null for an empty text; else a new handle of length/2 bytes (a last odd
// digit is dropped). Digits at or above 'a' count as c - 87, others as c - 48.
Handle decodeSettingsText(const std::string& text);
// Two lower-case hex digits per byte, high nibble first; "" for a null handle.
std::string encodeSettingsText(Handle handle);

// Single-precision rate x 65536 truncated toward zero, saturated at 0x7FFFFFFF
// (and at the most negative value for a product that low).
Fixed floatToFixedRate(float rate);
// Fixed x 1/65536 in single precision.
float fixedRateToFloat(Fixed rate);

}  // namespace Vantor::QuickTime
