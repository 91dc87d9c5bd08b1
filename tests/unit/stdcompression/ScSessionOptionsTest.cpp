// Session options built from the settings, as the frame encoder takes them.
#include "ScTestSupport.h"

namespace vqt::sc::test {
namespace {

template <typename T>
T property(ICMCompressionSessionOptionsRef options, ComponentPropertyID id) {
  T value{};
  ByteCount used = 0;
  EXPECT_EQ(ICMCompressionSessionOptionsGetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions, id,
                                                    sizeof value, &value, &used),
            noErr);
  return value;
}

struct Options {
  explicit Options(ComponentInstance ci) { result = SCCopyCompressionSessionOptions(ci, &ref); }
  ~Options() { ICMCompressionSessionOptionsRelease(ref); }
  ICMCompressionSessionOptionsRef ref = nullptr;
  ComponentResult result = noErr;
};

void choose(ComponentInstance ci, SCSpatialSettings spatial, SCTemporalSettings temporal) {
  ASSERT_EQ(SCSetInfo(ci, scSpatialSettingsType, &spatial), noErr);
  ASSERT_EQ(SCSetInfo(ci, scTemporalSettingsType, &temporal), noErr);
}

TEST(StandardCompressionSessionOptions, TemporalCodecGetsEverySetting) {
  if (!compressorOf('avc1')) GTEST_SKIP() << "no H.264 compressor";
  OpenInstance image(StandardCompressionSubType);
  choose(image, {'avc1', nullptr, 32, codecHighQuality}, {codecHighQuality, kFixed2997, 12});
  Options options(image);
  ASSERT_EQ(options.result, noErr);
  EXPECT_TRUE(ICMCompressionSessionOptionsGetAllowTemporalCompression(options.ref));
  EXPECT_TRUE(ICMCompressionSessionOptionsGetAllowFrameReordering(options.ref));
  EXPECT_EQ(ICMCompressionSessionOptionsGetMaxKeyFrameInterval(options.ref), 12);
  EXPECT_EQ(property<CodecComponent>(options.ref, kICMCompressionSessionOptionsPropertyID_CompressorComponent),
            compressorOf('avc1'));
  EXPECT_EQ(property<CodecQ>(options.ref, kICMCompressionSessionOptionsPropertyID_Quality), codecHighQuality);
  EXPECT_EQ(property<Fixed>(options.ref, kICMCompressionSessionOptionsPropertyID_ExpectedFrameRate), kFixed2997);
  EXPECT_EQ(property<UInt32>(options.ref, kICMCompressionSessionOptionsPropertyID_Depth), 32u);
}

TEST(StandardCompressionSessionOptions, KeyFramesOnlyAndIntraCodecsDoNotReorder) {
  OpenInstance image(StandardCompressionSubType);
  if (compressorOf('avc1')) {
    choose(image, {'avc1', nullptr, 24, codecNormalQuality}, {codecNormalQuality, Long2Fix(25), 1});
    Options allKeyFrames(image);
    ASSERT_EQ(allKeyFrames.result, noErr);
    EXPECT_FALSE(ICMCompressionSessionOptionsGetAllowTemporalCompression(allKeyFrames.ref));
    EXPECT_FALSE(ICMCompressionSessionOptionsGetAllowFrameReordering(allKeyFrames.ref));
  }
  if (compressorOf('apcn')) {
    choose(image, {'apcn', nullptr, 24, codecLosslessQuality}, {codecNormalQuality, Long2Fix(25), 0});
    Options prores(image);
    ASSERT_EQ(prores.result, noErr);
    EXPECT_TRUE(ICMCompressionSessionOptionsGetAllowTemporalCompression(prores.ref));
    EXPECT_FALSE(ICMCompressionSessionOptionsGetAllowFrameReordering(prores.ref));
    EXPECT_EQ(ICMCompressionSessionOptionsGetMaxKeyFrameInterval(prores.ref), 0);
    EXPECT_EQ(property<CodecQ>(prores.ref, kICMCompressionSessionOptionsPropertyID_Quality), codecLosslessQuality);
  }
}

TEST(StandardCompressionSessionOptions, MissingCompressorsAndSoundInstancesGiveNoOptions) {
  OpenInstance image(StandardCompressionSubType);
  choose(image, {'zzzz', nullptr, 24, codecNormalQuality}, {codecNormalQuality, 0, 0});
  Options missing(image);
  EXPECT_EQ(missing.result, noCodecErr);
  EXPECT_EQ(missing.ref, nullptr);
  OpenInstance sound(StandardCompressionSubTypeAudio);
  Options forSound(sound);
  EXPECT_EQ(forSound.result, badComponentSelector);
  EXPECT_EQ(forSound.ref, nullptr);
}

}  // namespace
}  // namespace vqt::sc::test
