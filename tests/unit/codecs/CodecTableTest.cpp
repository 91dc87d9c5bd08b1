#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

#include "vqt/codecs/CodecTable.h"
#include "vqt/codecs/Encoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

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

// The table names FFmpeg's pixel formats, options and profiles as text: a
// misspelt one would be dropped silently at run time.
bool knownLayout(std::string_view name, bool alpha) {
  const AVPixelFormat format = av_get_pix_fmt(std::string(name).c_str());
  if (format == AV_PIX_FMT_NONE) return false;
  return !alpha || (av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

TEST(CodecTable, LayoutsOptionsAndProfilesAreFfmpegs) {
  const AVClass* contextClass = avcodec_get_class();
  for (const CodecEntry& entry : codecTable()) {
    for (std::string_view layout : {entry.encodeLayout, entry.deepLayout, entry.rawLayout})
      if (!layout.empty()) EXPECT_TRUE(knownLayout(layout, false)) << entry.name << ": " << layout;
    for (std::string_view layout : {entry.encodeAlphaLayout, entry.deepAlphaLayout, entry.rawAlphaLayout})
      if (!layout.empty()) EXPECT_TRUE(knownLayout(layout, true)) << entry.name << ": " << layout;
    for (std::string_view layout : entry.quality.layouts)
      if (!layout.empty()) EXPECT_TRUE(knownLayout(layout, false)) << entry.name << ": " << layout;
    if (!canWrite(entry)) continue;
    EXPECT_FALSE(entry.encodeLayout.empty() && entry.quality.layouts[0].empty()) << entry.name;
    const AVCodec* codec = avcodec_find_encoder_by_name(std::string(entry.encoder).c_str());
    const AVClass* privateClass = codec->priv_class;
    for (const EncoderOption& option : entry.options) {
      const std::string name(option.name);
      const bool found = av_opt_find(&privateClass, name.c_str(), nullptr, 0, AV_OPT_SEARCH_FAKE_OBJ) ||
                         av_opt_find(&contextClass, name.c_str(), nullptr, 0, AV_OPT_SEARCH_FAKE_OBJ);
      EXPECT_TRUE(found) << entry.name << ": option " << name;
    }
    if (entry.quality.control == QualityControl::dnxhrProfile) {
      for (std::string_view profile : entry.quality.profiles)
        EXPECT_NE(av_opt_find(&privateClass, std::string(profile).c_str(), "profile", 0, AV_OPT_SEARCH_FAKE_OBJ),
                  nullptr)
            << entry.name << ": profile " << profile;
    }
  }
}

// Every writable codec but the fixed-size DV takes an odd size, those that
// need whole chroma samples by padding.
TEST(CodecTable, WritableCodecsTakeOddSizes) {
  for (const CodecEntry& entry : codecTable()) {
    if (!canWrite(entry) || entry.type == 'dvc ' || entry.type == 'dvcp') continue;
    for (int depth : {24, 32}) {
      EncoderConfig config;
      config.codecType = entry.type;
      config.width = 321;
      config.height = 181;
      config.depth = depth;
      config.timeScale = 2500;
      config.frameRate = 25;
      std::unique_ptr<Encoder> encoder;
      EXPECT_EQ(Encoder::create(config, encoder), Status::ok) << entry.name << " at depth " << depth;
    }
  }
}

}  // namespace
}  // namespace vqt::codecs
