#include "AtomBytes.h"

#include <cstring>

namespace vqt::atoms::test {

void put32(Bytes& out, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(std::uint8_t(value >> shift));
}

void put16(Bytes& out, std::uint16_t value) {
  out.push_back(std::uint8_t(value >> 8));
  out.push_back(std::uint8_t(value));
}

Bytes atom(std::uint32_t type, std::uint32_t id, const Bytes& payload, std::uint16_t childCount) {
  Bytes out;
  put32(out, std::uint32_t(20 + payload.size()));
  put32(out, type);
  put32(out, id);
  put16(out, 0);
  put16(out, childCount);
  put32(out, 0);
  out.insert(out.end(), payload.begin(), payload.end());
  return out;
}

Bytes parent(std::uint32_t type, std::uint32_t id, const std::vector<Bytes>& children) {
  Bytes payload;
  for (const Bytes& child : children) payload.insert(payload.end(), child.begin(), child.end());
  return atom(type, id, payload, std::uint16_t(children.size()));
}

Bytes container(const std::vector<Bytes>& children) {
  Bytes out(12, 0);
  const Bytes root = parent('sean', 1, children);
  out.insert(out.end(), root.begin(), root.end());
  return out;
}

Bytes bytesOf(QTAtomContainer container) {
  const auto* data = reinterpret_cast<const std::uint8_t*>(*container);
  return Bytes(data, data + GetHandleSize(container));
}

QTAtomContainer handleWith(const Bytes& bytes) {
  Handle handle = NewHandle(Size(bytes.size()));
  if (!bytes.empty()) std::memcpy(*handle, bytes.data(), bytes.size());
  return handle;
}

namespace {

int walkChildren(QTAtomContainer container, QTAtom parentAtom) {
  int reached = 0;
  for (QTAtomType type = QTGetNextChildType(container, parentAtom, 0); type != 0;
       type = QTGetNextChildType(container, parentAtom, type)) {
    const short count = QTCountChildrenOfType(container, parentAtom, type);
    for (short index = 1; index <= count; ++index) {
      QTAtomID id = 0;
      const QTAtom child = QTFindChildByIndex(container, parentAtom, type, index, &id);
      if (child == 0) continue;
      ++reached;
      short foundIndex = 0;
      QTFindChildByID(container, parentAtom, type, id, &foundIndex);
      SInt32 size = 0;
      Ptr data = nullptr;
      if (QTGetAtomDataPtr(container, child, &size, &data) == noErr) {
        std::vector<char> copy(std::size_t(size) + 1);
        SInt32 actual = 0;
        QTCopyAtomDataToPtr(container, child, true, SInt32(copy.size()), copy.data(), &actual);
      } else {
        reached += walkChildren(container, child);
      }
    }
  }
  return reached;
}

}  // namespace

int walk(QTAtomContainer container) { return walkChildren(container, kParentAtomIsContainer); }

}  // namespace vqt::atoms::test
