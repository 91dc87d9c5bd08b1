#include "PixelFormatChoice.h"

#include <Carbon/MacMemory.h>
#include <QuickTime/ImageCompression.h>

#include <climits>
#include <cstring>

namespace Vantor::QuickTime {

namespace {

// The formats we can convert, in order of preference, with the override flags
// that rule each one out.
struct FormatPreference {
  OSType format;
  int rank;
  int excludedBy;
};
constexpr FormatPreference kPreferences[] = {
    {'r4fl', 0, kExcludeR4fl | kOnlyB64a | kOnly2vuy},
    {'r408', 1, kExcludeR408 | kOnlyB64a | kOnly2vuy},
    {'2vuy', 2, kExclude2vuy | kOnlyB64a},
    {'b64a', 3, kExcludeB64a | kOnly2vuy},
    {32, 4, kOnlyB64a | kOnly2vuy},
};

const FormatPreference* preferenceOf(OSType format) {
  for (const FormatPreference& p : kPreferences)
    if (p.format == format) return &p;
  return nullptr;
}

bool matches(OSType rowValue, OSType componentValue) { return rowValue == 0 || rowValue == componentValue; }

int overrideFlagsFor(Component codec) {
  ComponentDescription description{};
  if (GetComponentInfo(codec, &description, nullptr, nullptr, nullptr) != noErr) return 0;
  for (const GlobalSettingsEntry& row : globalSettingsTable()) {
    if (matches(row.componentType, description.componentType) &&
        matches(row.componentSubType, description.componentSubType) &&
        matches(row.componentManufacturer, description.componentManufacturer) &&
        (row.platform == 0 || row.platform == 1) && (row.architecture == 0 || row.architecture == 1))
      return row.flags;
  }
  return 0;
}

void registerR4flIfUnknown() {
  ICMPixelFormatInfo info;
  std::memset(&info, 0, sizeof info);
  info.size = 100;
  if (ICMGetPixelFormatInfo('r4fl', &info) == noErr) return;
  std::memset(&info, 0, sizeof info);
  info.size = 100;
  info.formatFlags = 0;  // not planar
  info.bitsPerPixel[0] = 128;
  ICMSetPixelFormatInfo('r4fl', &info);  // a refusal changes nothing we rely on
}

}  // namespace

bool isEightBit420Stream(ImageDescriptionHandle image) { return VqtImageDescriptionIsEightBit420(image); }

void choosePixelFormat(Component codec, OSType& pixelFormat, int& flags, ImageDescriptionHandle image) {
  loadGlobalSettingsIfEmpty("../Resources/GlobalSettings.csv");

  flags = overrideFlagsFor(codec);

  pixelFormat = 0;
  int bestRank = INT_MAX;
  const bool eightBit420 = isEightBit420Stream(image);
  Handle formats = nullptr;
  if (GetComponentPublicResource(codec, 'cpix', 1, &formats) == noErr && formats) {
    const Size count = GetHandleSize(formats) / 4;
    for (Size i = 0; i < count; ++i) {
      OSType format;
      std::memcpy(&format, *formats + i * 4, sizeof format);
      const FormatPreference* preference = preferenceOf(format);
      if (preference == nullptr || (flags & preference->excludedBy)) continue;
      // Just ahead of 'r4fl' for a stream that is 8-bit 4:2:0 throughout: such a
      // stream loses nothing in '2vuy', which is an eighth of the float buffer's
      // bytes to fill and read back. The codec's own order stays for every other
      // stream, so deep or 4:2:2/4:4:4 material keeps its precision.
      const int rank = format == '2vuy' && eightBit420 ? -1 : preference->rank;
      if (rank < bestRank) {
        pixelFormat = format;
        bestRank = rank;
      }
    }
  }
  if (formats) DisposeHandle(formats);

  if (pixelFormat == 0) {
    pixelFormat = 32;
    return;
  }
  if (pixelFormat == 'r4fl') registerR4flIfUnknown();
}

}  // namespace Vantor::QuickTime
