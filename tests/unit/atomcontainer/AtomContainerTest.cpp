// Building and editing containers through the calls, checked against the bytes the file format
// defines and against each other.
#include <gtest/gtest.h>

#include <cstring>
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
    if (QTGetAtomDataPtr(c, atom, &size, &data) != noErr) return "<error>";
    return std::string(data, std::size_t(size));
  }

  QTAtomContainer c = nullptr;
};

TEST_F(AtomContainer, NewContainerIsTheHeaderAndAnEmptyRoot) {
  EXPECT_EQ(bytesOf(c), container({}));
  EXPECT_EQ(QTCountChildrenOfType(c, kParentAtomIsContainer, 0), 0);
  EXPECT_EQ(QTGetNextChildType(c, kParentAtomIsContainer, 0), 0);
}

TEST_F(AtomContainer, AtomsAreStoredBigEndianInsideTheirParents) {
  const QTAtom group = leaf(kParentAtomIsContainer, 'grup', 3, "");
  leaf(group, 'abcd', 7, std::string("\x01\x02\x03", 3));
  leaf(kParentAtomIsContainer, 'last', 1, "z");
  EXPECT_EQ(bytesOf(c), container({parent('grup', 3, {atom('abcd', 7, {1, 2, 3})}), atom('last', 1, {'z'})}));
  EXPECT_EQ(VqtCheckAtomContainer(c), noErr);
}

TEST_F(AtomContainer, ChildrenAreFoundByIDAndByIndexWithinTheirType) {
  leaf(kParentAtomIsContainer, 'item', 10, "ten");
  leaf(kParentAtomIsContainer, 'othr', 1, "other");
  leaf(kParentAtomIsContainer, 'item', 20, "twenty");
  leaf(kParentAtomIsContainer, 'item', 5, "five", 1);  // before the first 'item'

  EXPECT_EQ(QTCountChildrenOfType(c, kParentAtomIsContainer, 'item'), 3);
  EXPECT_EQ(QTCountChildrenOfType(c, kParentAtomIsContainer, 0), 4);
  const QTAtomID expectedIDs[] = {5, 10, 20};
  const char* expectedData[] = {"five", "ten", "twenty"};
  for (short index = 1; index <= 3; ++index) {
    QTAtomID id = 0;
    const QTAtom found = QTFindChildByIndex(c, kParentAtomIsContainer, 'item', index, &id);
    EXPECT_EQ(id, expectedIDs[index - 1]);
    EXPECT_EQ(dataOf(found), expectedData[index - 1]);
    short foundIndex = 0;
    EXPECT_EQ(QTFindChildByID(c, kParentAtomIsContainer, 'item', id, &foundIndex), found);
    EXPECT_EQ(foundIndex, index);
  }
  EXPECT_EQ(QTFindChildByIndex(c, kParentAtomIsContainer, 'item', 4, nullptr), 0);
  EXPECT_EQ(QTFindChildByID(c, kParentAtomIsContainer, 'item', 99, nullptr), 0);
  EXPECT_EQ(QTGetNextChildType(c, kParentAtomIsContainer, 0), 'item');
  EXPECT_EQ(QTGetNextChildType(c, kParentAtomIsContainer, 'item'), 'othr');
  EXPECT_EQ(QTGetNextChildType(c, kParentAtomIsContainer, 'othr'), 0);
}

TEST_F(AtomContainer, InsertRefusesWhatWouldMakeTheTreeAmbiguous) {
  leaf(kParentAtomIsContainer, 'item', 1, "a");
  EXPECT_EQ(QTInsertChild(c, kParentAtomIsContainer, 'item', 1, 0, 0, nullptr, nullptr), duplicateAtomTypeAndIDErr);
  EXPECT_EQ(QTInsertChild(c, kParentAtomIsContainer, 'item', 2, 3, 0, nullptr, nullptr), atomIndexInvalidErr);
  EXPECT_EQ(QTInsertChild(c, kParentAtomIsContainer, 0, 2, 0, 0, nullptr, nullptr), invalidAtomTypeErr);
  const QTAtom withData = QTFindChildByID(c, kParentAtomIsContainer, 'item', 1, nullptr);
  EXPECT_EQ(QTInsertChild(c, withData, 'kid ', 1, 0, 0, nullptr, nullptr), invalidAtomErr);
  EXPECT_EQ(QTInsertChild(c, 12, 'kid ', 1, 0, 0, nullptr, nullptr), invalidAtomErr);  // the root's own offset
  EXPECT_EQ(QTInsertChild(c, withData + 4, 'kid ', 1, 0, 0, nullptr, nullptr), invalidAtomErr);
  EXPECT_EQ(bytesOf(c), container({atom('item', 1, {'a'})}));

  QTAtom assigned = 0;
  ASSERT_EQ(QTInsertChild(c, kParentAtomIsContainer, 'item', 0, 0, 2, nullptr, &assigned), noErr);
  QTAtomID id = 0;
  EXPECT_EQ(QTGetAtomTypeAndID(c, assigned, nullptr, &id), noErr);
  EXPECT_EQ(id, 2);
  EXPECT_EQ(dataOf(assigned), std::string(2, '\0'));
}

TEST_F(AtomContainer, SettingDataResizesTheAtomAndEveryParent) {
  const QTAtom outer = leaf(kParentAtomIsContainer, 'outr', 1, "");
  const QTAtom inner = leaf(outer, 'innr', 1, "");
  const QTAtom value = leaf(inner, 'valu', 1, "ab");
  leaf(kParentAtomIsContainer, 'aftr', 1, "after");

  ASSERT_EQ(QTSetAtomData(c, value, 6, "longer"), noErr);
  EXPECT_EQ(bytesOf(c), container({parent('outr', 1, {parent('innr', 1, {atom('valu', 1, {'l', 'o', 'n', 'g', 'e', 'r'})})}),
                                   atom('aftr', 1, {'a', 'f', 't', 'e', 'r'})}));
  ASSERT_EQ(QTSetAtomData(c, value, 0, nullptr), noErr);
  EXPECT_EQ(dataOf(QTFindChildByID(c, kParentAtomIsContainer, 'aftr', 1, nullptr)), "after");
  EXPECT_EQ(QTSetAtomData(c, outer, 1, "x"), notLeafAtomErr);
  EXPECT_EQ(QTGetAtomDataPtr(c, outer, nullptr, nullptr), notLeafAtomErr);
  EXPECT_EQ(QTSetAtomData(c, kParentAtomIsContainer, 1, "x"), invalidAtomErr);
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
  EXPECT_EQ(QTCopyAtomDataToPtr(c, four, false, 4, buffer, &actual), noErr);
}

TEST_F(AtomContainer, RemovingAnAtomTakesItsChildrenAndLeavesTheRest) {
  const QTAtom group = leaf(kParentAtomIsContainer, 'grup', 1, "");
  leaf(group, 'kid ', 1, "a");
  leaf(group, 'kid ', 2, "b");
  leaf(kParentAtomIsContainer, 'keep', 1, "k");
  ASSERT_EQ(QTRemoveAtom(c, QTFindChildByIndex(c, kParentAtomIsContainer, 'grup', 1, nullptr)), noErr);
  EXPECT_EQ(bytesOf(c), container({atom('keep', 1, {'k'})}));
  EXPECT_EQ(QTRemoveAtom(c, kParentAtomIsContainer), invalidAtomErr);

  // A parent whose last child goes is an empty leaf again, and may take data.
  const QTAtom holder = leaf(kParentAtomIsContainer, 'hold', 1, "");
  ASSERT_EQ(QTRemoveAtom(c, leaf(holder, 'kid ', 1, "x")), noErr);
  const QTAtom emptied = QTFindChildByID(c, kParentAtomIsContainer, 'hold', 1, nullptr);
  EXPECT_EQ(QTSetAtomData(c, emptied, 3, "now"), noErr);
  EXPECT_EQ(dataOf(emptied), "now");
}

TEST_F(AtomContainer, ChangingAnIDKeepsIDsUniqueWithinTheType) {
  const QTAtom first = leaf(kParentAtomIsContainer, 'item', 1, "");
  leaf(kParentAtomIsContainer, 'item', 2, "");
  leaf(kParentAtomIsContainer, 'othr', 3, "");
  EXPECT_EQ(QTSetAtomID(c, first, 2), duplicateAtomTypeAndIDErr);
  EXPECT_EQ(QTSetAtomID(c, first, 3), noErr);  // another type may share it
  EXPECT_EQ(QTFindChildByID(c, kParentAtomIsContainer, 'item', 3, nullptr), first);
}

TEST_F(AtomContainer, InsertingChildrenCopiesAWholeContainerUnderAnAtom) {
  QTAtomContainer other = nullptr;
  ASSERT_EQ(QTNewAtomContainer(&other), noErr);
  QTAtom nested = 0;
  ASSERT_EQ(QTInsertChild(other, kParentAtomIsContainer, 'tree', 1, 0, 0, nullptr, &nested), noErr);
  ASSERT_EQ(QTInsertChild(other, nested, 'leaf', 1, 0, 1, "L", nullptr), noErr);
  ASSERT_EQ(QTInsertChild(other, kParentAtomIsContainer, 'solo', 4, 0, 1, "S", nullptr), noErr);

  const QTAtom target = leaf(kParentAtomIsContainer, 'dest', 1, "");
  leaf(target, 'solo', 4, "");
  const Bytes before = bytesOf(c);
  EXPECT_EQ(QTInsertChildren(c, target, other), duplicateAtomTypeAndIDErr);
  EXPECT_EQ(bytesOf(c), before);

  ASSERT_EQ(QTRemoveAtom(c, QTFindChildByID(c, target, 'solo', 4, nullptr)), noErr);
  ASSERT_EQ(QTInsertChildren(c, target, other), noErr);
  EXPECT_EQ(bytesOf(c), container({parent('dest', 1, {parent('tree', 1, {atom('leaf', 1, {'L'})}), atom('solo', 4, {'S'})})}));
  EXPECT_EQ(QTDisposeAtomContainer(other), noErr);
}

TEST_F(AtomContainer, ALockedContainerCanBeReadButNotEdited) {
  const QTAtom value = leaf(kParentAtomIsContainer, 'valu', 1, "v");
  ASSERT_EQ(QTLockContainer(c), noErr);
  ASSERT_EQ(QTLockContainer(c), noErr);
  EXPECT_EQ(dataOf(value), "v");
  EXPECT_EQ(QTSetAtomData(c, value, 1, "w"), memLockedErr);
  EXPECT_EQ(QTInsertChild(c, kParentAtomIsContainer, 'more', 1, 0, 0, nullptr, nullptr), memLockedErr);
  EXPECT_EQ(QTRemoveAtom(c, value), memLockedErr);
  ASSERT_EQ(QTUnlockContainer(c), noErr);
  EXPECT_EQ(QTSetAtomData(c, value, 1, "w"), memLockedErr);  // still locked once
  ASSERT_EQ(QTUnlockContainer(c), noErr);
  EXPECT_EQ(QTSetAtomData(c, value, 1, "w"), noErr);
  EXPECT_EQ(QTUnlockContainer(c), noErr);
  EXPECT_EQ(bytesOf(c), container({atom('valu', 1, {'w'})}));
}

}  // namespace
}  // namespace vqt::atoms::test
