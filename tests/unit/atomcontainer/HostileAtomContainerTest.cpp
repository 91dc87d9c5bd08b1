// Containers from outside: every malformed one is refused as a whole, none is read past its
// end, and no count makes the reader walk or allocate beyond what the bytes hold.
#include <gtest/gtest.h>

#include <random>

#include "AtomBytes.h"

namespace vqt::atoms::test {
namespace {

class HostileAtomContainer : public ::testing::Test {
 protected:
  // The verdict of the checker, and the public calls run over the container whatever it is.
  static OSErr verdict(const Bytes& bytes) {
    QTAtomContainer c = handleWith(bytes);
    const OSErr result = VqtCheckAtomContainer(c);
    const int reached = walk(c);
    if (result != noErr) {
      EXPECT_EQ(reached, 0);
      EXPECT_EQ(QTInsertChild(c, kParentAtomIsContainer, 'new ', 1, 0, 0, nullptr, nullptr), result);
      EXPECT_EQ(bytesOf(c), bytes);  // refused edits leave it as it was
    }
    DisposeHandle(c);
    return result;
  }

  static Bytes sample() {
    return container({parent('grup', 1, {atom('leaf', 1, {1, 2, 3, 4}), atom('leaf', 2, {5})}), atom('solo', 9, {})});
  }
};

TEST_F(HostileAtomContainer, EveryTruncationIsRefused) {
  const Bytes whole = sample();
  ASSERT_EQ(verdict(whole), noErr);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(verdict(Bytes(whole.begin(), whole.begin() + std::ptrdiff_t(length))), invalidAtomContainerErr) << length;
  }
}

TEST_F(HostileAtomContainer, TrailingBytesAfterTheRootAreRefused) {
  Bytes padded = sample();
  padded.push_back(0);
  EXPECT_EQ(verdict(padded), invalidAtomContainerErr);
}

TEST_F(HostileAtomContainer, AChildLargerThanItsParentIsRefused) {
  Bytes bytes = container({parent('grup', 1, {atom('leaf', 1, {1, 2})})});
  // The leaf (at 12 + 20 + 20) claims more bytes than its parent holds.
  bytes[12 + 20 + 20 + 3] = 40;
  EXPECT_EQ(verdict(bytes), invalidAtomContainerErr);
}

TEST_F(HostileAtomContainer, ChildCountsMustMatchTheChildren) {
  const Bytes one = atom('leaf', 1, {7});
  // More children announced than present, fewer than present, and sizes too small to advance.
  EXPECT_EQ(verdict(container({atom('grup', 1, one, 2)})), invalidAtomContainerErr);
  EXPECT_EQ(verdict(container({atom('grup', 1, [&] { Bytes two = one; two.insert(two.end(), one.begin(), one.end()); return two; }(), 1)})),
            invalidAtomContainerErr);
  Bytes zeroSized = container({atom('grup', 1, atom('leaf', 1, {}), 1)});
  zeroSized[12 + 20 + 20 + 3] = 0;  // a child of size 0 would never move the reader on
  EXPECT_EQ(verdict(zeroSized), invalidAtomContainerErr);
}

TEST_F(HostileAtomContainer, HugeCountsAreRefusedBeforeAnyWalk) {
  for (std::uint16_t count : {std::uint16_t(0x7FFF), std::uint16_t(0x8000), std::uint16_t(0xFFFF)}) {
    EXPECT_EQ(verdict(container({atom('grup', 1, Bytes(64, 0), count)})), invalidAtomContainerErr) << count;
  }
  Bytes root = container({});
  root[12 + 15] = 0xFF;  // the root itself
  EXPECT_EQ(verdict(root), invalidAtomContainerErr);
}

TEST_F(HostileAtomContainer, NestingIsLimited) {
  auto nested = [](int depth) {
    Bytes inner = atom('deep', 1, {1});
    for (int level = 1; level < depth; ++level) inner = parent('deep', 1, {inner});
    return container({inner});
  };
  EXPECT_EQ(verdict(nested(32)), noErr);
  EXPECT_EQ(verdict(nested(33)), invalidAtomContainerErr);
  EXPECT_EQ(verdict(nested(2000)), invalidAtomContainerErr);
}

TEST_F(HostileAtomContainer, RootHeaderAndTypesAreChecked) {
  Bytes wrongRoot = container({});
  wrongRoot[12 + 4] = 'x';
  EXPECT_EQ(verdict(wrongRoot), invalidAtomContainerErr);
  Bytes rootWithData = Bytes(12, 0);
  const Bytes root = atom('sean', 1, {1, 2});
  rootWithData.insert(rootWithData.end(), root.begin(), root.end());
  EXPECT_EQ(verdict(rootWithData), invalidAtomContainerErr);
  EXPECT_EQ(verdict(container({atom(0, 1, {})})), invalidAtomContainerErr);
  EXPECT_EQ(verdict(container({atom('same', 1, {}), atom('same', 1, {})})), invalidAtomContainerErr);
  EXPECT_EQ(verdict(container({atom('same', 1, {}), atom('same', 2, {})})), noErr);
}

TEST_F(HostileAtomContainer, NullAndForeignHandlesAreRefused) {
  EXPECT_EQ(VqtCheckAtomContainer(nullptr), paramErr);
  EXPECT_EQ(QTCountChildrenOfType(nullptr, kParentAtomIsContainer, 0), 0);
  EXPECT_EQ(QTGetAtomDataPtr(nullptr, 32, nullptr, nullptr), paramErr);
  EXPECT_EQ(QTLockContainer(nullptr), paramErr);
  EXPECT_EQ(verdict(Bytes{}), invalidAtomContainerErr);
  EXPECT_EQ(verdict(Bytes(4096, 0xFF)), invalidAtomContainerErr);
}

// Random damage to a valid container: whatever the checker accepts can be walked, and whatever
// it refuses is refused by every call.
TEST_F(HostileAtomContainer, DamagedContainersAreAcceptedOnlyWhenWellFormed) {
  std::mt19937 random(20261123);
  const Bytes whole = sample();
  int accepted = 0;
  for (int round = 0; round < 3000; ++round) {
    Bytes damaged = whole;
    const int changes = 1 + int(random() % 3);
    for (int i = 0; i < changes; ++i) damaged[random() % damaged.size()] = std::uint8_t(random());
    if (verdict(damaged) == noErr) ++accepted;
  }
  // Damage to data or reserved bytes leaves a well-formed container; damage to sizes does not.
  EXPECT_GT(accepted, 0);
  EXPECT_LT(accepted, 3000);
}

}  // namespace
}  // namespace vqt::atoms::test
