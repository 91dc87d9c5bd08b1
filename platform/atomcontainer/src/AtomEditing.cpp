// The atom calls that edit. Each one maps the container afresh before it changes anything, and
// works on a copy of the bytes that replaces the handle's contents only once complete, so a
// failed call leaves the container as it was.
#include <QuickTime/QTAtomContainer.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "ContainerAccess.h"

using namespace vqt::atoms;

namespace {
std::vector<std::uint8_t> copyOf(QTAtomContainer container) {
  const auto bytes = bytesOf(container);
  return {bytes.begin(), bytes.end()};
}

OSErr store(QTAtomContainer container, const std::vector<std::uint8_t>& bytes) {
  SetHandleSize(container, Size(bytes.size()));
  if (OSErr err = MemError(); err != noErr) return err;
  std::memcpy(*container, bytes.data(), bytes.size());
  return noErr;
}

// Grows (or with a negative delta shrinks) the size field of `entry` and of every atom above it.
void resizeLineage(std::vector<std::uint8_t>& bytes, const AtomIndex& index, int entry, long long delta) {
  for (int e : index.lineage(entry)) {
    std::uint8_t* header = bytes.data() + index[e].offset;
    put32(header, std::uint32_t(static_cast<long long>(be32(header)) + delta));
  }
}

void setChildCount(std::vector<std::uint8_t>& bytes, const AtomEntry& entry, std::size_t count) {
  put16(bytes.data() + entry.offset + kChildCountOffset, std::uint16_t(count));
}

std::vector<std::uint8_t> atomBytes(QTAtomType type, QTAtomID id, std::size_t dataSize, const void* data) {
  std::vector<std::uint8_t> atom(kAtomHeaderSize + dataSize, 0);
  put32(atom.data(), std::uint32_t(atom.size()));
  put32(atom.data() + 4, std::uint32_t(type));
  put32(atom.data() + 8, std::uint32_t(id));
  if (data != nullptr && dataSize > 0) std::memcpy(atom.data() + kAtomHeaderSize, data, dataSize);
  return atom;
}

bool fitsAfterGrowing(std::size_t current, std::size_t growth) {
  return growth <= kMaxContainerSize && current <= kMaxContainerSize - growth;
}

}  // namespace

OSErr QTNewAtomContainer(QTAtomContainer* atomData) {
  if (atomData == nullptr) return paramErr;
  *atomData = nullptr;
  Handle handle = NewHandleClear(Size(kEmptyContainerSize));
  if (handle == nullptr) return memFullErr;
  const auto root = atomBytes(kRootAtomType, kRootAtomID, 0, nullptr);
  std::memcpy(*handle + kContainerHeaderSize, root.data(), root.size());
  *atomData = handle;
  return noErr;
}

OSErr QTDisposeAtomContainer(QTAtomContainer atomData) {
  if (atomData == nullptr) return paramErr;
  DisposeHandle(atomData);
  return MemError();
}

OSErr QTInsertChild(QTAtomContainer container, QTAtom parentAtom, QTAtomType atomType, QTAtomID id, short index,
                    SInt32 dataSize, const void* data, QTAtom* newAtom) {
  if (newAtom != nullptr) *newAtom = 0;
  AtomIndex map;
  if (OSErr err = mapForEdit(container, map); err != noErr) return err;
  const int parent = map.find(parentAtom);
  if (parent < 0) return invalidAtomErr;
  if (atomType == 0) return invalidAtomTypeErr;
  if (dataSize < 0) return paramErr;
  const AtomEntry& p = map[parent];
  if (p.hasData()) return invalidAtomErr;  // a leaf that holds data cannot also hold atoms
  if (p.childCount >= kMaxChildren) return paramErr;

  const std::vector<int> sameType = map.children(parent, atomType);
  const short count = short(sameType.size());
  if (index == 0) index = short(count + 1);
  if (index < 1 || index > count + 1) return atomIndexInvalidErr;
  if (id == 0) {
    QTAtomID highest = 0;
    for (int s : sameType) highest = std::max(highest, map[s].id);
    if (highest == std::numeric_limits<QTAtomID>::max()) return duplicateAtomTypeAndIDErr;
    id = highest + 1;
  } else if (std::any_of(sameType.begin(), sameType.end(), [&](int s) { return map[s].id == id; })) {
    return duplicateAtomTypeAndIDErr;
  }

  // Before the atom that has this index now; else after the last of its type; else at the end.
  std::size_t at = p.end();
  if (index <= count)
    at = map[sameType[std::size_t(index - 1)]].offset;
  else if (count > 0)
    at = map[sameType.back()].end();

  std::vector<std::uint8_t> bytes = copyOf(container);
  const auto atom = atomBytes(atomType, id, std::size_t(dataSize), data);
  if (!fitsAfterGrowing(bytes.size(), atom.size())) return memFullErr;
  resizeLineage(bytes, map, parent, static_cast<long long>(atom.size()));
  setChildCount(bytes, p, p.childCount + 1);
  bytes.insert(bytes.begin() + std::ptrdiff_t(at), atom.begin(), atom.end());
  if (OSErr err = store(container, bytes); err != noErr) return err;
  if (newAtom != nullptr) *newAtom = QTAtom(at);
  return noErr;
}

OSErr QTInsertChildren(QTAtomContainer container, QTAtom parentAtom, QTAtomContainer childrenContainer) {
  AtomIndex map;
  if (OSErr err = mapForEdit(container, map); err != noErr) return err;
  AtomIndex source;
  if (OSErr err = mapContainer(childrenContainer, source); err != noErr) return err;
  const int parent = map.find(parentAtom);
  if (parent < 0) return invalidAtomErr;
  const AtomEntry& p = map[parent];
  if (p.hasData()) return invalidAtomErr;
  const std::vector<int> incoming = source.children(0);
  if (incoming.empty()) return noErr;
  if (p.childCount + incoming.size() > kMaxChildren) return paramErr;
  const std::vector<int> existing = map.children(parent);
  for (int in : incoming) {
    for (int ex : existing) {
      if (source[in].type == map[ex].type && source[in].id == map[ex].id) return duplicateAtomTypeAndIDErr;
    }
  }
  // The root's children are everything after the root's header, in order.
  const auto from = bytesOf(childrenContainer).subspan(kEmptyContainerSize);
  const std::vector<std::uint8_t> moved(from.begin(), from.end());
  std::vector<std::uint8_t> bytes = copyOf(container);
  if (!fitsAfterGrowing(bytes.size(), moved.size())) return memFullErr;
  resizeLineage(bytes, map, parent, static_cast<long long>(moved.size()));
  setChildCount(bytes, p, p.childCount + incoming.size());
  bytes.insert(bytes.begin() + std::ptrdiff_t(p.end()), moved.begin(), moved.end());
  return store(container, bytes);
}

OSErr QTSetAtomData(QTAtomContainer container, QTAtom atom, SInt32 dataSize, const void* atomData) {
  AtomIndex map;
  if (OSErr err = mapForEdit(container, map); err != noErr) return err;
  int entry = -1;
  if (OSErr err = leafEntry(map, atom, entry); err != noErr) return err;
  if (dataSize < 0 || (dataSize > 0 && atomData == nullptr)) return paramErr;
  const AtomEntry& e = map[entry];
  const std::size_t oldData = e.size - kAtomHeaderSize;
  const std::size_t newData = std::size_t(dataSize);
  std::vector<std::uint8_t> bytes = copyOf(container);
  if (newData > oldData && !fitsAfterGrowing(bytes.size(), newData - oldData)) return memFullErr;
  resizeLineage(bytes, map, entry, static_cast<long long>(newData) - static_cast<long long>(oldData));
  const auto first = bytes.begin() + std::ptrdiff_t(e.offset + kAtomHeaderSize);
  bytes.erase(first, first + std::ptrdiff_t(oldData));
  const auto* from = static_cast<const std::uint8_t*>(atomData);
  if (newData > 0) bytes.insert(bytes.begin() + std::ptrdiff_t(e.offset + kAtomHeaderSize), from, from + newData);
  return store(container, bytes);
}

OSErr QTSetAtomID(QTAtomContainer container, QTAtom atom, QTAtomID newID) {
  AtomIndex map;
  if (OSErr err = mapForEdit(container, map); err != noErr) return err;
  const int entry = map.find(atom);
  if (entry <= 0) return invalidAtomErr;
  for (int sibling : map.children(map[entry].parent, map[entry].type)) {
    if (sibling != entry && map[sibling].id == newID) return duplicateAtomTypeAndIDErr;
  }
  put32(reinterpret_cast<std::uint8_t*>(*container) + map[entry].offset + 8, std::uint32_t(newID));
  return noErr;
}

OSErr QTRemoveAtom(QTAtomContainer container, QTAtom atom) {
  AtomIndex map;
  if (OSErr err = mapForEdit(container, map); err != noErr) return err;
  const int entry = map.find(atom);
  if (entry <= 0) return invalidAtomErr;
  const AtomEntry& e = map[entry];
  const AtomEntry& parent = map[e.parent];
  std::vector<std::uint8_t> bytes = copyOf(container);
  resizeLineage(bytes, map, e.parent, -static_cast<long long>(e.size));
  setChildCount(bytes, parent, parent.childCount - 1);
  bytes.erase(bytes.begin() + std::ptrdiff_t(e.offset), bytes.begin() + std::ptrdiff_t(e.end()));
  return store(container, bytes);
}
