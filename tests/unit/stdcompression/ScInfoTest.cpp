// The components as a caller first meets them: registered, opened with defaults, and their
// settings read and set by info type.
#include <Carbon/QuickDraw.h>

#include "ScTestSupport.h"

namespace vqt::sc::test {
namespace {

TEST(StandardCompressionInfo, BothComponentsOpenWithTheirDefaults) {
  OpenInstance image(StandardCompressionSubType);
  ASSERT_NE(image.get(), nullptr);
  EXPECT_NE(OpenDefaultComponent(StandardCompressionType, StandardCompressionSubType), nullptr);
  const SCSpatialSettings spatial = spatialOf(image);
  EXPECT_EQ(spatial.codecType, compressorOf('apcn') ? CodecType('apcn') : spatial.codecType);
  EXPECT_EQ(spatial.codec, nullptr);
  EXPECT_EQ(spatial.depth, 24);
  EXPECT_EQ(spatial.spatialQuality, codecNormalQuality);
  EXPECT_TRUE(temporalOf(image) == (SCTemporalSettings{codecNormalQuality, 0, 0}));
  SInt32 flags = -1;
  EXPECT_EQ(SCGetInfo(image, scPreferenceFlagsType, &flags), noErr);
  EXPECT_EQ(flags, 0);

  OpenInstance sound(StandardCompressionSubTypeAudio);
  ASSERT_NE(sound.get(), nullptr);
  EXPECT_TRUE(soundOf(sound) == (VqtSoundCompressionSettings{'twos', UnsignedFixed(48000) << 16, 16, 2}));
  Boolean allowed = 1;
  EXPECT_EQ(SCGetInfo(sound, scSoundVBRCompressionOK, &allowed), noErr);
  EXPECT_EQ(allowed, 0);
}

TEST(StandardCompressionInfo, InfoTypesBelongToOneKindOfInstance) {
  OpenInstance image(StandardCompressionSubType);
  OpenInstance sound(StandardCompressionSubTypeAudio);
  OSType format = 0;
  SCSpatialSettings spatial{};
  EXPECT_EQ(SCGetInfo(image, scSoundCompressionType, &format), scTypeNotFoundErr);
  EXPECT_EQ(SCGetInfo(sound, scSpatialSettingsType, &spatial), scTypeNotFoundErr);
  EXPECT_EQ(SCGetInfo(image, 'what', &format), scTypeNotFoundErr);
  EXPECT_EQ(SCGetInfo(image, scSpatialSettingsType, nullptr), paramErr);

  // Preference flags and the sound permissions are plain values of the instance.
  for (ComponentInstance ci : {image.get(), sound.get()}) {
    SInt32 flags = scAllowEncodingWithCompressionSession;
    EXPECT_EQ(SCSetInfo(ci, scPreferenceFlagsType, &flags), noErr);
    flags = 0;
    EXPECT_EQ(SCGetInfo(ci, scPreferenceFlagsType, &flags), noErr);
    EXPECT_EQ(flags, scAllowEncodingWithCompressionSession);
  }
  for (OSType permission : {scSoundVBRCompressionOK, scSoundSampleRateChangeOK}) {
    Boolean yes = 1;
    EXPECT_EQ(SCSetInfo(sound, permission, &yes), noErr);
    Boolean read = 0;
    EXPECT_EQ(SCGetInfo(sound, permission, &read), noErr);
    EXPECT_EQ(read, 1);
  }
}

TEST(StandardCompressionInfo, OtherInstancesAreNotStandardCompression) {
  Component compressor = compressorOf('apcn');
  if (compressor == nullptr) GTEST_SKIP() << "no ProRes compressor";
  ComponentInstance codec = OpenComponent(compressor);
  SInt32 flags = 0;
  EXPECT_EQ(SCGetInfo(codec, scPreferenceFlagsType, &flags), badComponentInstance);
  EXPECT_EQ(SCRequestSequenceSettings(codec), badComponentInstance);
  CloseComponent(codec);
  EXPECT_EQ(SCGetInfo(nullptr, scPreferenceFlagsType, &flags), badComponentInstance);
}

TEST(StandardCompressionInfo, ACodecComponentFollowsTheCodecType) {
  if (!compressorOf('apcn') || !compressorOf('avc1')) GTEST_SKIP() << "needs ProRes and H.264 compressors";
  OpenInstance image(StandardCompressionSubType);
  SCSpatialSettings spatial{'avc1', compressorOf('apcn'), 32, codecHighQuality};
  ASSERT_EQ(SCSetInfo(image, scSpatialSettingsType, &spatial), noErr);
  EXPECT_EQ(spatialOf(image).codec, compressorOf('avc1'));
  spatial.codec = nullptr;
  ASSERT_EQ(SCSetInfo(image, scSpatialSettingsType, &spatial), noErr);
  EXPECT_EQ(spatialOf(image).codec, nullptr);  // "any compressor" stays so
}

TEST(StandardCompressionInfo, DefaultPixMapSettingsTakeThePictureDepth) {
  OpenInstance image(StandardCompressionSubType);
  SCSpatialSettings spatial{'avc1', nullptr, 24, codecMinQuality};
  SCTemporalSettings temporal{codecMinQuality, Long2Fix(25), 5};
  SCSetInfo(image, scSpatialSettingsType, &spatial);
  SCSetInfo(image, scTemporalSettingsType, &temporal);
  GWorldPtr world = nullptr;
  const Rect bounds{0, 0, 128, 128};
  ASSERT_EQ(QTNewGWorld(&world, k32ARGBPixelFormat, &bounds, nullptr, nullptr, 0), noErr);
  EXPECT_EQ(SCDefaultPixMapSettings(image, GetGWorldPixMap(world), true), noErr);
  OpenInstance sound(StandardCompressionSubTypeAudio);
  EXPECT_EQ(SCDefaultPixMapSettings(sound, GetGWorldPixMap(world), true), badComponentSelector);
  DisposeGWorld(world);
  EXPECT_TRUE(spatialOf(image) == (SCSpatialSettings{'avc1', nullptr, 32, codecNormalQuality}));
  EXPECT_TRUE(temporalOf(image) == (SCTemporalSettings{codecNormalQuality, 0, 0}));

  EXPECT_EQ(SCDefaultPixMapSettings(image, nullptr, true), paramErr);
}

}  // namespace
}  // namespace vqt::sc::test
