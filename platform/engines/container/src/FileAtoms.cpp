#include "vqt/container/FileAtoms.h"

namespace vqt::container {

namespace {
Error finish(const ByteReader& in) { return in.failed() ? Error::truncated : Error::none; }

void readMatrix(ByteReader& in, Matrix& m) {
  for (auto& v : m) v = in.s32();
}
void writeMatrix(ByteWriter& out, const Matrix& m) {
  for (auto v : m) out.s32(v);
}

// Version 1 headers widen the times and the duration to 64 bits.
std::uint64_t readTime(ByteReader& in, std::uint8_t version) { return version == 1 ? in.u64() : in.u32(); }
void writeTime(ByteWriter& out, std::uint8_t version, std::uint64_t v) {
  if (version == 1)
    out.u64(v);
  else
    out.u32(static_cast<std::uint32_t>(v));
}
}  // namespace

Error FileTypeAtom::parse(ByteReader& in, ParseContext&) {
  majorBrand = in.u32();
  minorVersion = in.u32();
  compatibleBrands.clear();
  while (in.remaining() >= 4) compatibleBrands.push_back(in.u32());
  return finish(in);
}

void FileTypeAtom::writePayload(ByteWriter& out) const {
  out.u32(majorBrand);
  out.u32(minorVersion);
  for (auto brand : compatibleBrands) out.u32(brand);
}

void FileTypeAtom::dumpFields(Dumper& out) const {
  out.fourcc("majorBrand", majorBrand);
  out.field("minorVersion", minorVersion);
  for (auto brand : compatibleBrands) out.fourcc("compatibleBrand", brand);
}

Error MovieHeaderAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  creationTime = readTime(in, version);
  modificationTime = readTime(in, version);
  timeScale = in.u32();
  duration = readTime(in, version);
  preferredRate = in.s32();
  preferredVolume = in.s16();
  in.skip(10);
  readMatrix(in, matrix);
  previewTime = in.u32();
  previewDuration = in.u32();
  posterTime = in.u32();
  selectionTime = in.u32();
  selectionDuration = in.u32();
  currentTime = in.u32();
  nextTrackId = in.u32();
  return finish(in);
}

void MovieHeaderAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  writeTime(out, version, creationTime);
  writeTime(out, version, modificationTime);
  out.u32(timeScale);
  writeTime(out, version, duration);
  out.s32(preferredRate);
  out.s16(preferredVolume);
  out.zeros(10);
  writeMatrix(out, matrix);
  for (auto v : {previewTime, previewDuration, posterTime, selectionTime, selectionDuration, currentTime, nextTrackId})
    out.u32(v);
}

void MovieHeaderAtom::dumpFields(Dumper& out) const {
  dumpVersionAndFlags(out);
  out.field("timeScale", timeScale);
  out.field("duration", static_cast<std::int64_t>(duration));
  out.field("preferredRate", preferredRate);
  out.field("preferredVolume", preferredVolume);
  out.field("nextTrackId", nextTrackId);
}

Error TrackHeaderAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  creationTime = readTime(in, version);
  modificationTime = readTime(in, version);
  trackId = in.u32();
  in.skip(4);
  duration = readTime(in, version);
  in.skip(8);
  layer = in.s16();
  alternateGroup = in.s16();
  volume = in.s16();
  in.skip(2);
  readMatrix(in, matrix);
  width = in.u32();
  height = in.u32();
  return finish(in);
}

void TrackHeaderAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  writeTime(out, version, creationTime);
  writeTime(out, version, modificationTime);
  out.u32(trackId);
  out.zeros(4);
  writeTime(out, version, duration);
  out.zeros(8);
  out.s16(layer);
  out.s16(alternateGroup);
  out.s16(volume);
  out.zeros(2);
  writeMatrix(out, matrix);
  out.u32(width);
  out.u32(height);
}

void TrackHeaderAtom::dumpFields(Dumper& out) const {
  dumpVersionAndFlags(out);
  out.field("trackId", trackId);
  out.field("duration", static_cast<std::int64_t>(duration));
  out.field("layer", layer);
  out.field("alternateGroup", alternateGroup);
  out.field("volume", volume);
  out.field("width", width >> 16);
  out.field("height", height >> 16);
}

Error MediaHeaderAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  creationTime = readTime(in, version);
  modificationTime = readTime(in, version);
  timeScale = in.u32();
  duration = readTime(in, version);
  language = in.u16();
  quality = in.u16();
  return finish(in);
}

void MediaHeaderAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  writeTime(out, version, creationTime);
  writeTime(out, version, modificationTime);
  out.u32(timeScale);
  writeTime(out, version, duration);
  out.u16(language);
  out.u16(quality);
}

void MediaHeaderAtom::dumpFields(Dumper& out) const {
  dumpVersionAndFlags(out);
  out.field("timeScale", timeScale);
  out.field("duration", static_cast<std::int64_t>(duration));
  out.field("language", language);
}

Error HandlerAtom::parse(ByteReader& in, ParseContext& context) {
  readVersionAndFlags(in);
  componentType = in.u32();
  componentSubtype = in.u32();
  manufacturer = in.u32();
  componentFlags = in.u32();
  componentFlagsMask = in.u32();
  auto rest = in.rest();
  name.assign(rest.begin(), rest.end());
  if (in.failed()) return Error::truncated;
  // Only the media handler, the 'hdlr' directly inside 'mdia', decides how
  // sample descriptions further down are laid out. The data handler inside
  // 'minf' names a data reference type ('alis', 'url '); going by its
  // component type alone would let one damaged byte turn it into the media's
  // handler and have a picture's description read as some other layout.
  if (context.parentType() == 'mdia') context.handlerType = componentSubtype;
  return Error::none;
}

void HandlerAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  for (auto v : {componentType, componentSubtype, manufacturer, componentFlags, componentFlagsMask}) out.u32(v);
  out.bytes(name);
}

void HandlerAtom::dumpFields(Dumper& out) const {
  out.fourcc("componentType", componentType);
  out.fourcc("componentSubtype", componentSubtype);
  out.fourcc("manufacturer", manufacturer);
  out.bytes("name", name);
}

Error VideoMediaHeaderAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  graphicsMode = in.u16();
  for (auto& c : opColor) c = in.u16();
  return finish(in);
}

void VideoMediaHeaderAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u16(graphicsMode);
  for (auto c : opColor) out.u16(c);
}

void VideoMediaHeaderAtom::dumpFields(Dumper& out) const { out.field("graphicsMode", graphicsMode); }

Error SoundMediaHeaderAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  balance = in.s16();
  in.skip(2);
  return finish(in);
}

void SoundMediaHeaderAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.s16(balance);
  out.zeros(2);
}

void SoundMediaHeaderAtom::dumpFields(Dumper& out) const { out.field("balance", balance); }

Error BaseMediaInfoAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  graphicsMode = in.u16();
  for (auto& c : opColor) c = in.u16();
  balance = in.s16();
  in.skip(2);
  return finish(in);
}

void BaseMediaInfoAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u16(graphicsMode);
  for (auto c : opColor) out.u16(c);
  out.s16(balance);
  out.zeros(2);
}

void BaseMediaInfoAtom::dumpFields(Dumper& out) const {
  out.field("graphicsMode", graphicsMode);
  out.field("balance", balance);
}

Error TimecodeMediaInfoAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  textFont = in.u16();
  textFace = in.u16();
  textSize = in.u16();
  in.skip(2);
  for (auto& c : textColor) c = in.u16();
  for (auto& c : backgroundColor) c = in.u16();
  auto rest = in.rest();
  fontName.assign(rest.begin(), rest.end());
  return finish(in);
}

void TimecodeMediaInfoAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u16(textFont);
  out.u16(textFace);
  out.u16(textSize);
  out.zeros(2);
  for (auto c : textColor) out.u16(c);
  for (auto c : backgroundColor) out.u16(c);
  out.bytes(fontName);
}

void TimecodeMediaInfoAtom::dumpFields(Dumper& out) const {
  out.field("textFont", textFont);
  out.field("textFace", textFace);
  out.field("textSize", textSize);
  out.bytes("fontName", fontName);
}

}  // namespace vqt::container
