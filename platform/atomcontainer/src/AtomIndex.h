// The checked map of a container's bytes: every atom's place, type, ID and parent, built only
// when the whole tree is well formed, so the calls above it never trust a size or a count.
#pragma once

#include <QuickTime/QTAtomContainer.h>
#include <vqt/formats/ByteIO.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace vqt::atoms {

inline constexpr std::size_t kContainerHeaderSize = 12;  // 10 reserved bytes, then the lock count
inline constexpr std::size_t kLockCountOffset = 10;
inline constexpr std::size_t kAtomHeaderSize = 20;  // size, type, ID, reserved, child count, reserved
inline constexpr std::size_t kChildCountOffset = 14;
inline constexpr QTAtomType kRootAtomType = 'sean';
inline constexpr QTAtomID kRootAtomID = 1;
inline constexpr std::size_t kEmptyContainerSize = kContainerHeaderSize + kAtomHeaderSize;
// Far deeper than any real use, shallow enough that a hostile container cannot exhaust the stack.
inline constexpr int kMaxDepth = 32;
// Counts are returned as short, so a parent holds at most this many children.
inline constexpr std::size_t kMaxChildren = 0x7FFF;
// Atoms are named by 32-bit offsets.
inline constexpr std::size_t kMaxContainerSize = 0x7FFFFFFF;

// Fields at a place the index has already checked lies inside the container.
inline std::uint16_t be16(const std::uint8_t* p) { return vqt::formats::loadU16({p, 2}); }
inline std::uint32_t be32(const std::uint8_t* p) { return vqt::formats::loadU32({p, 4}); }
inline void put16(std::uint8_t* p, std::uint16_t v) { vqt::formats::storeU16({p, 2}, 0, v); }
inline void put32(std::uint8_t* p, std::uint32_t v) { vqt::formats::storeU32({p, 4}, 0, v); }

struct AtomEntry {
  std::size_t offset = 0;  // of the atom's header in the container
  std::size_t size = 0;    // header included
  QTAtomType type = 0;
  QTAtomID id = 0;
  std::size_t childCount = 0;
  int parent = -1;  // entry index; -1 for the root

  bool hasData() const { return childCount == 0 && size > kAtomHeaderSize; }
  std::size_t end() const { return offset + size; }
};

class AtomIndex {
 public:
  // invalidAtomContainerErr unless the bytes are one well-formed container: a root 'sean'
  // atom that spans the rest of the bytes, every child inside its parent, children that fill
  // their parent exactly and number what the parent says, no type 0, no two children of one
  // parent with the same type and ID, and nesting no deeper than kMaxDepth.
  static OSErr build(std::span<const std::uint8_t> bytes, AtomIndex& index);

  // The entry of an atom offset (kParentAtomIsContainer: the root), or -1.
  int find(QTAtom atom) const;
  const AtomEntry& operator[](int entry) const { return entries_[std::size_t(entry)]; }
  // Children in container order; with a type other than 0, only those of that type.
  std::vector<int> children(int parent, QTAtomType type = 0) const;
  // The entry and every entry above it, up to the root.
  std::vector<int> lineage(int entry) const;

 private:
  OSErr parse(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t limit, int parent, int depth);
  std::vector<AtomEntry> entries_;  // pre-order, the root first
};

}  // namespace vqt::atoms
