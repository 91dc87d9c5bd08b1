#include "vqt/container/SampleEntries.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace vqt::container {

void parseExtensions(ByteReader& in, std::vector<ExtensionAtom>& out, std::vector<std::uint8_t>& trailing) {
  const auto bytes = in.rest();
  const std::size_t end = formats::forEachAtom(bytes, [&](const AtomHeader& header, auto, auto payload) {
    out.push_back(ExtensionAtom{header.type, {payload.begin(), payload.end()}});
  });
  trailing.assign(bytes.begin() + static_cast<std::ptrdiff_t>(end), bytes.end());
}

void writeExtensions(ByteWriter& out, const std::vector<ExtensionAtom>& extensions) {
  for (const auto& e : extensions) {
    const std::size_t start = out.beginAtom(e.type);
    out.bytes(e.payload);
    out.endAtom(start);
  }
}

const ExtensionAtom* SampleEntry::findExtension(FourCC wanted, std::size_t index) const {
  for (const auto& e : extensions) {
    if (e.type == wanted && index-- == 0) return &e;
  }
  return nullptr;
}

Error SampleEntry::parse(ByteReader& in, ParseContext&) {
  in.skip(6);
  dataReferenceIndex = in.u16();
  if (in.failed()) return Error::truncated;
  if (Error error = parseFields(in); error != Error::none) return error;
  if (in.failed()) return Error::truncated;
  parseExtensions(in, extensions, trailingBytes);
  return Error::none;
}

void SampleEntry::writePayload(ByteWriter& out) const {
  out.zeros(6);
  out.u16(dataReferenceIndex);
  writeFields(out);
  writeExtensions(out, extensions);
  out.bytes(trailingBytes);
}

void SampleEntry::dumpFields(Dumper& out) const {
  out.field("dataReferenceIndex", dataReferenceIndex);
  dumpEntryFields(out);
  for (const auto& e : extensions) {
    out.indent();
    out.atomHeader(e.type);
    out.bytes("payload", e.payload);
    out.outdent();
  }
  if (!trailingBytes.empty()) out.bytes("trailingBytes", trailingBytes);
}

Error VisualSampleEntry::parseFields(ByteReader& in) {
  if (!formats::parseImageFields(in, *this)) return Error::truncated;
  // An indexed depth with colour table ID 0 carries its table inline.
  const int indexedDepth = depth & 0x1F;
  if (colorTableId == 0 && depth > 0 && indexedDepth <= 8 && in.remaining() >= 8) {
    ByteReader probe = in;
    probe.skip(6);
    const std::uint64_t entries = std::uint64_t(probe.u16()) + 1;
    if (probe.canHold(entries, 8)) {
      auto table = in.bytes(static_cast<std::size_t>(8 + entries * 8));
      colorTable.assign(table.begin(), table.end());
    }
  }
  return Error::none;
}

void VisualSampleEntry::writeFields(ByteWriter& out) const {
  formats::writeImageFields(out, *this);
  out.bytes(colorTable);
}

void VisualSampleEntry::dumpEntryFields(Dumper& out) const {
  out.fourcc("vendor", vendor);
  out.field("temporalQuality", temporalQuality);
  out.field("spatialQuality", spatialQuality);
  out.field("width", width);
  out.field("height", height);
  const std::size_t nameLength = compressorName[0] < 32 ? compressorName[0] : 31;
  out.field("compressorName", std::string(reinterpret_cast<const char*>(&compressorName[1]), nameLength));
  out.field("depth", depth);
  out.field("colorTableId", colorTableId);
}

double SoundSampleEntry::effectiveSampleRate() const { return version == 2 ? audioSampleRate : sampleRate / 65536.0; }

std::uint32_t SoundSampleEntry::effectiveChannels() const { return version == 2 ? audioChannels : channelCount; }

Error SoundSampleEntry::parseFields(ByteReader& in) {
  return formats::parseSoundFields(in, *this) ? Error::none : Error::truncated;
}

void SoundSampleEntry::writeFields(ByteWriter& out) const { formats::writeSoundFields(out, *this); }

void SoundSampleEntry::dumpEntryFields(Dumper& out) const {
  out.field("version", version);
  out.field("channels", effectiveChannels());
  out.field("sampleSize", sampleSize);
  out.field("compressionId", compressionId);
  out.field("sampleRate", std::to_string(effectiveSampleRate()));
  if (version == 1) {
    out.field("samplesPerPacket", samplesPerPacket);
    out.field("bytesPerPacket", bytesPerPacket);
    out.field("bytesPerFrame", bytesPerFrame);
    out.field("bytesPerSample", bytesPerSample);
  } else if (version == 2) {
    out.field("constBitsPerChannel", constBitsPerChannel);
    out.field("formatSpecificFlags", formatSpecificFlags);
    out.field("constBytesPerAudioPacket", constBytesPerAudioPacket);
    out.field("constLPCMFramesPerAudioPacket", constLPCMFramesPerAudioPacket);
  }
}

Error TimecodeSampleEntry::parseFields(ByteReader& in) {
  reserved = in.u32();
  flags = in.u32();
  timeScale = in.u32();
  frameDuration = in.u32();
  numberOfFrames = in.u8();
  reservedByte = in.u8();
  return in.failed() ? Error::truncated : Error::none;
}

void TimecodeSampleEntry::writeFields(ByteWriter& out) const {
  out.u32(reserved);
  out.u32(flags);
  out.u32(timeScale);
  out.u32(frameDuration);
  out.u8(numberOfFrames);
  out.u8(reservedByte);
}

void TimecodeSampleEntry::dumpEntryFields(Dumper& out) const {
  out.field("flags", flags);
  out.field("timeScale", timeScale);
  out.field("frameDuration", frameDuration);
  out.field("numberOfFrames", numberOfFrames);
}

Error GenericSampleEntry::parseFields(ByteReader& in) {
  auto rest = in.rest();
  fields.assign(rest.begin(), rest.end());
  return Error::none;
}

void GenericSampleEntry::writeFields(ByteWriter& out) const { out.bytes(fields); }

void GenericSampleEntry::dumpEntryFields(Dumper& out) const { out.bytes("fields", fields); }

std::unique_ptr<SampleEntry> SampleDescriptionAtom::createEntry(FourCC format, FourCC handlerType) {
  // Without a handler type (a media whose 'hdlr' comes late), the common
  // codes still decide.
  constexpr FourCC kVideoFormats[] = {'avc1', 'hvc1', 'hev1', 'mp4v', 'jpeg', 'mjpa', 'apch', 'apcn', 'apcs', 'apco',
                                      'ap4h', 'ap4x', 'AVdn', 'AVdh', 'png ', 'rle ', 'raw ', 'v210', '2vuy'};
  constexpr FourCC kSoundFormats[] = {'lpcm', 'twos', 'sowt', 'in24', 'in32', 'fl32', 'fl64',
                                      'ulaw', 'alaw', 'ima4', 'mp4a', 'alac', 'ac-3'};
  auto listed = [format](const auto& list) {
    return std::find(std::begin(list), std::end(list), format) != std::end(list);
  };
  if (format == 'tmcd' || handlerType == 'tmcd') return std::make_unique<TimecodeSampleEntry>();
  if (handlerType == 'vide' || (handlerType == 0 && listed(kVideoFormats)))
    return std::make_unique<VisualSampleEntry>(format);
  if (handlerType == 'soun' || (handlerType == 0 && listed(kSoundFormats)))
    return std::make_unique<SoundSampleEntry>(format);
  return std::make_unique<GenericSampleEntry>(format);
}

Error SampleDescriptionAtom::parse(ByteReader& in, ParseContext& context) {
  readVersionAndFlags(in);
  const std::uint32_t count = in.u32();
  if (in.failed()) return Error::truncated;
  if (!in.canHold(count, 16)) return Error::tableTooLarge;
  entries.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    AtomHeader header;
    if (Error error = readAtomHeader(in, header); error != Error::none) return error;
    ByteReader payload = in.sub(static_cast<std::size_t>(header.size - header.headerSize));
    auto entry = createEntry(header.type, context.handlerType);
    if (Error error = entry->parse(payload, context); error != Error::none) return error;
    entries.push_back(std::move(entry));
  }
  return Error::none;
}

void SampleDescriptionAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u32(static_cast<std::uint32_t>(entries.size()));
  for (const auto& e : entries) e->write(out);
}

void SampleDescriptionAtom::dumpFields(Dumper& out) const {
  out.indent();
  for (const auto& e : entries) e->dump(out);
  out.outdent();
}

}  // namespace vqt::container
