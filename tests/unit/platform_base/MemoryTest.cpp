#include <Carbon/MacMemory.h>
#include <Carbon/QuickDraw.h>
#include <Carbon/TextUtils.h>
#include <gtest/gtest.h>

#include <cstring>

TEST(Handles, GrowKeepsContentsAndShrinkTruncates) {
  const long before = VqtLiveMemoryBlockCount();
  Handle h = NewHandle(4);
  ASSERT_NE(h, nullptr);
  std::memcpy(*h, "abcd", 4);
  SetHandleSize(h, 1 << 20);
  ASSERT_EQ(MemError(), noErr);
  EXPECT_EQ(GetHandleSize(h), 1 << 20);
  EXPECT_EQ(std::memcmp(*h, "abcd", 4), 0);
  SetHandleSize(h, 2);
  EXPECT_EQ(GetHandleSize(h), 2);
  EXPECT_EQ(std::memcmp(*h, "ab", 2), 0);
  DisposeHandle(h);
  EXPECT_EQ(VqtLiveMemoryBlockCount(), before);
}

TEST(Handles, RefusesWhatItDidNotMake) {
  // A handle not made here must be reported, not freed or sized.
  char storage[64] = {};
  Handle alsoForeign = reinterpret_cast<Handle>(storage + 32);
  EXPECT_EQ(GetHandleSize(alsoForeign), 0);
  EXPECT_EQ(MemError(), nilHandleErr);
  DisposeHandle(nullptr);
  EXPECT_EQ(MemError(), nilHandleErr);
  Handle empty = NewEmptyHandle();
  SetHandleSize(empty, -1);
  EXPECT_EQ(MemError(), memFullErr);
  DisposeHandle(empty);
  EXPECT_EQ(NewHandle(-5), nullptr);
}

TEST(Handles, CopiesAndAppends) {
  Handle a = nullptr;
  ASSERT_EQ(PtrToHand("xy", &a, 2), noErr);
  Handle b = a;
  ASSERT_EQ(HandToHand(&b), noErr);
  ASSERT_NE(a, b);
  ASSERT_EQ(PtrAndHand("z", b, 1), noErr);
  ASSERT_EQ(HandAndHand(b, b), noErr);  // appending a handle to itself
  ASSERT_EQ(GetHandleSize(b), 6);
  EXPECT_EQ(std::memcmp(*b, "xyzxyz", 6), 0);
  EXPECT_EQ(GetHandleSize(a), 2);
  DisposeHandle(a);
  DisposeHandle(b);
}

TEST(Pointers, KnowTheirSize) {
  Ptr p = NewPtrClear(10);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(GetPtrSize(p), 10);
  EXPECT_EQ(p[9], 0);
  DisposePtr(p);
}

TEST(PascalStrings, TruncateToTheirField) {
  Str31 name;
  VqtSetPascalString(name, sizeof name, std::string(40, 'a'));
  EXPECT_EQ(name[0], 31);
  EXPECT_EQ(VqtPascalStringToStd(name, sizeof name), std::string(31, 'a'));
  // A length byte that lies is bounded by the field.
  name[0] = 200;
  EXPECT_EQ(VqtPascalStringToStd(name, sizeof name).size(), 31u);
}

TEST(Offscreen, HasRowsForItsFormat) {
  Rect bounds{0, 0, 128, 128};
  GWorldPtr world = nullptr;
  ASSERT_EQ(QTNewGWorld(&world, 32, &bounds, nullptr, nullptr, 0), noErr);
  PixMapHandle pm = GetGWorldPixMap(world);
  EXPECT_GE(GetPixRowBytes(pm), 128 * 4);
  EXPECT_EQ((*pm)->pixelFormat, 32u);
  EXPECT_NE(GetPixBaseAddr(pm), nullptr);
  DisposeGWorld(world);
  EXPECT_NE(QTNewGWorld(&world, 'zzzz', &bounds, nullptr, nullptr, 0), noErr);
  EXPECT_EQ(world, nullptr);
}
