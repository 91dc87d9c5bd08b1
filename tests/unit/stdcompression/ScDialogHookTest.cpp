// Requests through the dialog hook: what the hook is shown, when its answer is applied, and that
// without a hook (or without an OK) nothing changes.
#include <stdexcept>

#include "ScTestSupport.h"

namespace vqt::sc::test {
namespace {

class ScriptedHook : public VqtStandardCompressionDialogHook {
 public:
  VqtDialogAnswer answer = VqtDialogAnswer::ok;
  bool throws = false;
  int calls = 0;
  bool lastMotion = false;
  VqtImageCompressionSettings shownImage;
  VqtSoundCompressionSettings shownSound;
  bool shownVariableBitRateOK = false, shownRateChangeOK = false;
  VqtImageCompressionSettings imageChoice;
  VqtSoundCompressionSettings soundChoice;

  VqtDialogAnswer requestImageSettings(VqtImageCompressionSettings& settings, bool motion) override {
    ++calls;
    lastMotion = motion;
    shownImage = settings;
    settings = imageChoice;  // written even when the answer is not ok
    if (throws) throw std::runtime_error("dialog failed");
    return answer;
  }
  VqtDialogAnswer requestSoundSettings(VqtSoundCompressionSettings& settings, bool variableBitRateOK,
                                       bool sampleRateChangeOK) override {
    ++calls;
    shownSound = settings;
    shownVariableBitRateOK = variableBitRateOK;
    shownRateChangeOK = sampleRateChangeOK;
    settings = soundChoice;
    return answer;
  }
};

class StandardCompressionDialog : public ::testing::Test {
 protected:
  void SetUp() override {
    SCSpatialSettings spatial{'apcn', nullptr, 32, codecHighQuality};
    SCTemporalSettings temporal{codecHighQuality, kFixed2997, 1};
    SCSetInfo(image, scSpatialSettingsType, &spatial);
    SCSetInfo(image, scTemporalSettingsType, &temporal);
    hook->imageChoice.spatial = {'avc1', compressorOf('apcn'), 24, 0x2A0};
    hook->imageChoice.temporal = {0x2A0, Long2Fix(50), 48};
    hook->imageChoice.dataRate = {1000, 0, 0, 0};
    hook->soundChoice = {'fl32', UnsignedFixed(22050) << 16, 32, 1};
    before = settingsText(image);
    VqtSetStandardCompressionDialogHook(hook);
  }
  void TearDown() override { VqtSetStandardCompressionDialogHook(nullptr); }

  OpenInstance image{StandardCompressionSubType};
  std::shared_ptr<ScriptedHook> hook = std::make_shared<ScriptedHook>();
  std::string before;
};

TEST_F(StandardCompressionDialog, WithoutAHookRequestsAreCancelled) {
  VqtSetStandardCompressionDialogHook(nullptr);
  EXPECT_EQ(SCRequestSequenceSettings(image), scUserCancelled);
  EXPECT_EQ(SCRequestImageSettings(image), scUserCancelled);
  OpenInstance sound(StandardCompressionSubTypeAudio);
  EXPECT_EQ(SCRequestImageSettings(sound), scUserCancelled);
  EXPECT_EQ(settingsText(image), before);
  EXPECT_EQ(hook->calls, 0);
}

TEST_F(StandardCompressionDialog, TheHookSeesTheSettingsAndOkAppliesItsChoice) {
  ASSERT_EQ(SCRequestSequenceSettings(image), noErr);
  EXPECT_TRUE(hook->lastMotion);
  EXPECT_TRUE(hook->shownImage.spatial == (SCSpatialSettings{'apcn', nullptr, 32, codecHighQuality}));
  EXPECT_TRUE(hook->shownImage.temporal == (SCTemporalSettings{codecHighQuality, kFixed2997, 1}));
  // The compressor left over from the old codec type is replaced by one of the chosen type.
  EXPECT_TRUE(spatialOf(image) == (SCSpatialSettings{'avc1', compressorOf('avc1'), 24, 0x2A0}));
  EXPECT_TRUE(temporalOf(image) == hook->imageChoice.temporal);
  EXPECT_TRUE(dataRateOf(image) == hook->imageChoice.dataRate);

  ASSERT_EQ(SCRequestImageSettings(image), noErr);
  EXPECT_FALSE(hook->lastMotion);
}

TEST_F(StandardCompressionDialog, CancelNoDisplayAndFailuresChangeNothing) {
  for (VqtDialogAnswer answer : {VqtDialogAnswer::cancel, VqtDialogAnswer::noDisplay}) {
    hook->answer = answer;
    EXPECT_EQ(SCRequestSequenceSettings(image), scUserCancelled);
    EXPECT_EQ(settingsText(image), before);
  }
  hook->answer = VqtDialogAnswer::ok;
  hook->throws = true;
  EXPECT_EQ(SCRequestSequenceSettings(image), scUserCancelled);
  EXPECT_EQ(settingsText(image), before);
  EXPECT_EQ(hook->calls, 3);
}

TEST_F(StandardCompressionDialog, TheSoundDialogGetsTheCallersPermissions) {
  OpenInstance sound(StandardCompressionSubTypeAudio);
  Boolean yes = 1;
  SCSetInfo(sound, scSoundSampleRateChangeOK, &yes);
  ASSERT_EQ(SCRequestImageSettings(sound), noErr);
  EXPECT_FALSE(hook->shownVariableBitRateOK);
  EXPECT_TRUE(hook->shownRateChangeOK);
  EXPECT_TRUE(hook->shownSound == (VqtSoundCompressionSettings{'twos', UnsignedFixed(48000) << 16, 16, 2}));
  EXPECT_TRUE(soundOf(sound) == hook->soundChoice);

  hook->answer = VqtDialogAnswer::cancel;
  hook->soundChoice = {'twos', 0, 8, 9};
  EXPECT_EQ(SCRequestSequenceSettings(sound), scUserCancelled);
  EXPECT_TRUE(soundOf(sound) == (VqtSoundCompressionSettings{'fl32', UnsignedFixed(22050) << 16, 32, 1}));
}

}  // namespace
}  // namespace vqt::sc::test
