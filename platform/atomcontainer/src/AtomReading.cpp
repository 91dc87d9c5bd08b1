// The atom calls that read: finding children, their types, IDs and data, and the lock count.
#include <QuickTime/QTAtomContainer.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "ContainerAccess.h"

using namespace vqt::atoms;

OSErr VqtCheckAtomContainer(QTAtomContainer container) {
  AtomIndex map;
  return mapContainer(container, map);
}

QTAtom QTFindChildByID(QTAtomContainer container, QTAtom parentAtom, QTAtomType atomType, QTAtomID id, short* index) {
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

OSErr QTCopyAtomDataToPtr(QTAtomContainer container, QTAtom atom, Boolean sizeOrLessOK, SInt32 size, void* targetPtr,
                          SInt32* actualSize) {
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
