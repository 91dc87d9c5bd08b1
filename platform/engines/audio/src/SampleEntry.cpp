#include "vqt/audio/SampleEntry.h"

#include <bit>
#include <cstring>

namespace vqt::audio {
namespace {

std::uint16_t read16(std::span<const std::uint8_t> bytes, std::size_t at) {
  return static_cast<std::uint16_t>((bytes[at] << 8) | bytes[at + 1]);
}
std::uint32_t read32(std::span<const std::uint8_t> bytes, std::size_t at) {
  return (std::uint32_t{bytes[at]} << 24) | (std::uint32_t{bytes[at + 1]} << 16) | (std::uint32_t{bytes[at + 2]} << 8) |
         bytes[at + 3];
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
        if (payload.size() >= 2)
          format.littleEndianAtom = read16(payload, 0) != 0;
        else if (payload.size() == 1)
          format.littleEndianAtom = payload[0] != 0;
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

class Writer {
 public:
  std::vector<std::uint8_t> bytes;
  void u16(std::uint32_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    bytes.push_back(static_cast<std::uint8_t>(value));
  }
  void u32(std::uint32_t value) {
    u16(value >> 16);
    u16(value & 0xFFFF);
  }
  void append(std::span<const std::uint8_t> data) { bytes.insert(bytes.end(), data.begin(), data.end()); }
  void atom(FourCC type, std::span<const std::uint8_t> payload) {
    u32(static_cast<std::uint32_t>(payload.size() + 8));
    u32(type);
    append(payload);
  }
  void patchSize(std::size_t at) {
    const auto size = static_cast<std::uint32_t>(bytes.size() - at);
    for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<std::uint8_t>(size >> (24 - 8 * i));
  }
};

// 16.16 rate of versions 0 and 1; rates that do not fit saturate (the media time scale
// then carries the rate).
std::uint32_t fixedRate(double rate) {
  if (!(rate > 0)) return 0;
  if (rate >= 65535.0) return 0xFFFF0000u;
  return static_cast<std::uint32_t>(rate * 65536.0);
}

void writeExtensions(const SoundFormat& format, Writer& out) {
  const bool hasCookie = !format.magicCookie.empty();
  const bool alacAtom = format.format == formats::appleLossless && hasCookie;
  if (format.version == 1 && (hasCookie || format.littleEndianAtom)) {
    Writer wave;
    const std::uint8_t code[4] = {std::uint8_t(format.format >> 24), std::uint8_t(format.format >> 16),
                                  std::uint8_t(format.format >> 8), std::uint8_t(format.format)};
    wave.atom('frma', code);
    if (format.format == formats::aac) wave.atom('mp4a', std::vector<std::uint8_t>(4, 0));
    if (format.littleEndianAtom) wave.atom('enda', std::vector<std::uint8_t>{0, 1});
    if (alacAtom)
      wave.append(format.magicCookie);
    else if (hasCookie)
      wave.atom('esds', format.magicCookie);
    wave.atom(0, {});  // terminator
    out.atom('wave', wave.bytes);
  } else if (alacAtom) {
    out.append(format.magicCookie);
  } else if (hasCookie) {
    out.atom('esds', format.magicCookie);
  }
  if (!format.channelLayout.empty()) {
    std::vector<std::uint8_t> chan(4, 0);  // version and flags
    chan.insert(chan.end(), format.channelLayout.begin(), format.channelLayout.end());
    out.atom('chan', chan);
  }
}

}  // namespace

std::vector<std::uint8_t> writeSoundSampleEntry(const SoundFormat& format) {
  Writer out;
  out.u32(0);  // size, patched below
  out.u32(format.format);
  for (int i = 0; i < 3; ++i) out.u16(0);
  out.u16(1);  // data reference index
  out.u16(static_cast<std::uint32_t>(format.version));
  out.u16(0);
  out.u32(0);
  if (format.version == 2) {
    out.u16(3), out.u16(16), out.u16(0xFFFE), out.u16(0);
    out.u32(65536), out.u32(static_cast<std::uint32_t>(kVersion2Size));
    const auto rate = std::bit_cast<std::uint64_t>(format.sampleRate);
    out.u32(static_cast<std::uint32_t>(rate >> 32)), out.u32(static_cast<std::uint32_t>(rate));
    out.u32(format.channels), out.u32(0x7F000000), out.u32(format.bitsPerChannel);
    out.u32(format.lpcmFormatFlags), out.u32(format.bytesPerPacket), out.u32(format.framesPerPacket);
  } else {
    const bool compressed = !isPcm(format);
    out.u16(format.channels), out.u16(format.bitsPerChannel);
    out.u16(format.version == 1 && compressed ? 0xFFFE : 0);  // compression ID: variable
    out.u16(0);
    out.u32(fixedRate(format.sampleRate));
    if (format.version == 1) {
      out.u32(format.framesPerPacket), out.u32(format.bytesPerPacket);
      out.u32(format.bytesPerFrame), out.u32(format.bytesPerSample);
    }
  }
  writeExtensions(format, out);
  out.patchSize(0);
  return out.bytes;
}

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
