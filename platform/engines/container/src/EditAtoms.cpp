#include "vqt/container/EditAtoms.h"

#include <string>

namespace vqt::container {

Error EditListAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  const std::uint32_t count = in.u32();
  if (in.failed()) return Error::truncated;
  const std::size_t entrySize = version == 1 ? 20 : 12;
  if (!in.canHold(count, entrySize)) return Error::tableTooLarge;
  entries.resize(count);
  for (auto& e : entries) {
    if (version == 1) {
      e.segmentDuration = in.u64();
      e.mediaTime = in.s64();
    } else {
      e.segmentDuration = in.u32();
      e.mediaTime = in.s32();
    }
    e.mediaRate = in.s32();
  }
  return in.failed() ? Error::truncated : Error::none;
}

void EditListAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u32(static_cast<std::uint32_t>(entries.size()));
  for (const auto& e : entries) {
    if (version == 1) {
      out.u64(e.segmentDuration);
      out.s64(e.mediaTime);
    } else {
      out.u32(static_cast<std::uint32_t>(e.segmentDuration));
      out.s32(static_cast<std::int32_t>(e.mediaTime));
    }
    out.s32(e.mediaRate);
  }
}

void EditListAtom::dumpFields(Dumper& out) const {
  dumpVersionAndFlags(out);
  out.beginTable("entries", entries.size());
  for (std::size_t i = 0; i < entries.size() && i < Dumper::kMaxTableRows; ++i)
    out.row(i, "duration " + std::to_string(entries[i].segmentDuration) + " mediaTime " +
                   std::to_string(entries[i].mediaTime) + " rate " + std::to_string(entries[i].mediaRate));
}

Error TrackReferenceTypeAtom::parse(ByteReader& in, ParseContext&) {
  trackIds.resize(in.remaining() / 4);
  for (auto& id : trackIds) id = in.u32();
  return Error::none;
}

void TrackReferenceTypeAtom::writePayload(ByteWriter& out) const {
  for (auto id : trackIds) out.u32(id);
}

void TrackReferenceTypeAtom::dumpFields(Dumper& out) const {
  for (auto id : trackIds) out.field("trackId", id);
}

Error TrackReferenceAtom::parse(ByteReader& in, ParseContext&) {
  while (in.remaining() >= 8) {
    AtomHeader header;
    if (Error error = readAtomHeader(in, header); error != Error::none) return error;
    ByteReader payload = in.sub(static_cast<std::size_t>(header.size - header.headerSize));
    auto reference = std::make_unique<TrackReferenceTypeAtom>(header.type);
    ParseContext unused;
    reference->parse(payload, unused);
    references.push_back(std::move(reference));
  }
  return Error::none;
}

void TrackReferenceAtom::writePayload(ByteWriter& out) const {
  for (const auto& r : references) r->write(out);
}

void TrackReferenceAtom::dumpFields(Dumper& out) const {
  out.indent();
  for (const auto& r : references) r->dump(out);
  out.outdent();
}

bool DataReferenceAtom::isExternal(std::uint32_t index) const {
  if (index == 0 || index > entries.size()) return false;
  return (entries[index - 1].flags & kSelfContained) == 0;
}

Error DataReferenceAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  const std::uint32_t count = in.u32();
  if (in.failed()) return Error::truncated;
  if (!in.canHold(count, 12)) return Error::tableTooLarge;
  entries.resize(count);
  for (auto& e : entries) {
    AtomHeader header;
    if (Error error = readAtomHeader(in, header); error != Error::none) return error;
    ByteReader payload = in.sub(static_cast<std::size_t>(header.size - header.headerSize));
    e.type = header.type;
    const std::uint32_t word = payload.u32();
    if (payload.failed()) return Error::truncated;
    e.version = static_cast<std::uint8_t>(word >> 24);
    e.flags = word & 0x00FFFFFF;
    auto rest = payload.rest();
    e.data.assign(rest.begin(), rest.end());
  }
  return Error::none;
}

void DataReferenceAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u32(static_cast<std::uint32_t>(entries.size()));
  for (const auto& e : entries) {
    const std::size_t start = out.beginAtom(e.type);
    out.u32(std::uint32_t(e.version) << 24 | (e.flags & 0x00FFFFFF));
    out.bytes(e.data);
    out.endAtom(start);
  }
}

void DataReferenceAtom::dumpFields(Dumper& out) const {
  out.beginTable("entries", entries.size());
  for (std::size_t i = 0; i < entries.size() && i < Dumper::kMaxTableRows; ++i)
    out.row(i, fourccToString(entries[i].type) + " flags " + std::to_string(entries[i].flags) + " data " +
                   std::to_string(entries[i].data.size()) + " bytes");
}

}  // namespace vqt::container
