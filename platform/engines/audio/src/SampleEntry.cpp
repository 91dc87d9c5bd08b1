#include "vqt/audio/SampleEntry.h"

#include "vqt/formats/AtomHeader.h"
#include "vqt/formats/SoundFields.h"

namespace vqt::audio {
namespace {

// The shared byte layouts (the audio engine's own `formats` names sound formats).
namespace layout = vqt::formats;

using layout::ByteReader;
using layout::ByteWriter;

constexpr std::size_t kVersion0Size = 36;
constexpr int kMaxWaveDepth = 4;

// Walks the atoms in `bytes` (each clamped to its parent; the walk ends where one
// does not fit, as at the 'wave' terminator of type 0 and size 8).
void readExtensions(std::span<const std::uint8_t> bytes, SoundFormat& format, int depth) {
  layout::forEachAtom(bytes, [&](const layout::AtomHeader& header, auto atom, auto payload) {
    switch (header.type) {
      case 'wave':
        if (depth < kMaxWaveDepth) readExtensions(payload, format, depth + 1);
        break;
      case 'enda':
        if (payload.size() >= 2)
          format.littleEndianAtom = layout::loadU16(payload) != 0;
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
  });
}

void atom(ByteWriter& out, FourCC type, std::span<const std::uint8_t> payload) {
  const std::size_t start = out.beginAtom(type);
  out.bytes(payload);
  out.endAtom(start);
}

// 16.16 rate of versions 0 and 1; rates that do not fit saturate (the media time scale
// then carries the rate).
std::uint32_t fixedRate(double rate) {
  if (!(rate > 0)) return 0;
  if (rate >= 65535.0) return 0xFFFF0000u;
  return static_cast<std::uint32_t>(rate * 65536.0);
}

void writeExtensions(const SoundFormat& format, ByteWriter& out) {
  const bool hasCookie = !format.magicCookie.empty();
  const bool alacAtom = format.format == formats::appleLossless && hasCookie;
  if (format.version == 1 && (hasCookie || format.littleEndianAtom)) {
    const std::size_t wave = out.beginAtom('wave');
    const std::size_t frma = out.beginAtom('frma');
    out.u32(format.format);
    out.endAtom(frma);
    if (format.format == formats::aac) atom(out, 'mp4a', std::vector<std::uint8_t>(4, 0));
    if (format.littleEndianAtom) atom(out, 'enda', std::vector<std::uint8_t>{0, 1});
    if (alacAtom)
      out.bytes(format.magicCookie);
    else if (hasCookie)
      atom(out, 'esds', format.magicCookie);
    atom(out, 0, {});  // terminator
    out.endAtom(wave);
  } else if (alacAtom) {
    out.bytes(format.magicCookie);
  } else if (hasCookie) {
    atom(out, 'esds', format.magicCookie);
  }
  if (!format.channelLayout.empty()) {
    std::vector<std::uint8_t> chan(4, 0);  // version and flags
    chan.insert(chan.end(), format.channelLayout.begin(), format.channelLayout.end());
    atom(out, 'chan', chan);
  }
}

}  // namespace

std::vector<std::uint8_t> writeSoundSampleEntry(const SoundFormat& format) {
  layout::SoundFields fields;
  fields.version = static_cast<std::uint16_t>(format.version);
  if (format.version == 2) {
    fields.channelCount = 3, fields.sampleSize = 16, fields.compressionId = -2, fields.sampleRate = 65536;
    fields.audioSampleRate = format.sampleRate;
    fields.audioChannels = format.channels;
    fields.constBitsPerChannel = format.bitsPerChannel;
    fields.formatSpecificFlags = format.lpcmFormatFlags;
    fields.constBytesPerAudioPacket = format.bytesPerPacket;
    fields.constLPCMFramesPerAudioPacket = format.framesPerPacket;
  } else {
    fields.channelCount = static_cast<std::uint16_t>(format.channels);
    fields.sampleSize = static_cast<std::uint16_t>(format.bitsPerChannel);
    fields.compressionId = format.version == 1 && !isPcm(format) ? -2 : 0;  // -2: variable
    fields.sampleRate = fixedRate(format.sampleRate);
    fields.samplesPerPacket = format.framesPerPacket, fields.bytesPerPacket = format.bytesPerPacket;
    fields.bytesPerFrame = format.bytesPerFrame, fields.bytesPerSample = format.bytesPerSample;
  }
  ByteWriter out;
  const std::size_t entry = out.beginAtom(format.format);
  out.zeros(6);
  out.u16(1);  // data reference index
  layout::writeSoundFields(out, fields);
  writeExtensions(format, out);
  out.endAtom(entry);
  return out.take();
}

Status parseSoundSampleEntry(std::span<const std::uint8_t> entry, SoundFormat& format) {
  format = SoundFormat{};
  if (entry.size() < kVersion0Size) return Status::badFormat;
  const std::size_t declared = layout::loadU32(entry);
  if (declared >= kVersion0Size && declared < entry.size()) entry = entry.first(declared);

  ByteReader in(entry);
  in.skip(4);
  format.format = in.u32();
  in.skip(8);  // reserved, data reference index
  layout::SoundFields fields;
  const bool whole = layout::parseSoundFields(in, fields);
  format.version = fields.version;
  if (format.version > 2) return Status::unsupported;
  if (!whole) return Status::badFormat;
  if (format.version == 2) {
    format.sampleRate = fields.audioSampleRate;
    format.channels = fields.audioChannels;
    format.bitsPerChannel = fields.constBitsPerChannel;
    format.lpcmFormatFlags = fields.formatSpecificFlags;
    format.bytesPerPacket = fields.constBytesPerAudioPacket;
    format.framesPerPacket = fields.constLPCMFramesPerAudioPacket;
    // For PCM a packet is a frame, so the constant packet size is the frame size.
    if (format.framesPerPacket == 1) format.bytesPerFrame = format.bytesPerPacket;
  } else {
    format.channels = fields.channelCount;
    format.bitsPerChannel = fields.sampleSize;
    format.sampleRate = fields.sampleRate / 65536.0;
    if (format.version == 1) {
      format.framesPerPacket = fields.samplesPerPacket;
      format.bytesPerPacket = fields.bytesPerPacket;
      format.bytesPerFrame = fields.bytesPerFrame;
      format.bytesPerSample = fields.bytesPerSample;
    }
  }
  readExtensions(in.rest(), format, 0);
  return Status::ok;
}

}  // namespace vqt::audio
