// Containers from outside: every malformed one is refused as a whole by every call, and no size
// or count makes the reader walk or allocate beyond what the bytes hold. Random damage, and the
// edits of what the checker accepts, are left to the atom container fuzzer.
#include <gtest/gtest.h>

#include "AtomBytes.h"

namespace vqt::atoms::test {
namespace {

// The checker's verdict; a refused container must also be refused by the reading and editing
// calls, and stay as it was.
OSErr verdict(const Bytes& bytes) {
  QTAtomContainer c = handleWith(bytes);
  const OSErr result = VqtCheckAtomContainer(c);
  if (result != noErr) {
    EXPECT_EQ(QTGetNextChildType(c, kParentAtomIsContainer, 0), 0);
    EXPECT_EQ(QTCountChildrenOfType(c, kParentAtomIsContainer, 0), 0);
    EXPECT_EQ(QTInsertChild(c, kParentAtomIsContainer, 'new ', 1, 0, 0, nullptr, nullptr), result);
    EXPECT_EQ(bytesOf(c), bytes);
  }
  DisposeHandle(c);
  return result;
}

Bytes sample() {
  return container({parent('grup', 1, {atom('leaf', 1, {1, 2, 3}), atom('leaf', 2, {5})}), atom('solo', 9, {})});
}

TEST(HostileAtomContainer, EveryTruncationAndTrailingByteIsRefused) {
  const Bytes whole = sample();
  ASSERT_EQ(verdict(whole), noErr);
  for (std::size_t length = 0; length < whole.size(); ++length)
    EXPECT_EQ(verdict(Bytes(whole.begin(), whole.begin() + std::ptrdiff_t(length))), invalidAtomContainerErr) << length;
  Bytes padded = whole;
  padded.push_back(0);
  EXPECT_EQ(verdict(padded), invalidAtomContainerErr);
}

TEST(HostileAtomContainer, SizesAndCountsMustAgree) {
  Bytes tooLarge = container({parent('grup', 1, {atom('leaf', 1, {1, 2})})});
  tooLarge[12 + 20 + 20 + 3] = 40;  // the leaf claims more than its parent holds
  EXPECT_EQ(verdict(tooLarge), invalidAtomContainerErr);
  Bytes zeroSized = container({atom('grup', 1, atom('leaf', 1, {}), 1)});
  zeroSized[12 + 20 + 20 + 3] = 0;  // a size that would never move a reader on
  EXPECT_EQ(verdict(zeroSized), invalidAtomContainerErr);
  const Bytes one = atom('leaf', 1, {7});
  Bytes two = one;
  two.insert(two.end(), one.begin(), one.end());
  EXPECT_EQ(verdict(container({atom('grup', 1, one, 2)})), invalidAtomContainerErr);
  EXPECT_EQ(verdict(container({atom('grup', 1, two, 1)})), invalidAtomContainerErr);
  for (std::uint16_t huge : {0x7FFF, 0x8000, 0xFFFF})
    EXPECT_EQ(verdict(container({atom('grup', 1, Bytes(64, 0), huge)})), invalidAtomContainerErr) << huge;
}

TEST(HostileAtomContainer, NestingIsLimited) {
  auto nested = [](int depth) {
    Bytes inner = atom('deep', 1, {1});
    for (int level = 1; level < depth; ++level) inner = parent('deep', 1, {inner});
    return container({inner});
  };
  EXPECT_EQ(verdict(nested(32)), noErr);
  EXPECT_EQ(verdict(nested(33)), invalidAtomContainerErr);
  EXPECT_EQ(verdict(nested(3000)), invalidAtomContainerErr);
}

TEST(HostileAtomContainer, RootTypesAndIDsAreChecked) {
  Bytes wrongRoot = container({});
  wrongRoot[16] = 'x';
  EXPECT_EQ(verdict(wrongRoot), invalidAtomContainerErr);
  Bytes rootWithData(12, 0);
  const Bytes root = atom('sean', 1, {1, 2});
  rootWithData.insert(rootWithData.end(), root.begin(), root.end());
  EXPECT_EQ(verdict(rootWithData), invalidAtomContainerErr);
  EXPECT_EQ(verdict(container({atom(0, 1, {})})), invalidAtomContainerErr);
  EXPECT_EQ(verdict(container({atom('same', 1, {}), atom('same', 1, {})})), invalidAtomContainerErr);
  EXPECT_EQ(verdict(Bytes(4096, 0xFF)), invalidAtomContainerErr);
  EXPECT_EQ(VqtCheckAtomContainer(nullptr), paramErr);
}

}  // namespace
}  // namespace vqt::atoms::test
