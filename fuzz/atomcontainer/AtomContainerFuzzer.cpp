// Fuzzes QT atom containers: the input bytes as a container handle, read through every finding
// and data call, then edited. A container the checker refuses must be refused by every call and
// left as it was; one it accepts must stay well formed after each edit that succeeds.
#include <QuickTime/QTAtomContainer.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

std::vector<std::uint8_t> bytesOf(QTAtomContainer c) {
  const auto* data = reinterpret_cast<const std::uint8_t*>(*c);
  return {data, data + GetHandleSize(c)};
}

void require(bool condition) {
  if (!condition) std::abort();
}

// Reads every atom; returns the first leaf and the first atom with children met (0 when none).
void walk(QTAtomContainer c, QTAtom parent, QTAtom& firstLeaf, QTAtom& firstParent, int& budget) {
  for (QTAtomType type = QTGetNextChildType(c, parent, 0); type != 0 && budget > 0;
       type = QTGetNextChildType(c, parent, type)) {
    const short count = QTCountChildrenOfType(c, parent, type);
    for (short index = 1; index <= count && budget-- > 0; ++index) {
      QTAtomID id = 0;
      const QTAtom atom = QTFindChildByIndex(c, parent, type, index, &id);
      require(atom != 0);
      short found = 0;
      require(QTFindChildByID(c, parent, type, id, &found) == atom && found == index);
      SInt32 size = 0;
      Ptr data = nullptr;
      if (QTGetAtomDataPtr(c, atom, &size, &data) == noErr) {
        std::vector<char> copy(static_cast<std::size_t>(size));
        SInt32 actual = -1;
        require(QTCopyAtomDataToPtr(c, atom, false, size, copy.data(), &actual) == noErr && actual == size);
        require(size == 0 || std::memcmp(copy.data(), data, std::size_t(size)) == 0);
        if (firstLeaf == 0) firstLeaf = atom;
      } else {
        if (firstParent == 0) firstParent = atom;
        walk(c, atom, firstLeaf, firstParent, budget);
      }
    }
  }
}

void edit(QTAtomContainer c, OSErr verdict, QTAtom leaf, QTAtom parent) {
  const auto before = bytesOf(c);
  const auto check = [&](OSErr result) {
    if (verdict != noErr) {
      require(result != noErr);
      require(bytesOf(c) == before);
    } else if (result == noErr) {
      require(VqtCheckAtomContainer(c) == noErr);
    }
  };
  check(QTInsertChild(c, kParentAtomIsContainer, 'fuzz', 0, 1, 3, "abc", nullptr));
  if (verdict != noErr) return;
  // Offsets move with every edit: find the atoms again before each use.
  check(QTInsertChild(c, parent, 'kid ', 0, 0, 0, nullptr, nullptr));
  check(QTSetAtomData(c, QTFindChildByIndex(c, kParentAtomIsContainer, 'fuzz', 1, nullptr), 5, "hello"));
  check(QTSetAtomID(c, leaf, 77));
  check(QTRemoveAtom(c, QTFindChildByIndex(c, kParentAtomIsContainer, 'fuzz', 1, nullptr)));
  QTAtomContainer copy = nullptr;
  require(QTNewAtomContainer(&copy) == noErr);
  require(QTInsertChildren(copy, kParentAtomIsContainer, c) == noErr);
  require(VqtCheckAtomContainer(copy) == noErr);
  QTDisposeAtomContainer(copy);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > (1u << 20)) return 0;
  Handle c = NewHandle(Size(size));
  if (c == nullptr) return 0;
  if (size > 0) std::memcpy(*c, data, size);
  const OSErr verdict = VqtCheckAtomContainer(c);
  QTAtom leaf = 0, parent = 0;
  int budget = 4096;
  walk(c, kParentAtomIsContainer, leaf, parent, budget);
  if (verdict != noErr) require(leaf == 0 && parent == 0);
  edit(c, verdict, leaf, parent);
  DisposeHandle(c);
  return 0;
}
