// The atom calls. Each one maps the container afresh (AtomIndex) before it reads or edits, and
// edits work on a copy of the bytes that replaces the handle's contents only once complete, so
// a failed call leaves the container as it was.
#include <QuickTime/QTAtomContainer.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "AtomIndex.h"

using namespace vqt::atoms;

namespace {

std::span<const std::uint8_t> bytesOf(QTAtomContainer container) {
  const Size size = GetHandleSize(container);
  if (size <= 0 || *container == nullptr) return {};
  return {reinterpret_cast<const std::uint8_t*>(*container), std::size_t(size)};
}

OSErr mapContainer(QTAtomContainer container, AtomIndex& index) {
  if (container == nullptr) return paramErr;
  return AtomIndex::build(bytesOf(container), index);
}

std::uint16_t lockCount(QTAtomContainer container) {
  return be16(reinterpret_cast<const std::uint8_t*>(*container) + kLockCountOffset);
}

// Maps a container for editing: it must be well formed and unlocked.
OSErr mapForEdit(QTAtomContainer container, AtomIndex& index) {
  if (OSErr err = mapContainer(container, index); err != noErr) return err;
  return lockCount(container) > 0 ? memLockedErr : noErr;
}

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

// A leaf atom (not the root) for the data calls: invalidAtomErr / notLeafAtomErr otherwise.
OSErr leafEntry(const AtomIndex& index, QTAtom atom, int& entry) {
  entry = index.find(atom);
  if (entry <= 0) return invalidAtomErr;
  return index[entry].childCount > 0 ? notLeafAtomErr : noErr;
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

OSErr VqtCheckAtomContainer(QTAtomContainer container) {
  AtomIndex map;
  return mapContainer(container, map);
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
  if (index <= count) at = map[sameType[std::size_t(index - 1)]].offset;
  else if (count > 0) at = map[sameType.back()].end();

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

QTAtom QTFindChildByID(QTAtomContainer container, QTAtom parentAtom, QTAtomType atomType, QTAtomID id,
                       short* index) {
  if (index != nullptr) *index = 0;
  AtomIndex map;
  if (mapContainer(container, map) != noErr) return 0;
  const int parent = map.find(parentAtom);
  if (parent < 0) return 0;
  const std::vector<int> sameType = map.children(parent, atomType);
  for (std::size_t i = 0; i < sameType.size(); ++i) {
    if (map[sameType[i]].id != id) continue;
    if (index != nullptr) *index = short(i + 1);
    return QTAtom(map[sameType[i]].offset);
  }
  return 0;
}

QTAtom QTFindChildByIndex(QTAtomContainer container, QTAtom parentAtom, QTAtomType atomType, short index,
                          QTAtomID* id) {
  AtomIndex map;
  if (mapContainer(container, map) != noErr) return 0;
  const int parent = map.find(parentAtom);
  if (parent < 0 || index < 1) return 0;
  const std::vector<int> sameType = map.children(parent, atomType);
  if (std::size_t(index) > sameType.size()) return 0;
  const AtomEntry& found = map[sameType[std::size_t(index - 1)]];
  if (id != nullptr) *id = found.id;
  return QTAtom(found.offset);
}

short QTCountChildrenOfType(QTAtomContainer container, QTAtom parentAtom, QTAtomType childType) {
  AtomIndex map;
  if (mapContainer(container, map) != noErr) return 0;
  const int parent = map.find(parentAtom);
  if (parent < 0) return 0;
  return short(map.children(parent, childType).size());
}

QTAtomType QTGetNextChildType(QTAtomContainer container, QTAtom parentAtom, QTAtomType currentChildType) {
  AtomIndex map;
  if (mapContainer(container, map) != noErr) return 0;
  const int parent = map.find(parentAtom);
  if (parent < 0) return 0;
  std::vector<QTAtomType> types;
  for (int child : map.children(parent)) {
    if (std::find(types.begin(), types.end(), map[child].type) == types.end()) types.push_back(map[child].type);
  }
  if (currentChildType == 0) return types.empty() ? 0 : types.front();
  const auto at = std::find(types.begin(), types.end(), currentChildType);
  return (at == types.end() || at + 1 == types.end()) ? 0 : *(at + 1);
}

OSErr QTGetAtomTypeAndID(QTAtomContainer container, QTAtom atom, QTAtomType* atomType, QTAtomID* id) {
  AtomIndex map;
  if (OSErr err = mapContainer(container, map); err != noErr) return err;
  const int entry = map.find(atom);
  if (entry <= 0) return invalidAtomErr;
  if (atomType != nullptr) *atomType = map[entry].type;
  if (id != nullptr) *id = map[entry].id;
  return noErr;
}

OSErr QTGetAtomDataPtr(QTAtomContainer container, QTAtom atom, SInt32* dataSize, Ptr* atomData) {
  AtomIndex map;
  if (OSErr err = mapContainer(container, map); err != noErr) return err;
  int entry = -1;
  if (OSErr err = leafEntry(map, atom, entry); err != noErr) return err;
  if (dataSize != nullptr) *dataSize = SInt32(map[entry].size - kAtomHeaderSize);
  if (atomData != nullptr) *atomData = *container + map[entry].offset + kAtomHeaderSize;
  return noErr;
}

OSErr QTCopyAtomDataToPtr(QTAtomContainer container, QTAtom atom, Boolean sizeOrLessOK, SInt32 size,
                          void* targetPtr, SInt32* actualSize) {
  AtomIndex map;
  if (OSErr err = mapContainer(container, map); err != noErr) return err;
  int entry = -1;
  if (OSErr err = leafEntry(map, atom, entry); err != noErr) return err;
  const std::size_t have = map[entry].size - kAtomHeaderSize;
  if (actualSize != nullptr) *actualSize = SInt32(have);
  if (size < 0 || (have > 0 && targetPtr == nullptr)) return paramErr;
  if (have > std::size_t(size) || (have < std::size_t(size) && !sizeOrLessOK)) return paramErr;
  if (have > 0) std::memcpy(targetPtr, *container + map[entry].offset + kAtomHeaderSize, have);
  return noErr;
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

OSErr QTLockContainer(QTAtomContainer container) {
  AtomIndex map;
  if (OSErr err = mapContainer(container, map); err != noErr) return err;
  const std::uint16_t count = lockCount(container);
  if (count == 0xFFFF) return paramErr;
  put16(reinterpret_cast<std::uint8_t*>(*container) + kLockCountOffset, std::uint16_t(count + 1));
  HLock(container);
  return noErr;
}

OSErr QTUnlockContainer(QTAtomContainer container) {
  AtomIndex map;
  if (OSErr err = mapContainer(container, map); err != noErr) return err;
  const std::uint16_t count = lockCount(container);
  if (count == 0) return noErr;
  put16(reinterpret_cast<std::uint8_t*>(*container) + kLockCountOffset, std::uint16_t(count - 1));
  if (count == 1) HUnlock(container);
  return noErr;
}
