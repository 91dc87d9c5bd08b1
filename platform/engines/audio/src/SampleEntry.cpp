#include "vqt/audio/SampleEntry.h"

#include <bit>
#include <cstring>

namespace vqt::audio {
namespace {

std::uint16_t read16(std::span<const std::uint8_t> bytes, std::size_t at) {
  return static_cast<std::uint16_t>((bytes[at] << 8) | bytes[at + 1]);
}
std::uint32_t read32(std::span<const std::uint8_t> bytes, std::size_t at) {
  return (std::uint32_t{bytes[at]} << 24) | (std::uint32_t{bytes[at + 1]} << 16) |
         (std::uint32_t{bytes[at + 2]} << 8) | bytes[at + 3];
}
double readDouble(std::span<const std::uint8_t> bytes, std::size_t at) {
  const std::uint64_t bits = (std::uint64_t{read32(bytes, at)} << 32) | read32(bytes, at + 4);
  return std::bit_cast<double>(bits);
}

constexpr std::size_t kVersion0Size = 36;
constexpr std::size_t kVersion1Size = 52;
constexpr std::size_t kVersion2Size = 72;
constexpr int kMaxWaveDepth = 4;

// Walks the atoms in `bytes`; each child is clamped to its parent, and a size below
// the header ends the walk (the 'wave' terminator has type 0 and size 8).
void readExtensions(std::span<const std::uint8_t> bytes, SoundFormat& format, int depth) {
  std::size_t at = 0;
  while (bytes.size() - at >= 8) {
    std::size_t size = read32(bytes, at);
    const FourCC type = read32(bytes, at + 4);
    if (size == 0) size = bytes.size() - at;
    if (size < 8 || size > bytes.size() - at) break;
    const auto atom = bytes.subspan(at, size);
    const auto payload = atom.subspan(8);
    switch (type) {
      case 'wave':
        if (depth < kMaxWaveDepth) readExtensions(payload, format, depth + 1);
        break;
      case 'enda':
        if (payload.size() >= 2) format.littleEndianAtom = read16(payload, 0) != 0;
        else if (payload.size() == 1) format.littleEndianAtom = payload[0] != 0;
        break;
      case 'esds':
        if (format.magicCookie.empty()) format.magicCookie.assign(payload.begin(), payload.end());
        break;
      case 'alac':
        // In a 'wave' (or as the child of an 'alac' entry) this is the 36-byte
        // configuration atom, which the decoder takes whole.
        if (format.magicCookie.empty()) format.magicCookie.assign(atom.begin(), atom.end());
        break;
      case 'chan':
        if (payload.size() > 4) format.channelLayout.assign(payload.begin() + 4, payload.end());
        break;
      default:
        break;
    }
    at += size;
  }
}

}  // namespace

Status parseSoundSampleEntry(std::span<const std::uint8_t> entry, SoundFormat& format) {
  format = SoundFormat{};
  if (entry.size() < kVersion0Size) return Status::badFormat;
  const std::size_t declared = read32(entry, 0);
  if (declared >= kVersion0Size && declared < entry.size()) entry = entry.first(declared);

  format.format = read32(entry, 4);
  format.version = read16(entry, 16);
  std::size_t fixedSize = kVersion0Size;
  switch (format.version) {
    case 0:
    case 1:
      format.channels = read16(entry, 24);
      format.bitsPerChannel = read16(entry, 26);
      format.sampleRate = read32(entry, 32) / 65536.0;
      if (format.version == 1) {
        if (entry.size() < kVersion1Size) return Status::badFormat;
        format.framesPerPacket = read32(entry, 36);
        format.bytesPerPacket = read32(entry, 40);
        format.bytesPerFrame = read32(entry, 44);
        format.bytesPerSample = read32(entry, 48);
        fixedSize = kVersion1Size;
      }
      break;
    case 2:
      if (entry.size() < kVersion2Size) return Status::badFormat;
      format.sampleRate = readDouble(entry, 40);
      format.channels = read32(entry, 48);
      format.bitsPerChannel = read32(entry, 56);
      format.lpcmFormatFlags = read32(entry, 60);
      format.bytesPerPacket = read32(entry, 64);
      format.framesPerPacket = read32(entry, 68);
      // For PCM a packet is a frame, so the constant packet size is the frame size.
      if (format.framesPerPacket == 1) format.bytesPerFrame = format.bytesPerPacket;
      fixedSize = kVersion2Size;
      break;
    default:
      return Status::unsupported;
  }
  readExtensions(entry.subspan(fixedSize), format, 0);
  return Status::ok;
}

}  // namespace vqt::audio
