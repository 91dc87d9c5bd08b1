#include "vqt/container/Atom.h"

namespace vqt::container {

Error readAtomHeader(ByteReader& in, AtomHeader& header) {
  switch (formats::parseAtomHeader(in, header)) {
    case formats::AtomHeaderStatus::ok:
      return Error::none;
    case formats::AtomHeaderStatus::truncated:
      return Error::truncated;
    case formats::AtomHeaderStatus::badSize:
      break;
  }
  return Error::badAtomSize;
}

Error parseAtoms(ByteReader& in, ParseContext& context, std::vector<std::unique_ptr<Atom>>& out) {
  if (context.depth >= ParseContext::kMaxDepth) return Error::nestingTooDeep;
  ++context.depth;
  Error error = Error::none;
  while (in.remaining() >= 8) {
    AtomHeader header;
    if ((error = readAtomHeader(in, header)) != Error::none) break;
    ByteReader payload = in.sub(static_cast<std::size_t>(header.size - header.headerSize));
    auto atom = createAtom(header.type);
    context.path[context.depth] = header.type;
    if ((error = atom->parse(payload, context)) != Error::none) break;
    out.push_back(std::move(atom));
  }
  --context.depth;
  return error;
}

Error parseSingleAtom(std::span<const std::uint8_t> bytes, ParseContext& context, std::unique_ptr<Atom>& out) {
  ByteReader in(bytes);
  AtomHeader header;
  if (Error error = readAtomHeader(in, header); error != Error::none) return error;
  ByteReader payload = in.sub(static_cast<std::size_t>(header.size - header.headerSize));
  auto atom = createAtom(header.type);
  if (context.depth >= ParseContext::kMaxDepth) return Error::nestingTooDeep;
  ++context.depth;
  context.path[context.depth] = header.type;
  const Error error = atom->parse(payload, context);
  --context.depth;
  if (error == Error::none) out = std::move(atom);
  return error;
}

void Atom::write(ByteWriter& out) const {
  const std::size_t start = out.beginAtom(type_);
  writePayload(out);
  out.endAtom(start);
}

void Atom::dump(Dumper& out) const {
  out.atomHeader(type_);
  dumpFields(out);
}

const Atom* Atom::find(FourCC wanted) const {
  if (const auto* list = children()) {
    for (const auto& child : *list)
      if (child->type() == wanted) return child.get();
  }
  return nullptr;
}

bool FullAtom::readVersionAndFlags(ByteReader& in) {
  const std::uint32_t word = in.u32();
  version = static_cast<std::uint8_t>(word >> 24);
  flags = word & 0x00FFFFFF;
  return !in.failed();
}

void FullAtom::writeVersionAndFlags(ByteWriter& out) const {
  out.u32(std::uint32_t(version) << 24 | (flags & 0x00FFFFFF));
}

void FullAtom::dumpVersionAndFlags(Dumper& out) const {
  out.field("version", version);
  out.field("flags", flags);
}

Error RawAtom::parse(ByteReader& in, ParseContext&) {
  auto bytes = in.rest();
  payload.assign(bytes.begin(), bytes.end());
  return Error::none;
}

Error ContainerAtom::parse(ByteReader& in, ParseContext& context) {
  // Each media starts without a handler type, so one track's never leaks into the next.
  if (type() == 'mdia') context.handlerType = 0;
  return parseAtoms(in, context, items);
}

void ContainerAtom::writePayload(ByteWriter& out) const {
  for (const auto& child : items) child->write(out);
}

void ContainerAtom::dumpFields(Dumper& out) const {
  out.indent();
  for (const auto& child : items) child->dump(out);
  out.outdent();
}

}  // namespace vqt::container
