#include "vqt/container/MetadataAtoms.h"

#include <string>

namespace vqt::container {

namespace {
void writeAll(ByteWriter& out, const std::vector<std::unique_ptr<Atom>>& atoms) {
  for (const auto& a : atoms) a->write(out);
}
void dumpAll(Dumper& out, const std::vector<std::unique_ptr<Atom>>& atoms) {
  out.indent();
  for (const auto& a : atoms) a->dump(out);
  out.outdent();
}
}  // namespace

Error UserDataAtom::parse(ByteReader& in, ParseContext& context) {
  if (Error error = parseAtoms(in, context, items); error != Error::none) return error;
  zeroTerminated = in.remaining() == 4 && in.u32() == 0;
  return Error::none;
}

void UserDataAtom::writePayload(ByteWriter& out) const {
  writeAll(out, items);
  if (zeroTerminated) out.u32(0);
}

void UserDataAtom::dumpFields(Dumper& out) const { dumpAll(out, items); }

Error MetaAtom::parse(ByteReader& in, ParseContext& context) {
  // A movie-file 'meta' starts with a child atom, whose size is never 0; the
  // MP4 shape starts with version and flags, which are 0.
  ByteReader probe = in;
  hasVersionAndFlags = in.remaining() >= 4 && probe.u32() == 0;
  if (hasVersionAndFlags) versionAndFlags = in.u32();
  return parseAtoms(in, context, items);
}

void MetaAtom::writePayload(ByteWriter& out) const {
  if (hasVersionAndFlags) out.u32(versionAndFlags);
  writeAll(out, items);
}

void MetaAtom::dumpFields(Dumper& out) const {
  out.field("hasVersionAndFlags", hasVersionAndFlags);
  dumpAll(out, items);
}

Error KeysAtom::parse(ByteReader& in, ParseContext&) {
  readVersionAndFlags(in);
  const std::uint32_t count = in.u32();
  if (in.failed()) return Error::truncated;
  if (!in.canHold(count, 8)) return Error::tableTooLarge;
  keys.resize(count);
  for (auto& key : keys) {
    const std::uint32_t size = in.u32();
    key.keyNamespace = in.u32();
    if (in.failed()) return Error::truncated;
    if (size < 8 || size - 8 > in.remaining()) return Error::badAtomSize;
    auto value = in.bytes(size - 8);
    key.value.assign(value.begin(), value.end());
  }
  return Error::none;
}

void KeysAtom::writePayload(ByteWriter& out) const {
  writeVersionAndFlags(out);
  out.u32(static_cast<std::uint32_t>(keys.size()));
  for (const auto& key : keys) {
    out.u32(static_cast<std::uint32_t>(key.value.size() + 8));
    out.u32(key.keyNamespace);
    out.bytes(key.value);
  }
}

void KeysAtom::dumpFields(Dumper& out) const {
  out.beginTable("keys", keys.size());
  for (std::size_t i = 0; i < keys.size() && i < Dumper::kMaxTableRows; ++i)
    out.row(i, fourccToString(keys[i].keyNamespace) + " " + std::string(keys[i].value.begin(), keys[i].value.end()));
}

Error DataAtom::parse(ByteReader& in, ParseContext&) {
  typeIndicator = in.u32();
  locale = in.u32();
  if (in.failed()) return Error::truncated;
  auto rest = in.rest();
  value.assign(rest.begin(), rest.end());
  return Error::none;
}

void DataAtom::writePayload(ByteWriter& out) const {
  out.u32(typeIndicator);
  out.u32(locale);
  out.bytes(value);
}

void DataAtom::dumpFields(Dumper& out) const {
  out.field("dataType", dataType());
  out.field("locale", locale);
  if (dataType() == 1)
    out.field("value", std::string(value.begin(), value.end()));
  else
    out.bytes("value", value);
}

Error MetadataItemAtom::parse(ByteReader& in, ParseContext& context) { return parseAtoms(in, context, items); }

void MetadataItemAtom::writePayload(ByteWriter& out) const { writeAll(out, items); }

void MetadataItemAtom::dumpFields(Dumper& out) const { dumpAll(out, items); }

Error ItemListAtom::parse(ByteReader& in, ParseContext& context) {
  if (context.depth >= ParseContext::kMaxDepth) return Error::nestingTooDeep;
  ++context.depth;
  Error error = Error::none;
  while (in.remaining() >= 8) {
    AtomHeader header;
    if ((error = readAtomHeader(in, header)) != Error::none) break;
    ByteReader payload = in.sub(static_cast<std::size_t>(header.size - header.headerSize));
    auto item = std::make_unique<MetadataItemAtom>(header.type);
    if ((error = item->parse(payload, context)) != Error::none) break;
    entries.push_back(std::move(item));
  }
  --context.depth;
  return error;
}

void ItemListAtom::writePayload(ByteWriter& out) const {
  for (const auto& e : entries) e->write(out);
}

void ItemListAtom::dumpFields(Dumper& out) const {
  out.indent();
  for (const auto& e : entries) e->dump(out);
  out.outdent();
}

}  // namespace vqt::container
