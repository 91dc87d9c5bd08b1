#include "vqt/container/SampleTableAtoms.h"

#include <string>

namespace vqt::container {

namespace {

// Reads an entry count (after version and flags), and refuses a count that the
// atom's remaining bytes cannot hold, before any allocation.
Error readTableHeader(ByteReader& in, std::size_t entrySize, std::uint32_t& count) {
  count = in.u32();
  if (in.failed()) return Error::truncated;
  if (!in.canHold(count, entrySize)) return Error::tableTooLarge;
  return Error::none;
}

Error finish(const ByteReader& in) { return in.failed() ? Error::truncated : Error::none; }

template <class Rows, class Format>
void dumpRows(Dumper& out, const char* name, const Rows& rows, Format format) {
  out.beginTable(name, rows.size());
  for (std::size_t i = 0; i < rows.size() && i < Dumper::kMaxTableRows; ++i) out.row(i, format(rows[i]));
}

}  // namespace

Error TimeToSampleAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  std::uint32_t count = 0;
  if (Error e = readTableHeader(in, 8, count); e != Error::none) return e;
  entries.resize(count);
  for (auto& e : entries) {
    e.count = in.u32();
    e.delta = in.u32();
  }
  return finish(in);
}

void TimeToSampleAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u32(static_cast<std::uint32_t>(entries.size()));
  for (const auto& e : entries) {
    out.u32(e.count);
    out.u32(e.delta);
  }
}

void TimeToSampleAtom::dumpFields(Dumper& out) const {
  dumpRows(out, "entries", entries,
           [](const Entry& e) { return std::to_string(e.count) + " x " + std::to_string(e.delta); });
}

Error CompositionOffsetAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  std::uint32_t count = 0;
  if (Error e = readTableHeader(in, 8, count); e != Error::none) return e;
  entries.resize(count);
  for (auto& e : entries) {
    e.count = in.u32();
    e.offset = in.s32();
  }
  return finish(in);
}

void CompositionOffsetAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u32(static_cast<std::uint32_t>(entries.size()));
  for (const auto& e : entries) {
    out.u32(e.count);
    out.s32(e.offset);
  }
}

void CompositionOffsetAtom::dumpFields(Dumper& out) const {
  dumpVersionAndFlags(out);
  dumpRows(out, "entries", entries,
           [](const Entry& e) { return std::to_string(e.count) + " x " + std::to_string(e.offset); });
}

Error SyncSampleAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  std::uint32_t count = 0;
  if (Error e = readTableHeader(in, 4, count); e != Error::none) return e;
  sampleNumbers.resize(count);
  for (auto& n : sampleNumbers) n = in.u32();
  return finish(in);
}

void SyncSampleAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u32(static_cast<std::uint32_t>(sampleNumbers.size()));
  for (auto n : sampleNumbers) out.u32(n);
}

void SyncSampleAtom::dumpFields(Dumper& out) const {
  dumpRows(out, "sampleNumbers", sampleNumbers, [](std::uint32_t n) { return std::to_string(n); });
}

Error SampleToChunkAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  std::uint32_t count = 0;
  if (Error e = readTableHeader(in, 12, count); e != Error::none) return e;
  entries.resize(count);
  for (auto& e : entries) {
    e.firstChunk = in.u32();
    e.samplesPerChunk = in.u32();
    e.descriptionIndex = in.u32();
  }
  return finish(in);
}

void SampleToChunkAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u32(static_cast<std::uint32_t>(entries.size()));
  for (const auto& e : entries) {
    out.u32(e.firstChunk);
    out.u32(e.samplesPerChunk);
    out.u32(e.descriptionIndex);
  }
}

void SampleToChunkAtom::dumpFields(Dumper& out) const {
  dumpRows(out, "entries", entries, [](const Entry& e) {
    return "chunk " + std::to_string(e.firstChunk) + " samples " + std::to_string(e.samplesPerChunk) + " description " +
           std::to_string(e.descriptionIndex);
  });
}

Error SampleSizeAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  sizes.clear();
  if (type() == 'stz2') {
    in.skip(3);
    fieldSize = in.u8();
    constantSize = 0;
    sampleCount = in.u32();
    if (in.failed()) return Error::truncated;
    if (fieldSize != 4 && fieldSize != 8 && fieldSize != 16) return Error::badTable;
    // Bits rather than bytes: compare count * fieldSize with the bits left.
    if (sampleCount > (std::uint64_t(in.remaining()) * 8) / fieldSize) return Error::tableTooLarge;
    sizes.resize(sampleCount);
    if (fieldSize == 4) {
      for (std::uint32_t i = 0; i < sampleCount; i += 2) {
        const std::uint8_t pair = in.u8();
        sizes[i] = pair >> 4;
        if (i + 1 < sampleCount) sizes[i + 1] = pair & 0x0F;
      }
    } else {
      for (auto& s : sizes) s = fieldSize == 8 ? in.u8() : in.u16();
    }
    return finish(in);
  }
  fieldSize = 32;
  constantSize = in.u32();
  sampleCount = in.u32();
  if (in.failed()) return Error::truncated;
  if (constantSize != 0) return Error::none;
  if (!in.canHold(sampleCount, 4)) return Error::tableTooLarge;
  sizes.resize(sampleCount);
  for (auto& s : sizes) s = in.u32();
  return finish(in);
}

void SampleSizeAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  if (type() == 'stz2') {
    out.zeros(3);
    out.u8(fieldSize);
    out.u32(static_cast<std::uint32_t>(sizes.size()));
    if (fieldSize == 4) {
      for (std::size_t i = 0; i < sizes.size(); i += 2)
        out.u8(static_cast<std::uint8_t>(sizes[i] << 4 | (i + 1 < sizes.size() ? sizes[i + 1] & 0x0F : 0)));
    } else {
      for (auto s : sizes) {
        if (fieldSize == 8)
          out.u8(static_cast<std::uint8_t>(s));
        else
          out.u16(static_cast<std::uint16_t>(s));
      }
    }
    return;
  }
  out.u32(constantSize);
  out.u32(constantSize ? sampleCount : static_cast<std::uint32_t>(sizes.size()));
  if (constantSize == 0)
    for (auto s : sizes) out.u32(s);
}

void SampleSizeAtom::dumpFields(Dumper& out) const {
  out.field("constantSize", constantSize);
  out.field("sampleCount", sampleCount);
  if (type() == 'stz2') out.field("fieldSize", fieldSize);
  dumpRows(out, "sizes", sizes, [](std::uint32_t s) { return std::to_string(s); });
}

Error ChunkOffsetAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  const bool wide = type() == 'co64';
  std::uint32_t count = 0;
  if (Error e = readTableHeader(in, wide ? 8 : 4, count); e != Error::none) return e;
  offsets.resize(count);
  for (auto& o : offsets) o = wide ? in.u64() : in.u32();
  return finish(in);
}

void ChunkOffsetAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u32(static_cast<std::uint32_t>(offsets.size()));
  for (auto o : offsets) {
    if (type() == 'co64')
      out.u64(o);
    else
      out.u32(static_cast<std::uint32_t>(o));
  }
}

void ChunkOffsetAtom::dumpFields(Dumper& out) const {
  dumpRows(out, "offsets", offsets, [](std::uint64_t o) { return std::to_string(o); });
}

Error SampleDependencyAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  if (in.failed()) return Error::truncated;
  auto rest = in.rest();
  flagsPerSample.assign(rest.begin(), rest.end());
  return Error::none;
}

void SampleDependencyAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.bytes(flagsPerSample);
}

void SampleDependencyAtom::dumpFields(Dumper& out) const { out.bytes("flagsPerSample", flagsPerSample); }

}  // namespace vqt::container
