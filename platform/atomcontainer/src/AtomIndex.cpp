#include "AtomIndex.h"

#include <algorithm>
#include <utility>

namespace vqt::atoms {

OSErr AtomIndex::build(std::span<const std::uint8_t> bytes, AtomIndex& index) {
  index.entries_.clear();
  if (bytes.size() < kEmptyContainerSize || bytes.size() > kMaxContainerSize) return invalidAtomContainerErr;
  const std::uint8_t* root = bytes.data() + kContainerHeaderSize;
  if (QTAtomType(be32(root + 4)) != kRootAtomType || QTAtomID(be32(root + 8)) != kRootAtomID)
    return invalidAtomContainerErr;
  // The root spans everything after the header: nothing may trail it.
  if (be32(root) != bytes.size() - kContainerHeaderSize) return invalidAtomContainerErr;
  if (OSErr err = index.parse(bytes, kContainerHeaderSize, bytes.size(), -1, 0); err != noErr) {
    index.entries_.clear();
    return err;
  }
  // The root holds atoms, never data.
  if (index.entries_.front().hasData()) {
    index.entries_.clear();
    return invalidAtomContainerErr;
  }
  return noErr;
}

OSErr AtomIndex::parse(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t limit, int parent,
                       int depth) {
  if (depth > kMaxDepth) return invalidAtomContainerErr;
  if (limit - offset < kAtomHeaderSize) return invalidAtomContainerErr;
  const std::uint8_t* header = bytes.data() + offset;
  AtomEntry entry;
  entry.offset = offset;
  entry.size = be32(header);
  entry.type = QTAtomType(be32(header + 4));
  entry.id = QTAtomID(be32(header + 8));
  entry.childCount = be16(header + kChildCountOffset);
  entry.parent = parent;
  if (entry.size < kAtomHeaderSize || entry.size > limit - offset) return invalidAtomContainerErr;
  if (entry.type == 0 || entry.childCount > kMaxChildren) return invalidAtomContainerErr;
  // Each child needs at least a header: a count the bytes cannot hold is refused before any walk.
  if (entry.childCount > (entry.size - kAtomHeaderSize) / kAtomHeaderSize) return invalidAtomContainerErr;

  const int self = int(entries_.size());
  entries_.push_back(entry);
  std::size_t position = offset + kAtomHeaderSize;
  const std::size_t end = entry.end();
  for (std::size_t child = 0; child < entry.childCount; ++child) {
    const std::size_t childEntry = entries_.size();
    if (OSErr err = parse(bytes, position, end, self, depth + 1); err != noErr) return err;
    position = entries_[childEntry].end();
  }
  if (entry.childCount > 0 && position != end) return invalidAtomContainerErr;

  if (entry.childCount > 1) {
    std::vector<std::pair<QTAtomType, QTAtomID>> keys;
    for (int child : children(self))
      keys.emplace_back(entries_[std::size_t(child)].type, entries_[std::size_t(child)].id);
    std::sort(keys.begin(), keys.end());
    if (std::adjacent_find(keys.begin(), keys.end()) != keys.end()) return invalidAtomContainerErr;
  }
  return noErr;
}

int AtomIndex::find(QTAtom atom) const {
  if (entries_.empty()) return -1;
  if (atom == kParentAtomIsContainer) return 0;
  // The root is reached only through kParentAtomIsContainer; its own offset names no atom.
  const auto found = std::lower_bound(entries_.begin() + 1, entries_.end(), std::size_t(std::uint32_t(atom)),
                                      [](const AtomEntry& e, std::size_t offset) { return e.offset < offset; });
  if (atom < 0 || found == entries_.end() || found->offset != std::size_t(atom)) return -1;
  return int(found - entries_.begin());
}

std::vector<int> AtomIndex::children(int parent, QTAtomType type) const {
  std::vector<int> found;
  const AtomEntry& p = entries_[std::size_t(parent)];
  for (std::size_t i = std::size_t(parent) + 1; i < entries_.size() && entries_[i].offset < p.end(); ++i) {
    if (entries_[i].parent == parent && (type == 0 || entries_[i].type == type)) found.push_back(int(i));
  }
  return found;
}

std::vector<int> AtomIndex::lineage(int entry) const {
  std::vector<int> chain;
  for (int e = entry; e >= 0; e = entries_[std::size_t(e)].parent) chain.push_back(e);
  return chain;
}

}  // namespace vqt::atoms
