// The one table of codecs the engine offers: four-character code, names,
// the FFmpeg decoder and encoder behind it, the pixel formats it exchanges
// without losing precision, and how QuickTime quality levels map onto it.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "vqt/codecs/PixelFormats.h"

namespace vqt::codecs {

// Our own manufacturer code for every codec component we register.
inline constexpr FourCC kManufacturerCode = 'vntr';

// Which encoder control the quality levels drive.
enum class QualityControl {
  none,             // lossless or fixed-rate at every level
  proresQuantiser,  // prores_ks: fixed quantiser, 0 = the profile's own rate control
  x264Crf,          // libx264 constant rate factor (0 = lossless)
  x265Crf,          // libx265 constant rate factor (0 = its lossless mode)
  mpegQscale,       // fixed quantiser scale (mpeg4, mjpeg)
  dnxhrProfile,     // DNxHR profile chosen by level
};

// Encoder settings for QuickTime quality 0x000, 0x100, 0x200, 0x300, 0x3FF, 0x400.
// `levels` is how many of those, from the lowest, give distinct output: a codec
// with no lossless mode has 5, and its Lossless gives what Maximum gives.
struct QualityMapping {
  QualityControl control = QualityControl::none;
  std::array<int, 6> values{};
  int levels = 6;
};

struct CodecEntry {
  FourCC type;
  std::string_view name;               // type name shown in codec lists
  std::string_view information;        // one line on what the component is built on
  std::string_view decoder;            // FFmpeg decoder name, empty when none
  std::string_view encoder;            // FFmpeg encoder name, empty when none
  int profile;                         // FFmpeg profile for the encoder (-1: default)
  std::string_view encodeLayout;       // FFmpeg pixel format fed to the encoder
  std::string_view encodeAlphaLayout;  // same, for depth 32 when the codec keeps alpha
  std::array<FourCC, 4> cpix;          // exchanged formats, most preferred first, 0-padded
  QualityMapping quality;
  std::int16_t depth;                // image description depth written by default
  bool temporal;                     // frames may depend on other frames
  FourCC configAtom;                 // image description extension holding the codec setup
  std::string_view rawLayout;        // for rawvideo: the FFmpeg pixel format of the samples
  std::string_view deepLayout;       // fed to the encoder when the source has 16-bit channels
  std::string_view deepAlphaLayout;  // same, for depth 32
};

std::span<const CodecEntry> codecTable();
const CodecEntry* findCodec(FourCC type);

// The 'cpix' list without its padding.
std::span<const FourCC> exchangeFormats(const CodecEntry& entry);

// True when this FFmpeg build has the decoder / encoder the entry names.
bool canRead(const CodecEntry& entry);
bool canWrite(const CodecEntry& entry);

// Index into QualityMapping::values for a QuickTime quality (nearest level at or below).
int qualityLevelIndex(std::uint32_t quality);

}  // namespace vqt::codecs
