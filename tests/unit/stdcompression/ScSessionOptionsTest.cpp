// Session options built from the settings, as the frame encoder takes them.
#include "ScTestSupport.h"

namespace vqt::sc::test {
namespace {

template <typename T>
T property(ICMCompressionSessionOptionsRef options, ComponentPropertyID id) {
  T value{};
  EXPECT_EQ(ICMCompressionSessionOptionsGetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions, id,
                                                    sizeof value, &value, nullptr),
            noErr);
  return value;
}

struct Options {
  Options(ComponentInstance ci, SCSpatialSettings spatial, SCTemporalSettings temporal) {
    SCSetInfo(ci, scSpatialSettingsType, &spatial);
    SCSetInfo(ci, scTemporalSettingsType, &temporal);
    result = SCCopyCompressionSessionOptions(ci, &ref);
  }
  ~Options() { ICMCompressionSessionOptionsRelease(ref); }
  ICMCompressionSessionOptionsRef ref = nullptr;
  ComponentResult result = noErr;
};

TEST(StandardCompressionSessionOptions, ATemporalCodecGetsEverySetting) {
  OpenInstance image(StandardCompressionSubType);
  Options h264(image, {'avc1', nullptr, 32, codecHighQuality}, {codecHighQuality, kFixed2997, 12});
  ASSERT_EQ(h264.result, noErr);
  EXPECT_TRUE(ICMCompressionSessionOptionsGetAllowTemporalCompression(h264.ref));
  EXPECT_TRUE(ICMCompressionSessionOptionsGetAllowFrameReordering(h264.ref));
  EXPECT_EQ(ICMCompressionSessionOptionsGetMaxKeyFrameInterval(h264.ref), 12);
  EXPECT_EQ(property<CodecComponent>(h264.ref, kICMCompressionSessionOptionsPropertyID_CompressorComponent),
            compressorOf('avc1'));
  EXPECT_EQ(property<CodecQ>(h264.ref, kICMCompressionSessionOptionsPropertyID_Quality), codecHighQuality);
  EXPECT_EQ(property<Fixed>(h264.ref, kICMCompressionSessionOptionsPropertyID_ExpectedFrameRate), kFixed2997);
  EXPECT_EQ(property<UInt32>(h264.ref, kICMCompressionSessionOptionsPropertyID_Depth), 32u);
}

TEST(StandardCompressionSessionOptions, KeyFramesOnlyAndIntraCodecsDoNotReorder) {
  OpenInstance image(StandardCompressionSubType);
  Options allKeyFrames(image, {'avc1', nullptr, 24, codecNormalQuality}, {codecNormalQuality, Long2Fix(25), 1});
  EXPECT_FALSE(ICMCompressionSessionOptionsGetAllowTemporalCompression(allKeyFrames.ref));
  EXPECT_FALSE(ICMCompressionSessionOptionsGetAllowFrameReordering(allKeyFrames.ref));
  Options prores(image, {'apcn', nullptr, 24, codecLosslessQuality}, {codecNormalQuality, Long2Fix(25), 0});
  EXPECT_TRUE(ICMCompressionSessionOptionsGetAllowTemporalCompression(prores.ref));
  EXPECT_FALSE(ICMCompressionSessionOptionsGetAllowFrameReordering(prores.ref));
  EXPECT_EQ(property<CodecQ>(prores.ref, kICMCompressionSessionOptionsPropertyID_Quality), codecLosslessQuality);
}

TEST(StandardCompressionSessionOptions, NoCompressorOrASoundInstanceGiveNoOptions) {
  OpenInstance image(StandardCompressionSubType);
  Options missing(image, {'zzzz', nullptr, 24, codecNormalQuality}, {codecNormalQuality, 0, 0});
  EXPECT_EQ(missing.result, noCodecErr);
  EXPECT_EQ(missing.ref, nullptr);
  OpenInstance sound(StandardCompressionSubTypeAudio);
  ICMCompressionSessionOptionsRef options = nullptr;
  EXPECT_EQ(SCCopyCompressionSessionOptions(sound, &options), badComponentSelector);
  EXPECT_EQ(options, nullptr);
}

}  // namespace
}  // namespace vqt::sc::test
