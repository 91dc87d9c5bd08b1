#include "vqt/container/FragmentAtoms.h"

#include <string>

namespace vqt::container {

namespace {

Error finish(const ByteReader& in) { return in.failed() ? Error::truncated : Error::none; }

// Version 1 widens a time to 64 bits.
std::uint64_t readTime(ByteReader& in, std::uint8_t version) { return version == 1 ? in.u64() : in.u32(); }
void writeTime(ByteWriter& out, std::uint8_t version, std::uint64_t value) {
  if (version == 1)
    out.u64(value);
  else
    out.u32(static_cast<std::uint32_t>(value));
}

}  // namespace

Error MovieExtendsHeaderAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  fragmentDuration = readTime(in, version);
  return finish(in);
}

void MovieExtendsHeaderAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  writeTime(out, version, fragmentDuration);
}

void MovieExtendsHeaderAtom::dumpFields(Dumper& out) const {
  dumpVersionAndFlags(out);
  out.field("fragmentDuration", static_cast<std::int64_t>(fragmentDuration));
}

Error TrackExtendsAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  trackId = in.u32();
  defaultDescriptionIndex = in.u32();
  defaultDuration = in.u32();
  defaultSize = in.u32();
  defaultFlags = in.u32();
  return finish(in);
}

void TrackExtendsAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u32(trackId);
  out.u32(defaultDescriptionIndex);
  out.u32(defaultDuration);
  out.u32(defaultSize);
  out.u32(defaultFlags);
}

void TrackExtendsAtom::dumpFields(Dumper& out) const {
  out.field("trackId", trackId);
  out.field("defaultDescriptionIndex", defaultDescriptionIndex);
  out.field("defaultDuration", defaultDuration);
  out.field("defaultSize", defaultSize);
  out.field("defaultFlags", defaultFlags);
}

Error MovieFragmentHeaderAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  sequenceNumber = in.u32();
  return finish(in);
}

void MovieFragmentHeaderAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u32(sequenceNumber);
}

void MovieFragmentHeaderAtom::dumpFields(Dumper& out) const { out.field("sequenceNumber", sequenceNumber); }

Error TrackFragmentHeaderAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  trackId = in.u32();
  if (flags & kBaseDataOffset) baseDataOffset = in.u64();
  if (flags & kDescriptionIndex) descriptionIndex = in.u32();
  if (flags & kDefaultDuration) defaultDuration = in.u32();
  if (flags & kDefaultSize) defaultSize = in.u32();
  if (flags & kDefaultFlags) defaultFlags = in.u32();
  return finish(in);
}

void TrackFragmentHeaderAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u32(trackId);
  if (flags & kBaseDataOffset) out.u64(baseDataOffset);
  if (flags & kDescriptionIndex) out.u32(descriptionIndex);
  if (flags & kDefaultDuration) out.u32(defaultDuration);
  if (flags & kDefaultSize) out.u32(defaultSize);
  if (flags & kDefaultFlags) out.u32(defaultFlags);
}

void TrackFragmentHeaderAtom::dumpFields(Dumper& out) const {
  dumpVersionAndFlags(out);
  out.field("trackId", trackId);
  if (flags & kBaseDataOffset) out.field("baseDataOffset", static_cast<std::int64_t>(baseDataOffset));
  if (flags & kDescriptionIndex) out.field("descriptionIndex", descriptionIndex);
  if (flags & kDefaultDuration) out.field("defaultDuration", defaultDuration);
  if (flags & kDefaultSize) out.field("defaultSize", defaultSize);
  if (flags & kDefaultFlags) out.field("defaultFlags", defaultFlags);
}

Error TrackFragmentDecodeTimeAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  baseMediaDecodeTime = readTime(in, version);
  return finish(in);
}

void TrackFragmentDecodeTimeAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  writeTime(out, version, baseMediaDecodeTime);
}

void TrackFragmentDecodeTimeAtom::dumpFields(Dumper& out) const {
  dumpVersionAndFlags(out);
  out.field("baseMediaDecodeTime", static_cast<std::int64_t>(baseMediaDecodeTime));
}

Error TrackRunAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  sampleCount = in.u32();
  if (flags & kDataOffset) dataOffset = in.s32();
  if (flags & kFirstSampleFlags) firstSampleFlags = in.u32();
  if (in.failed()) return Error::truncated;
  samples.clear();
  if (!hasPerSampleFields()) return Error::none;
  std::size_t entrySize = 0;
  for (std::uint32_t bit : {kSampleDuration, kSampleSize, kSampleFlags, kCompositionOffset})
    if (flags & bit) entrySize += 4;
  // The count is checked against the atom's bytes before anything is allocated.
  if (!in.canHold(sampleCount, entrySize)) return Error::tableTooLarge;
  samples.resize(sampleCount);
  for (auto& s : samples) {
    if (flags & kSampleDuration) s.duration = in.u32();
    if (flags & kSampleSize) s.size = in.u32();
    if (flags & kSampleFlags) s.flags = in.u32();
    if (flags & kCompositionOffset) s.compositionOffset = in.s32();
  }
  return finish(in);
}

void TrackRunAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u32(hasPerSampleFields() ? static_cast<std::uint32_t>(samples.size()) : sampleCount);
  if (flags & kDataOffset) out.s32(dataOffset);
  if (flags & kFirstSampleFlags) out.u32(firstSampleFlags);
  for (const auto& s : samples) {
    if (flags & kSampleDuration) out.u32(s.duration);
    if (flags & kSampleSize) out.u32(s.size);
    if (flags & kSampleFlags) out.u32(s.flags);
    if (flags & kCompositionOffset) out.s32(s.compositionOffset);
  }
}

void TrackRunAtom::dumpFields(Dumper& out) const {
  dumpVersionAndFlags(out);
  out.field("sampleCount", sampleCount);
  if (flags & kDataOffset) out.field("dataOffset", dataOffset);
  if (flags & kFirstSampleFlags) out.field("firstSampleFlags", firstSampleFlags);
  if (!hasPerSampleFields()) return;
  out.beginTable("samples", samples.size());
  for (std::size_t i = 0; i < samples.size() && i < Dumper::kMaxTableRows; ++i) {
    const Sample& s = samples[i];
    out.row(i, "duration " + std::to_string(s.duration) + " size " + std::to_string(s.size) + " flags " +
                   std::to_string(s.flags) + " offset " + std::to_string(s.compositionOffset));
  }
}

}  // namespace vqt::container
