// The fields of a QuickTime sound sample description that decoding depends on,
// as a plain value, and what they mean for linear PCM (the one PCM table lives
// behind pcmLayoutOf).
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "vqt/audio/Status.h"

namespace vqt::audio {

using FourCC = std::uint32_t;

namespace formats {
constexpr FourCC linearPcm = 'lpcm';  // version 2; layout from lpcmFlags and bitsPerChannel
constexpr FourCC bigEndianSigned = 'twos';
constexpr FourCC littleEndianSigned = 'sowt';
constexpr FourCC unsignedBytes = 'raw ';
constexpr FourCC int24 = 'in24';
constexpr FourCC int32 = 'in32';
constexpr FourCC float32 = 'fl32';
constexpr FourCC float64 = 'fl64';
constexpr FourCC muLaw = 'ulaw';
constexpr FourCC aLaw = 'alaw';
constexpr FourCC aac = 'mp4a';
constexpr FourCC appleLossless = 'alac';
constexpr FourCC mp3 = '.mp3';
}  // namespace formats

// Version 2 'lpcm' format flags (formatSpecificFlags), as in an AudioStreamBasicDescription.
namespace lpcmFlags {
constexpr std::uint32_t isFloat = 1u << 0;
constexpr std::uint32_t isBigEndian = 1u << 1;
constexpr std::uint32_t isSignedInteger = 1u << 2;
constexpr std::uint32_t isPacked = 1u << 3;
constexpr std::uint32_t isAlignedHigh = 1u << 4;
constexpr std::uint32_t isNonInterleaved = 1u << 5;
}  // namespace lpcmFlags

// Limits beyond which a description is refused as malformed rather than decoded.
constexpr std::uint32_t kMaxChannels = 64;
constexpr double kMinSampleRate = 1.0;
constexpr double kMaxSampleRate = 768000.0;

struct SoundFormat {
  FourCC format = 0;
  int version = 0;  // 0, 1 or 2: which of the fields below the description carried

  // Versions 0 and 1: numChannels, sampleSize, and the 16.16 rate widened to a double.
  // Version 2: numAudioChannels, constBitsPerChannel, audioSampleRate.
  std::uint32_t channels = 0;
  std::uint32_t bitsPerChannel = 0;
  double sampleRate = 0.0;

  // Version 1 (samplesPerPacket, bytesPerPacket per channel, bytesPerFrame, bytesPerSample)
  // and version 2 (constLPCMFramesPerAudioPacket, constBytesPerAudioPacket). Zero when
  // variable or absent. Only PCM consults them, to check a packet's byte count.
  std::uint32_t framesPerPacket = 0;
  std::uint32_t bytesPerPacket = 0;
  std::uint32_t bytesPerFrame = 0;
  std::uint32_t bytesPerSample = 0;

  std::uint32_t lpcmFormatFlags = 0;  // version 2 formatSpecificFlags

  // 'enda' inside 'wave' with a non-zero value: 'in24', 'in32', 'fl32', 'fl64' samples
  // are little-endian. 'twos' and 'sowt' carry their byte order in their code.
  bool littleEndianAtom = false;

  // Codec configuration, as a file carries it:
  //  'mp4a': the payload of the 'esds' atom (4 bytes version and flags, then the
  //          ES_Descriptor), whether the atom sat in the description or inside 'wave';
  //  'alac': the whole 'alac' configuration atom (size, type, version and flags, then
  //          the 24-byte ALACSpecificConfig), 36 bytes; a bare 24-byte config is accepted.
  std::vector<std::uint8_t> magicCookie;

  // The 'chan' atom's AudioChannelLayout (after its version and flags), big-endian;
  // empty if none. Kept for the movies layer; mixing uses channel order only.
  std::vector<std::uint8_t> channelLayout;

  friend bool operator==(const SoundFormat&, const SoundFormat&) = default;
};

enum class PcmKind { signedInteger, unsignedInteger, floatingPoint, muLaw, aLaw };

// How a PCM format's samples are laid out in the media's bytes.
struct PcmLayout {
  PcmKind kind = PcmKind::signedInteger;
  std::uint32_t bitsPerSample = 0;  // bits of one channel's sample as stored
  bool bigEndian = false;
  FourCC classicFormat = 0;  // the pre-version-2 code for this layout
  std::uint32_t bytesPerSample() const { return bitsPerSample / 8; }
};

// The layout of a PCM format, following the classic rules of the codes ('twos' big-endian
// signed, 'sowt' little-endian signed, 'raw ' unsigned 8-bit, 'in24'/'in32'/'fl32'/'fl64'
// big-endian unless 'enda' says little-endian, 'ulaw'/'alaw' 8-bit) and, for 'lpcm', the
// version 2 flags. Empty for compressed formats and for PCM layouts that are not decoded.
std::optional<PcmLayout> pcmLayoutOf(const SoundFormat& format);

// The PCM description a QuickTime file would carry for a layout: 'sowt' or 'twos' for
// 16-bit integers (and 'raw ' / 'twos' for 8-bit, 'ulaw', 'alaw'), otherwise version 2
// 'lpcm' with its flags.
SoundFormat pcmSoundFormat(const PcmLayout& layout, std::uint32_t channels, double sampleRate);

bool isPcm(const SoundFormat& format);

// Checks what every decoder needs: a channel count in 1..kMaxChannels and a finite rate
// in kMinSampleRate..kMaxSampleRate.
Status validate(const SoundFormat& format);

}  // namespace vqt::audio
