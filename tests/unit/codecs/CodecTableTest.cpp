#include <gtest/gtest.h>

#include <set>

#include "vqt/codecs/CodecTable.h"

namespace vqt::codecs {
namespace {

TEST(CodecTable, OffersTheRequiredCodecsForReadingAndWriting) {
  const FourCC readable[] = {'apco', 'apcs', 'apcn', 'apch', 'ap4h', 'ap4x', 'avc1', 'hvc1', 'hev1', 'mp4v',
                             'jpeg', 'mjpa', 'png ', 'rle ', 'raw ', '2vuy', 'v210', 'AVdn', 'dvc ', 'dvcp'};
  const FourCC writable[] = {'apco', 'apcs', 'apcn', 'apch', 'ap4h', 'ap4x', 'avc1', 'hvc1',
                             'mp4v', 'jpeg', 'png ', 'rle ', 'raw ', '2vuy', 'v210', 'AVdn'};
  for (FourCC type : readable) {
    const CodecEntry* entry = findCodec(type);
    ASSERT_NE(entry, nullptr) << type;
    EXPECT_TRUE(canRead(*entry)) << entry->name;
  }
  for (FourCC type : writable) EXPECT_TRUE(canWrite(*findCodec(type))) << findCodec(type)->name;
  EXPECT_FALSE(canWrite(*findCodec('hev1')));
  EXPECT_EQ(findCodec('none'), nullptr);
}

TEST(CodecTable, EntriesAreUniqueNamedAndExchangeOnlyKnownFormats) {
  const std::set<FourCC> choosable = {kPixelFormatR4fl, kPixelFormatR408, kPixelFormat2vuy, kPixelFormatB64a,
                                      kPixelFormatArgb32};
  std::set<FourCC> types;
  for (const CodecEntry& entry : codecTable()) {
    EXPECT_TRUE(types.insert(entry.type).second) << entry.name;
    EXPECT_FALSE(entry.name.empty());
    EXPECT_GT(entry.information.size(), entry.name.size());
    EXPECT_LE(entry.name.size(), 31u) << "type names are Str31";
    ASSERT_FALSE(exchangeFormats(entry).empty()) << entry.name;
    for (FourCC format : exchangeFormats(entry)) EXPECT_TRUE(choosable.count(format)) << entry.name;
  }
}

TEST(CodecTable, QualityLevelsPickTheNearestLevelAtOrBelow) {
  EXPECT_EQ(qualityLevelIndex(0x000), 0);
  EXPECT_EQ(qualityLevelIndex(0x100), 1);
  EXPECT_EQ(qualityLevelIndex(0x2A0), 2);
  EXPECT_EQ(qualityLevelIndex(0x300), 3);
  EXPECT_EQ(qualityLevelIndex(0x3FF), 4);
  EXPECT_EQ(qualityLevelIndex(0x400), 5);
  EXPECT_EQ(qualityLevelIndex(0xFFFF), 5);
  // Finer levels never mean coarser settings, and every level a codec offers is its own.
  for (const CodecEntry& entry : codecTable()) {
    const auto& values = entry.quality.values;
    const bool finerIsHigher = entry.quality.control == QualityControl::dnxhrProfile;
    for (int i = 1; i < entry.quality.levels; ++i) {
      if (entry.quality.control == QualityControl::none) break;
      EXPECT_NE(values[i], values[i - 1]) << entry.name << " level " << i;
      EXPECT_EQ(values[i] > values[i - 1], finerIsHigher) << entry.name << " level " << i;
    }
  }
}

}  // namespace
}  // namespace vqt::codecs
