// Containers written byte by byte, to check the layout and to build broken ones.
#pragma once

#include <QuickTime/QTAtomContainer.h>

#include <cstdint>
#include <vector>

namespace vqt::atoms::test {

using Bytes = std::vector<std::uint8_t>;

void put32(Bytes& out, std::uint32_t value);
void put16(Bytes& out, std::uint16_t value);
// A QT atom: size, type, ID, reserved, child count, reserved, then the payload (data or children).
Bytes atom(std::uint32_t type, std::uint32_t id, const Bytes& payload, std::uint16_t childCount = 0);
Bytes parent(std::uint32_t type, std::uint32_t id, const std::vector<Bytes>& children);
// Container header and the root 'sean' atom around `children`.
Bytes container(const std::vector<Bytes>& children);

Bytes bytesOf(QTAtomContainer container);
// A new handle holding `bytes` (the caller disposes of it).
QTAtomContainer handleWith(const Bytes& bytes);

// Reads every atom of a container through the public calls (as a consumer would); returns the
// number of atoms reached. Must not crash on anything.
int walk(QTAtomContainer container);

}  // namespace vqt::atoms::test
