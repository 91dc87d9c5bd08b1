// The hook with scripted dialogs: the model shows the instance's settings and the catalogue, and
// only an accepted dialog writes back.
#include <gtest/gtest.h>

#include <algorithm>

#include "CompressionDialogHook.h"
#include "ModelMapping.h"

namespace vqt::binding {
namespace {

constexpr Fixed kFixed2997 = 1964113;

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
  // Installs the binding's hook with a scripted dialog in place of the window.
  void script(std::function<dialogs::DialogResult(dialogs::ImageSettingsModel&)> imageDialog,
              std::function<dialogs::DialogResult(dialogs::SoundSettingsModel&)> soundDialog = nullptr) {
    DialogRunners runners;
    runners.image = std::move(imageDialog);
    if (soundDialog) runners.sound = std::move(soundDialog);
    VqtSetStandardCompressionDialogHook(std::make_shared<CompressionDialogHook>(runners));
  }
  template <typename T>
  T info(ComponentInstance ci, OSType type) {
    T value{};
    SCGetInfo(ci, type, &value);
    return value;
  }

  ComponentInstance image = nullptr;
};

TEST_F(DialogBindingModel, TheModelShowsThePresetAndTheCatalogue) {
  dialogs::ImageSettingsModel shown;
  script([&](dialogs::ImageSettingsModel& model) {
    shown = model;
    model.settings.spatialQuality = 0;  // changed, then cancelled
    return dialogs::DialogResult::Cancelled;
  });
  EXPECT_EQ(SCRequestSequenceSettings(image), scUserCancelled);
  EXPECT_EQ(info<SCSpatialSettings>(image, scSpatialSettingsType).spatialQuality, 0x2A0u);
  EXPECT_EQ(shown.settings.codecType, dialogs::FourCC('avc1'));
  EXPECT_EQ(shown.settings.spatialQuality, 0x2A0u);
  EXPECT_NEAR(shown.settings.frameRate, 29.97f, 1e-4f);
  EXPECT_EQ(shown.settings.keyFrameRate, 12);
  EXPECT_TRUE(shown.samplePicture.valid());
  EXPECT_TRUE(bool(shown.preview));

  CodecNameSpecListPtr list = nullptr;
  ASSERT_EQ(GetCodecNameList(&list, 0), noErr);
  ASSERT_EQ(shown.codecs.size(), std::size_t(list->count));
  for (SInt16 i = 0; i < list->count; ++i) EXPECT_EQ(shown.codecs[std::size_t(i)].type, list->list[i].cType);
  DisposeCodecNameList(list);
  auto find = [&](dialogs::FourCC type) {
    return *std::find_if(shown.codecs.begin(), shown.codecs.end(), [&](const auto& c) { return c.type == type; });
  };
  EXPECT_EQ(find('avc1').name, "H.264");
  EXPECT_TRUE(find('avc1').temporal);
  EXPECT_FALSE(find('apcn').temporal);
  EXPECT_FALSE(find('png ').hasQuality);
}

TEST_F(DialogBindingModel, OkWritesTheChoiceBack) {
  script([](dialogs::ImageSettingsModel& model) {
    model.settings.codecType = 'apcn';
    model.settings.spatialQuality = 0x3FF;
    model.settings.keyFrameRate = 1;
    return dialogs::DialogResult::Accepted;  // frame rate untouched
  });
  ASSERT_EQ(SCRequestSequenceSettings(image), noErr);
  const auto spatial = info<SCSpatialSettings>(image, scSpatialSettingsType);
  const auto temporal = info<SCTemporalSettings>(image, scTemporalSettingsType);
  EXPECT_EQ(spatial.codecType, CodecType('apcn'));
  ComponentDescription prores{compressorComponentType, 'apcn', 0, 0, cmpIsMissing};
  EXPECT_EQ(spatial.codec, FindNextComponent(nullptr, &prores));
  EXPECT_EQ(spatial.spatialQuality, 0x3FFu);
  EXPECT_EQ(temporal.temporalQuality, 0x3FFu);
  EXPECT_EQ(temporal.frameRate, kFixed2997);  // exactly as it was, not rounded through the float
  EXPECT_EQ(temporal.keyFrameRate, 1);

  script([](dialogs::ImageSettingsModel& model) {
    model.settings.frameRate = 59.94f;
    return dialogs::DialogResult::Accepted;
  });
  ASSERT_EQ(SCRequestSequenceSettings(image), noErr);
  EXPECT_EQ(info<SCTemporalSettings>(image, scTemporalSettingsType).frameRate, Fixed(59.94f * 65536.0f));
}

TEST_F(DialogBindingModel, TheSoundDialogOffersWhatSixteenDotSixteenCanHold) {
  ComponentInstance sound = nullptr;
  ASSERT_EQ(OpenADefaultComponent(StandardCompressionType, StandardCompressionSubTypeAudio, &sound), noErr);
  UnsignedFixed rate = UnsignedFixed(44100) << 16;
  SCSetInfo(sound, scSoundSampleRateType, &rate);
  dialogs::SoundSettingsModel shown;
  script(nullptr, [&](dialogs::SoundSettingsModel& model) {
    shown = model;
    model.settings = {'fl32', 22050.0, 1};
    return dialogs::DialogResult::Accepted;
  });
  ASSERT_EQ(SCRequestImageSettings(sound), noErr);
  EXPECT_EQ(shown.settings, (dialogs::SoundSettings{'twos', 44100.0, 2}));
  EXPECT_EQ(shown.sampleRates, std::vector<double>{44100.0});  // no permission to change the rate
  EXPECT_EQ(info<OSType>(sound, scSoundCompressionType), OSType('fl32'));
  EXPECT_EQ(info<UnsignedFixed>(sound, scSoundSampleRateType), UnsignedFixed(22050) << 16);
  EXPECT_EQ(info<SInt16>(sound, scSoundSampleSizeType), 32);  // follows the format
  EXPECT_EQ(info<SInt16>(sound, scSoundChannelCountType), 1);

  Boolean yes = 1;
  SCSetInfo(sound, scSoundSampleRateChangeOK, &yes);
  ASSERT_EQ(SCRequestImageSettings(sound), noErr);
  EXPECT_GT(shown.sampleRates.size(), 1u);
  for (double offered : shown.sampleRates) EXPECT_LT(offered, 65536.0);
  CloseComponent(sound);
}

}  // namespace
}  // namespace vqt::binding
