// The hook with scripted dialogs: the model shows the instance's settings and the catalogue, and
// only an accepted dialog writes back.
#include <gtest/gtest.h>

#include <algorithm>

#include "CompressionDialogHook.h"
#include "ModelMapping.h"

namespace vqt::binding {
namespace {

constexpr Fixed kFixed2997 = 1964113;

Component compressorOf(CodecType type) {
  ComponentDescription looking{compressorComponentType, type, 0, 0, cmpIsMissing};
  return FindNextComponent(nullptr, &looking);
}

class DialogBindingModel : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(OpenADefaultComponent(StandardCompressionType, StandardCompressionSubType, &image), noErr);
    SCSpatialSettings spatial{'avc1', nullptr, 32, 0x2A0};
    SCTemporalSettings temporal{0x2A0, kFixed2997, 12};
    SCSetInfo(image, scSpatialSettingsType, &spatial);
    SCSetInfo(image, scTemporalSettingsType, &temporal);
  }
  void TearDown() override {
    VqtSetStandardCompressionDialogHook(nullptr);
    CloseComponent(image);
  }
  void install(std::function<dialogs::DialogResult(dialogs::ImageSettingsModel&)> image,
               std::function<dialogs::DialogResult(dialogs::SoundSettingsModel&)> sound = nullptr) {
    DialogRunners runners;
    runners.image = std::move(image);
    if (sound) runners.sound = std::move(sound);
    VqtSetStandardCompressionDialogHook(std::make_shared<CompressionDialogHook>(runners));
  }
  SCSpatialSettings spatial() {
    SCSpatialSettings s{};
    SCGetInfo(image, scSpatialSettingsType, &s);
    return s;
  }
  SCTemporalSettings temporal() {
    SCTemporalSettings t{};
    SCGetInfo(image, scTemporalSettingsType, &t);
    return t;
  }

  ComponentInstance image = nullptr;
};

TEST_F(DialogBindingModel, TheModelShowsThePresetAndTheCatalogue) {
  dialogs::ImageSettingsModel shown;
  install([&](dialogs::ImageSettingsModel& model) {
    shown = model;
    model.settings.spatialQuality = 0;  // changed, then cancelled
    return dialogs::DialogResult::Cancelled;
  });
  EXPECT_EQ(SCRequestSequenceSettings(image), scUserCancelled);
  EXPECT_EQ(shown.settings.codecType, dialogs::FourCC('avc1'));
  EXPECT_EQ(shown.settings.spatialQuality, 0x2A0u);
  EXPECT_NEAR(shown.settings.frameRate, 29.97f, 1e-4f);
  EXPECT_EQ(shown.settings.keyFrameRate, 12);
  EXPECT_TRUE(shown.samplePicture.valid());
  EXPECT_TRUE(bool(shown.preview));

  CodecNameSpecListPtr list = nullptr;
  ASSERT_EQ(GetCodecNameList(&list, 0), noErr);
  ASSERT_EQ(shown.codecs.size(), std::size_t(list->count));
  for (SInt16 i = 0; i < list->count; ++i) {
    EXPECT_EQ(shown.codecs[std::size_t(i)].type, list->list[i].cType);
    EXPECT_EQ(shown.codecs[std::size_t(i)].name.size(), std::size_t(list->list[i].typeName[0]));
  }
  DisposeCodecNameList(list);
  auto find = [&](dialogs::FourCC type) {
    return std::find_if(shown.codecs.begin(), shown.codecs.end(), [&](const auto& c) { return c.type == type; });
  };
  if (auto h264 = find('avc1'); h264 != shown.codecs.end()) {
    EXPECT_TRUE(h264->temporal);
  }
  if (auto prores = find('apcn'); prores != shown.codecs.end()) {
    EXPECT_FALSE(prores->temporal);
  }
  if (auto png = find('png '); png != shown.codecs.end()) {
    EXPECT_FALSE(png->hasQuality);
  }

  EXPECT_EQ(spatial().spatialQuality, 0x2A0u);
}

TEST_F(DialogBindingModel, OkWritesTheChoiceBack) {
  install([](dialogs::ImageSettingsModel& model) {
    model.settings.codecType = 'apcn';
    model.settings.spatialQuality = 0x3FF;
    model.settings.keyFrameRate = 1;
    return dialogs::DialogResult::Accepted;  // frame rate untouched
  });
  ASSERT_EQ(SCRequestSequenceSettings(image), noErr);
  const SCSpatialSettings s = spatial();
  EXPECT_EQ(s.codecType, CodecType('apcn'));
  EXPECT_EQ(s.codec, compressorOf('apcn'));
  EXPECT_EQ(s.spatialQuality, 0x3FFu);
  EXPECT_EQ(s.depth, 32);
  const SCTemporalSettings t = temporal();
  EXPECT_EQ(t.temporalQuality, 0x3FFu);
  EXPECT_EQ(t.frameRate, kFixed2997);  // exactly as it was, not rounded through the float
  EXPECT_EQ(t.keyFrameRate, 1);

  install([](dialogs::ImageSettingsModel& model) {
    model.settings.frameRate = 59.94f;
    return dialogs::DialogResult::Accepted;
  });
  ASSERT_EQ(SCRequestSequenceSettings(image), noErr);
  EXPECT_EQ(temporal().frameRate, Fixed(59.94f * 65536.0f));
}

TEST_F(DialogBindingModel, TheSoundDialogOffersWhatSixteenDotSixteenCanHold) {
  ComponentInstance sound = nullptr;
  ASSERT_EQ(OpenADefaultComponent(StandardCompressionType, StandardCompressionSubTypeAudio, &sound), noErr);
  OSType format = 'in24';
  UnsignedFixed rate = UnsignedFixed(44100) << 16;
  SCSetInfo(sound, scSoundCompressionType, &format);
  SCSetInfo(sound, scSoundSampleRateType, &rate);
  dialogs::SoundSettingsModel shown;
  install(nullptr, [&](dialogs::SoundSettingsModel& model) {
    shown = model;
    model.settings = {'fl32', 22050.0, 1};
    return dialogs::DialogResult::Accepted;
  });
  ASSERT_EQ(SCRequestImageSettings(sound), noErr);
  EXPECT_EQ(shown.settings, (dialogs::SoundSettings{'in24', 44100.0, 2}));
  EXPECT_EQ(shown.sampleRates, std::vector<double>{44100.0});  // no permission to change the rate
  EXPECT_EQ(shown.formats.size(), soundFormats().size());
  SInt16 size = 0, channels = 0;
  SCGetInfo(sound, scSoundCompressionType, &format);
  SCGetInfo(sound, scSoundSampleRateType, &rate);
  SCGetInfo(sound, scSoundSampleSizeType, &size);
  SCGetInfo(sound, scSoundChannelCountType, &channels);
  EXPECT_EQ(format, OSType('fl32'));
  EXPECT_EQ(rate, UnsignedFixed(22050) << 16);
  EXPECT_EQ(size, 32);
  EXPECT_EQ(channels, 1);

  Boolean yes = 1;
  SCSetInfo(sound, scSoundSampleRateChangeOK, &yes);
  ASSERT_EQ(SCRequestImageSettings(sound), noErr);
  EXPECT_FALSE(shown.sampleRates.empty());
  for (double offered : shown.sampleRates) EXPECT_LT(offered, 65536.0);
  CloseComponent(sound);
}

}  // namespace
}  // namespace vqt::binding
