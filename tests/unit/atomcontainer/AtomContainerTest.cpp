// Building and editing containers through the calls, checked against the bytes the file format
// defines.
#include <gtest/gtest.h>

#include <string>

#include "AtomBytes.h"

namespace vqt::atoms::test {
namespace {

class AtomContainer : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(QTNewAtomContainer(&c), noErr); }
  void TearDown() override { EXPECT_EQ(QTDisposeAtomContainer(c), noErr); }

  QTAtom leaf(QTAtom under, QTAtomType type, QTAtomID id, const std::string& text, short index = 0) {
    QTAtom made = 0;
    EXPECT_EQ(QTInsertChild(c, under, type, id, index, SInt32(text.size()), text.data(), &made), noErr);
    return made;
  }
  std::string dataOf(QTAtom atom) {
    SInt32 size = 0;
    Ptr data = nullptr;
    return QTGetAtomDataPtr(c, atom, &size, &data) == noErr ? std::string(data, std::size_t(size)) : "<error>";
  }

  QTAtomContainer c = nullptr;
};

TEST_F(AtomContainer, AtomsAreStoredBigEndianInsideTheirParents) {
  EXPECT_EQ(bytesOf(c), container({}));
  const QTAtom group = leaf(kParentAtomIsContainer, 'grup', 3, "");
  const QTAtom value = leaf(group, 'abcd', 7, "ab");
  leaf(kParentAtomIsContainer, 'last', 1, "z");
  EXPECT_EQ(bytesOf(c), container({parent('grup', 3, {atom('abcd', 7, {'a', 'b'})}), atom('last', 1, {'z'})}));
  // Data that grows or shrinks resizes every atom above it.
  ASSERT_EQ(QTSetAtomData(c, value, 5, "wider"), noErr);
  EXPECT_EQ(bytesOf(c),
            container({parent('grup', 3, {atom('abcd', 7, {'w', 'i', 'd', 'e', 'r'})}), atom('last', 1, {'z'})}));
  EXPECT_EQ(QTSetAtomData(c, group, 1, "x"), notLeafAtomErr);
  EXPECT_EQ(QTGetAtomDataPtr(c, group, nullptr, nullptr), notLeafAtomErr);
}

TEST_F(AtomContainer, ChildrenAreFoundByIDAndByIndexWithinTheirType) {
  leaf(kParentAtomIsContainer, 'item', 10, "ten");
  leaf(kParentAtomIsContainer, 'othr', 1, "other");
  leaf(kParentAtomIsContainer, 'item', 20, "twenty");
  leaf(kParentAtomIsContainer, 'item', 5, "five", 1);  // before the first 'item'
  EXPECT_EQ(QTCountChildrenOfType(c, kParentAtomIsContainer, 'item'), 3);
  EXPECT_EQ(QTCountChildrenOfType(c, kParentAtomIsContainer, 0), 4);
  const QTAtomID ids[] = {5, 10, 20};
  const char* texts[] = {"five", "ten", "twenty"};
  for (short index = 1; index <= 3; ++index) {
    QTAtomID id = 0;
    const QTAtom found = QTFindChildByIndex(c, kParentAtomIsContainer, 'item', index, &id);
    EXPECT_EQ(id, ids[index - 1]);
    EXPECT_EQ(dataOf(found), texts[index - 1]);
    short foundIndex = 0;
    EXPECT_EQ(QTFindChildByID(c, kParentAtomIsContainer, 'item', id, &foundIndex), found);
    EXPECT_EQ(foundIndex, index);
  }
  EXPECT_EQ(QTFindChildByIndex(c, kParentAtomIsContainer, 'item', 4, nullptr), 0);
  EXPECT_EQ(QTGetNextChildType(c, kParentAtomIsContainer, 0), 'item');
  EXPECT_EQ(QTGetNextChildType(c, kParentAtomIsContainer, 'item'), 'othr');
  EXPECT_EQ(QTGetNextChildType(c, kParentAtomIsContainer, 'othr'), 0);
}

TEST_F(AtomContainer, EditsThatWouldMakeTheTreeAmbiguousAreRefused) {
  const QTAtom first = leaf(kParentAtomIsContainer, 'item', 1, "a");
  leaf(kParentAtomIsContainer, 'item', 2, "");
  const Bytes before = bytesOf(c);
  EXPECT_EQ(QTInsertChild(c, kParentAtomIsContainer, 'item', 1, 0, 0, nullptr, nullptr), duplicateAtomTypeAndIDErr);
  EXPECT_EQ(QTInsertChild(c, kParentAtomIsContainer, 'item', 3, 4, 0, nullptr, nullptr), atomIndexInvalidErr);
  EXPECT_EQ(QTInsertChild(c, kParentAtomIsContainer, 0, 3, 0, 0, nullptr, nullptr), invalidAtomTypeErr);
  EXPECT_EQ(QTInsertChild(c, first, 'kid ', 1, 0, 0, nullptr, nullptr), invalidAtomErr);  // a leaf with data
  EXPECT_EQ(QTInsertChild(c, 12, 'kid ', 1, 0, 0, nullptr, nullptr), invalidAtomErr);     // the root's own offset
  EXPECT_EQ(QTInsertChild(c, first + 4, 'kid ', 1, 0, 0, nullptr, nullptr), invalidAtomErr);
  EXPECT_EQ(QTSetAtomID(c, first, 2), duplicateAtomTypeAndIDErr);
  EXPECT_EQ(QTRemoveAtom(c, kParentAtomIsContainer), invalidAtomErr);
  EXPECT_EQ(bytesOf(c), before);
  // ID 0 asks for an unused one.
  QTAtomID id = 0;
  EXPECT_EQ(QTGetAtomTypeAndID(c, leaf(kParentAtomIsContainer, 'item', 0, ""), nullptr, &id), noErr);
  EXPECT_EQ(id, 3);
}

TEST_F(AtomContainer, RemovingAndCopyingMoveWholeSubtrees) {
  const QTAtom group = leaf(kParentAtomIsContainer, 'grup', 1, "");
  leaf(group, 'kid ', 1, "a");
  leaf(kParentAtomIsContainer, 'keep', 1, "k");
  QTAtomContainer copy = nullptr;
  ASSERT_EQ(QTNewAtomContainer(&copy), noErr);
  const QTAtom dest = [&] {
    QTAtom made = 0;
    EXPECT_EQ(QTInsertChild(copy, kParentAtomIsContainer, 'dest', 1, 0, 0, nullptr, &made), noErr);
    return made;
  }();
  ASSERT_EQ(QTInsertChildren(copy, dest, c), noErr);
  EXPECT_EQ(bytesOf(copy),
            container({parent('dest', 1, {parent('grup', 1, {atom('kid ', 1, {'a'})}), atom('keep', 1, {'k'})})}));
  EXPECT_EQ(QTInsertChildren(copy, dest, c), duplicateAtomTypeAndIDErr);
  QTDisposeAtomContainer(copy);

  ASSERT_EQ(QTRemoveAtom(c, group), noErr);
  EXPECT_EQ(bytesOf(c), container({atom('keep', 1, {'k'})}));
}

TEST_F(AtomContainer, CopyingDataChecksTheBufferSize) {
  const QTAtom four = leaf(kParentAtomIsContainer, 'four', 1, "1234");
  char buffer[8] = {};
  SInt32 actual = 0;
  EXPECT_EQ(QTCopyAtomDataToPtr(c, four, false, 3, buffer, &actual), paramErr);
  EXPECT_EQ(actual, 4);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(QTCopyAtomDataToPtr(c, four, false, 8, buffer, &actual), paramErr);
  EXPECT_EQ(QTCopyAtomDataToPtr(c, four, true, 8, buffer, &actual), noErr);
  EXPECT_EQ(std::string(buffer, 4), "1234");
}

TEST_F(AtomContainer, ALockedContainerCanBeReadButNotEdited) {
  const QTAtom value = leaf(kParentAtomIsContainer, 'valu', 1, "v");
  ASSERT_EQ(QTLockContainer(c), noErr);
  ASSERT_EQ(QTLockContainer(c), noErr);
  EXPECT_EQ(dataOf(value), "v");
  EXPECT_EQ(QTInsertChild(c, kParentAtomIsContainer, 'more', 1, 0, 0, nullptr, nullptr), memLockedErr);
  ASSERT_EQ(QTUnlockContainer(c), noErr);
  EXPECT_EQ(QTSetAtomData(c, value, 1, "w"), memLockedErr);  // still locked once
  ASSERT_EQ(QTUnlockContainer(c), noErr);
  EXPECT_EQ(QTSetAtomData(c, value, 1, "w"), noErr);
}

}  // namespace
}  // namespace vqt::atoms::test
