// The header every atom starts with (32-bit size and type, or size 1 and a
// 64-bit size, or size 0 for "to the end"), read against the bytes that are
// left, and a walk over a run of atoms that stops where one does not fit.
#pragma once

#include "vqt/formats/ByteIO.h"

namespace vqt::formats {

struct AtomHeader {
  FourCC type = 0;
  std::uint64_t size = 0;  // whole atom, header included
  std::uint32_t headerSize = 8;
};

enum class AtomHeaderStatus { ok, truncated, badSize };

// Reads a header from `in` and checks its size against what was left.
AtomHeaderStatus parseAtomHeader(ByteReader& in, AtomHeader& header);

// Calls visit(header, atom, payload) for each atom of `bytes` in order, the
// spans bounded by `bytes`; stops at the first header that does not fit (a
// terminator, padding, a lying size). Returns where the walk stopped.
template <typename Visit>
std::size_t forEachAtom(std::span<const std::uint8_t> bytes, Visit&& visit) {
  ByteReader in(bytes);
  while (in.remaining() >= 8) {
    const std::size_t start = in.position();
    ByteReader probe = in;
    AtomHeader header;
    if (parseAtomHeader(probe, header) != AtomHeaderStatus::ok) return start;
    const auto atom = bytes.subspan(start, static_cast<std::size_t>(header.size));
    in.skip(atom.size());
    visit(header, atom, atom.subspan(header.headerSize));
  }
  return in.position();
}

}  // namespace vqt::formats
