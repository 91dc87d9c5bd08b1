#include <QuickTime/ImageCompression.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

namespace {

TEST(CodecNameList, HasOneEntryPerCompressorWithItsTypeAndName) {
  const long blocks = VqtLiveMemoryBlockCount();
  CodecNameSpecListPtr list = nullptr;
  ASSERT_EQ(GetCodecNameList(&list, 1), noErr);
  ASSERT_NE(list, nullptr);
  ComponentDescription compressors{'imco', 0, 0, 0, 0};
  EXPECT_EQ(list->count, CountComponents(&compressors));
  std::set<OSType> types;
  for (int i = 0; i < list->count; ++i) {
    const CodecNameSpec& entry = list->list[i];
    ComponentDescription cd{};
    ASSERT_EQ(GetComponentInfo(entry.codec, &cd, nullptr, nullptr, nullptr), noErr);
    EXPECT_EQ(cd.componentSubType, entry.cType);
    EXPECT_GT(entry.typeName[0], 0);
    EXPECT_LE(entry.typeName[0], 31);
    ASSERT_NE(entry.name, nullptr);
    types.insert(entry.cType);
  }
  for (OSType type : {'apcn', 'apch', 'ap4h', 'avc1', 'hvc1', 'jpeg', 'png ', 'rle ', 'raw ', '2vuy', 'v210', 'AVdn'})
    EXPECT_TRUE(types.count(type)) << std::string{char(type >> 24), char(type >> 16), char(type >> 8), char(type)};
  EXPECT_FALSE(types.count('hev1'));
  const int hq = [&] {
    for (int i = 0; i < list->count; ++i)
      if (list->list[i].cType == 'apch') return i;
    return -1;
  }();
  ASSERT_GE(hq, 0);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(list->list[hq].typeName + 1), list->list[hq].typeName[0]),
            "ProRes 422 HQ");
  EXPECT_EQ(DisposeCodecNameList(list), noErr);
  EXPECT_EQ(VqtLiveMemoryBlockCount(), blocks);
}

TEST(CodecNameList, ShowAllZeroKeepsOneEntryPerType) {
  VqtComponentRegistration second;
  second.description = {'imco', 'avc1', 'test', 0, 0};
  second.name = "Another H.264 compressor";
  Component component = VqtRegisterComponent(second);
  CodecNameSpecListPtr all = nullptr;
  CodecNameSpecListPtr types = nullptr;
  ASSERT_EQ(GetCodecNameList(&all, 1), noErr);
  ASSERT_EQ(GetCodecNameList(&types, 0), noErr);
  auto count = [](CodecNameSpecListPtr list, OSType type) {
    int n = 0;
    for (int i = 0; i < list->count; ++i) n += list->list[i].cType == type;
    return n;
  };
  EXPECT_EQ(count(all, 'avc1'), 2);
  EXPECT_EQ(count(types, 'avc1'), 1);
  EXPECT_EQ(all->count, types->count + 1);
  DisposeCodecNameList(all);
  DisposeCodecNameList(types);
  UnregisterComponent(component);
}

TEST(PixelFormatInfo, KnowsTheExchangedFormatsAndLearnsNewOnes) {
  ICMPixelFormatInfo info{};
  info.size = sizeof info;
  ASSERT_EQ(ICMGetPixelFormatInfo(k32ARGBPixelFormat, &info), noErr);
  EXPECT_EQ(info.bitsPerPixel[0], 32);
  EXPECT_EQ(info.formatFlags & kICMPixelFormatIsPlanarMask, 0u);
  ASSERT_EQ(ICMGetPixelFormatInfo(k2vuyPixelFormat, &info), noErr);
  EXPECT_EQ(info.bitsPerPixel[0], 16);

  // 'r4fl' must be registered by its user, with the short (100-byte) record.
  ICMPixelFormatInfo probe{};
  probe.size = 100;
  const OSErr before = ICMGetPixelFormatInfo('r4fl', &probe);
  if (before != noErr) {
    ICMPixelFormatInfo r4fl{};
    r4fl.size = 100;
    r4fl.bitsPerPixel[0] = 128;
    r4fl.cmpCount = 99;  // beyond the 100 bytes: must not be read
    ASSERT_EQ(ICMSetPixelFormatInfo('r4fl', &r4fl), noErr);
  }
  ICMPixelFormatInfo read{};
  std::memset(&read, 0xAB, sizeof read);
  read.size = 100;
  ASSERT_EQ(ICMGetPixelFormatInfo('r4fl', &read), noErr);
  EXPECT_EQ(read.size, 100u);
  EXPECT_EQ(read.bitsPerPixel[0], 128);
  EXPECT_EQ(read.cmpSize, 0xABABABABu) << "bytes past `size` are left alone";

  ICMPixelFormatInfo unknown{};
  unknown.size = sizeof unknown;
  EXPECT_EQ(ICMGetPixelFormatInfo('zzzz', &unknown), paramErr);
  EXPECT_EQ(ICMSetPixelFormatInfo(k32ARGBPixelFormat, &info), paramErr) << "built-in formats stay as they are";
}

}  // namespace
