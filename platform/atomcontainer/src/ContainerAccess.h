// What every atom call does first: map the handle's bytes, refuse a malformed container, and
// for edits also a locked one.
#pragma once

#include <QuickTime/QTAtomContainer.h>

#include <span>

#include "AtomIndex.h"

namespace vqt::atoms {

inline std::span<const std::uint8_t> bytesOf(QTAtomContainer container) {
  const Size size = GetHandleSize(container);
  if (size <= 0 || *container == nullptr) return {};
  return {reinterpret_cast<const std::uint8_t*>(*container), std::size_t(size)};
}

inline OSErr mapContainer(QTAtomContainer container, AtomIndex& index) {
  if (container == nullptr) return paramErr;
  return AtomIndex::build(bytesOf(container), index);
}

inline std::uint16_t lockCount(QTAtomContainer container) {
  return be16(reinterpret_cast<const std::uint8_t*>(*container) + kLockCountOffset);
}

// Maps a container for editing: it must be well formed and unlocked.
inline OSErr mapForEdit(QTAtomContainer container, AtomIndex& index) {
  if (OSErr err = mapContainer(container, index); err != noErr) return err;
  return lockCount(container) > 0 ? memLockedErr : noErr;
}

// A leaf atom (not the root) for the data calls: invalidAtomErr / notLeafAtomErr otherwise.
inline OSErr leafEntry(const AtomIndex& index, QTAtom atom, int& entry) {
  entry = index.find(atom);
  if (entry <= 0) return invalidAtomErr;
  return index[entry].childCount > 0 ? notLeafAtomErr : noErr;
}

}  // namespace vqt::atoms
