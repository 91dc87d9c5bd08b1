// The components as a caller first meets them: registered, opened with defaults, and their
// settings read and set by info type.
#include <Carbon/QuickDraw.h>

#include "ScTestSupport.h"

namespace vqt::sc::test {
namespace {

TEST(StandardCompressionInfo, BothComponentsOpenWithTheirDefaults) {
  OpenInstance image(StandardCompressionSubType);
  ASSERT_NE(compressorOf('apcn'), nullptr);
  expectSpatial(image, {'apcn', nullptr, 24, codecNormalQuality});
  expectTemporal(image, {codecNormalQuality, 0, 0});
  EXPECT_EQ(info<SInt32>(image, scPreferenceFlagsType), 0);
  OpenInstance sound(StandardCompressionSubTypeAudio);
  expectSound(sound, {'twos', UnsignedFixed(48000) << 16, 16, 2});
  EXPECT_EQ(info<Boolean>(sound, scSoundVBRCompressionOK), 0);
}

TEST(StandardCompressionInfo, InfoTypesBelongToOneKindOfInstance) {
  OpenInstance image(StandardCompressionSubType);
  OpenInstance sound(StandardCompressionSubTypeAudio);
  SCSpatialSettings spatial{};
  EXPECT_EQ(SCGetInfo(image, scSoundCompressionType, &spatial), scTypeNotFoundErr);
  EXPECT_EQ(SCGetInfo(sound, scSpatialSettingsType, &spatial), scTypeNotFoundErr);
  EXPECT_EQ(SCGetInfo(image, scSpatialSettingsType, nullptr), paramErr);
  EXPECT_EQ(SCGetInfo(nullptr, scSpatialSettingsType, &spatial), badComponentInstance);
  ComponentInstance codec = OpenComponent(compressorOf('apcn'));
  EXPECT_EQ(SCGetInfo(codec, scSpatialSettingsType, &spatial), badComponentInstance);
  CloseComponent(codec);
  for (ComponentInstance ci : {image.ci, sound.ci}) {
    setInfo<SInt32>(ci, scPreferenceFlagsType, scAllowEncodingWithCompressionSession);
    EXPECT_EQ(info<SInt32>(ci, scPreferenceFlagsType), scAllowEncodingWithCompressionSession);
  }
}

TEST(StandardCompressionInfo, TheCodecComponentFollowsTheCodecType) {
  OpenInstance image(StandardCompressionSubType);
  setInfo(image, scSpatialSettingsType, SCSpatialSettings{'avc1', compressorOf('apcn'), 32, codecHighQuality});
  expectSpatial(image, {'avc1', compressorOf('avc1'), 32, codecHighQuality});
  setInfo(image, scSpatialSettingsType, SCSpatialSettings{'avc1', nullptr, 32, codecHighQuality});
  expectSpatial(image, {'avc1', nullptr, 32, codecHighQuality});  // "any compressor" stays so
}

TEST(StandardCompressionInfo, DefaultPixMapSettingsTakeThePictureDepth) {
  OpenInstance image(StandardCompressionSubType);
  OpenInstance sound(StandardCompressionSubTypeAudio);
  setInfo(image, scSpatialSettingsType, SCSpatialSettings{'avc1', nullptr, 24, codecMinQuality});
  setInfo(image, scTemporalSettingsType, SCTemporalSettings{codecMinQuality, Long2Fix(25), 5});
  GWorldPtr world = nullptr;
  const Rect bounds{0, 0, 128, 128};
  ASSERT_EQ(QTNewGWorld(&world, k32ARGBPixelFormat, &bounds, nullptr, nullptr, 0), noErr);
  EXPECT_EQ(SCDefaultPixMapSettings(image, GetGWorldPixMap(world), true), noErr);
  EXPECT_EQ(SCDefaultPixMapSettings(sound, GetGWorldPixMap(world), true), badComponentSelector);
  DisposeGWorld(world);
  expectSpatial(image, {'avc1', nullptr, 32, codecNormalQuality});
  expectTemporal(image, {codecNormalQuality, 0, 0});
  EXPECT_EQ(SCDefaultPixMapSettings(image, nullptr, true), paramErr);
}

}  // namespace
}  // namespace vqt::sc::test
