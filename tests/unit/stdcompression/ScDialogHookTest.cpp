// Requests through the dialog hook: what the hook is shown, when its answer is applied, and that
// without a hook (or without an OK) nothing changes.
#include <stdexcept>

#include "ScTestSupport.h"

namespace vqt::sc::test {
namespace {

// Writes its choice into the settings whatever it answers, so a non-OK answer that leaked
// would show.
class ScriptedHook : public VqtStandardCompressionDialogHook {
 public:
  VqtDialogAnswer answer = VqtDialogAnswer::ok;
  bool throws = false, lastMotion = false, shownRateChangeOK = false;
  VqtImageCompressionSettings shownImage, imageChoice;
  VqtSoundCompressionSettings soundChoice{'fl32', UnsignedFixed(22050) << 16, 32, 1};

  VqtDialogAnswer requestImageSettings(VqtImageCompressionSettings& settings, bool motion) override {
    lastMotion = motion;
    shownImage = settings;
    settings = imageChoice;
    if (throws) throw std::runtime_error("dialog failed");
    return answer;
  }
  VqtDialogAnswer requestSoundSettings(VqtSoundCompressionSettings& settings, bool, bool rateChangeOK) override {
    shownRateChangeOK = rateChangeOK;
    settings = soundChoice;
    return answer;
  }
};

class StandardCompressionDialog : public ::testing::Test {
 protected:
  void SetUp() override {
    setInfo(image, scSpatialSettingsType, SCSpatialSettings{'apcn', nullptr, 32, codecHighQuality});
    setInfo(image, scTemporalSettingsType, SCTemporalSettings{codecHighQuality, kFixed2997, 1});
    hook->imageChoice.spatial = {'avc1', compressorOf('apcn'), 24, 0x2A0};
    hook->imageChoice.temporal = {0x2A0, Long2Fix(50), 48};
    before = settingsText(image);
    VqtSetStandardCompressionDialogHook(hook);
  }
  void TearDown() override { VqtSetStandardCompressionDialogHook(nullptr); }

  OpenInstance image{StandardCompressionSubType};
  std::shared_ptr<ScriptedHook> hook = std::make_shared<ScriptedHook>();
  std::string before;
};

TEST_F(StandardCompressionDialog, OkAppliesTheChoiceMadeFromTheShownSettings) {
  ASSERT_EQ(SCRequestSequenceSettings(image), noErr);
  EXPECT_TRUE(hook->lastMotion);
  EXPECT_EQ(hook->shownImage.spatial.codecType, CodecType('apcn'));
  EXPECT_EQ(hook->shownImage.temporal.frameRate, kFixed2997);
  // The compressor left over from the old codec type is replaced by one of the chosen type.
  expectSpatial(image, {'avc1', compressorOf('avc1'), 24, 0x2A0});
  expectTemporal(image, hook->imageChoice.temporal);
  ASSERT_EQ(SCRequestImageSettings(image), noErr);
  EXPECT_FALSE(hook->lastMotion);
}

TEST_F(StandardCompressionDialog, NoHookCancelNoDisplayAndFailuresChangeNothing) {
  for (VqtDialogAnswer answer : {VqtDialogAnswer::cancel, VqtDialogAnswer::noDisplay}) {
    hook->answer = answer;
    EXPECT_EQ(SCRequestSequenceSettings(image), scUserCancelled);
  }
  hook->answer = VqtDialogAnswer::ok;
  hook->throws = true;
  EXPECT_EQ(SCRequestSequenceSettings(image), scUserCancelled);
  VqtSetStandardCompressionDialogHook(nullptr);
  EXPECT_EQ(SCRequestSequenceSettings(image), scUserCancelled);
  EXPECT_EQ(settingsText(image), before);
}

TEST_F(StandardCompressionDialog, TheSoundDialogGetsTheCallersPermission) {
  OpenInstance sound(StandardCompressionSubTypeAudio);
  setInfo<Boolean>(sound, scSoundSampleRateChangeOK, 1);
  ASSERT_EQ(SCRequestImageSettings(sound), noErr);
  EXPECT_TRUE(hook->shownRateChangeOK);
  expectSound(sound, hook->soundChoice);
  hook->answer = VqtDialogAnswer::cancel;
  hook->soundChoice = {'twos', 0, 8, 9};
  EXPECT_EQ(SCRequestImageSettings(sound), scUserCancelled);
  expectSound(sound, {'fl32', UnsignedFixed(22050) << 16, 32, 1});
}

}  // namespace
}  // namespace vqt::sc::test
