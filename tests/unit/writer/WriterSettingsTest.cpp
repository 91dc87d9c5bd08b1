// Compression settings on a real writer state: plain values, settings texts
// through the standard compression component, the codec catalogue accessors
// and the dialogs when no dialog is installed.
#include <QuickTime/StandardCompressionDialog.h>
#include <gtest/gtest.h>

#include "QuickTimeCodecWriterPrivate.h"
#include "SettingsText.h"

using namespace Vantor::QuickTime;

TEST(SetCompressionSettings, RatesBecomeFixedAndTimeScales) {
  QuickTimeCodecWriterPrivate w;
  w.setCompressionSettings(1920, 1080, 29.97f, -1, -1, false, "");
  EXPECT_EQ(w.width, 1920);
  EXPECT_EQ(w.height, 1080);
  EXPECT_EQ(w.keyFrameRate, 1);
  EXPECT_EQ(w.spatialQuality, 0x200u);
  EXPECT_EQ(w.frameRate, 1964113);
  EXPECT_EQ(w.timeScale, 30000);
  EXPECT_EQ(w.frameDuration, 1001);
  EXPECT_EQ(w.channels, 3);

  struct Case {
    float rate;
    Fixed fixed;
    SInt32 scale, duration;
  } cases[] = {{12.5f, 0x000C8000, 1200, 100},
               {23.976f, static_cast<Fixed>(23.976f * 65536.0f), 23976, 1000},
               {59.94f, static_cast<Fixed>(59.94f * 65536.0f), 60000, 1001},
               {25.0f, 25 << 16, 2500, 100}};
  for (const Case& c : cases) {
    w.setCompressionSettings(64, 64, c.rate, 1, 2, true, "");
    EXPECT_EQ(w.frameRate, c.fixed) << c.rate;
    EXPECT_EQ(w.timeScale, c.scale) << c.rate;
    EXPECT_EQ(w.frameDuration, c.duration) << c.rate;
    EXPECT_EQ(w.channels, 4);
  }
}

TEST(SetCompressionSettings, PlainValuesWinOverTheText) {
  QuickTimeCodecWriterPrivate w;
  w.setCompressionSettings(64, 64, 24.0f, -1, 3, true, "00ff");
  EXPECT_EQ(w.keyFrameRate, -1);
  EXPECT_EQ(w.spatialQuality, 0x300u);
  EXPECT_EQ(w.settingsText, "00ff");
  EXPECT_EQ(w.codecType, static_cast<CodecType>('apcn'));
  // A quality index outside the table keeps the normal level.
  w.setCompressionSettings(64, 64, 24.0f, 5, 9, true, "");
  EXPECT_EQ(w.spatialQuality, 0x200u);
}

TEST(SettingsText, StateSurvivesTheTextRoundTrip) {
  QuickTimeCodecWriterPrivate source;
  source.codecType = 'avc1';
  source.spatialQuality = 0x300;
  source.frameRate = 25 << 16;
  source.keyFrameRate = 12;
  source.dataRate = 500000;
  const std::string text = source.getCompressionSettings("");
  ASSERT_FALSE(text.empty());
  EXPECT_EQ(text.find_first_not_of("0123456789abcdef"), std::string::npos);

  QuickTimeCodecWriterPrivate target;
  target.setCompressionSettings(320, 240, 24.0f, -1, -1, true, text);
  EXPECT_EQ(target.codecType, static_cast<CodecType>('avc1'));
  EXPECT_EQ(target.spatialQuality, 0x300u);
  EXPECT_EQ(target.frameRate, 25 << 16);
  EXPECT_EQ(target.timeScale, 2500);
  EXPECT_EQ(target.frameDuration, 100);
  EXPECT_EQ(target.keyFrameRate, 12);
  EXPECT_EQ(target.getQualityIndex(), 3);
  EXPECT_EQ(target.dataRate, 500000);
  // The component turns the text's data rate into the session's average data rate.
  ComponentInstance ci = OpenDefaultComponent(StandardCompressionType, StandardCompressionSubType);
  ASSERT_NE(ci, nullptr);
  Handle settings = decodeSettingsText(text);
  ASSERT_NE(settings, nullptr);
  ASSERT_EQ(SCSetSettingsFromAtomContainer(ci, settings), noErr);
  DisposeHandle(settings);
  ICMCompressionSessionOptionsRef options = nullptr;
  ASSERT_EQ(SCCopyCompressionSessionOptions(ci, &options), noErr);
  CloseComponent(ci);
  SInt32 rate = 0;
  EXPECT_EQ(ICMCompressionSessionOptionsGetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions,
                                                    kICMCompressionSessionOptionsPropertyID_AverageDataRate,
                                                    sizeof rate, &rate, nullptr),
            noErr);
  EXPECT_EQ(rate, 500000);
  ICMCompressionSessionOptionsRelease(options);
  // A text without a rate (the state's 0) gives the rate back to the quality.
  source.dataRate = 0;
  target.setCompressionSettings(320, 240, 24.0f, -1, -1, true, source.getCompressionSettings(""));
  EXPECT_EQ(target.dataRate, 0);
  // A text wins over the state where it holds a value.
  EXPECT_EQ(QuickTimeCodecWriterPrivate().getCompressionSettings(text), text);
}

TEST(SettingsText, GarbageIsRefusedWithoutChangingTheState) {
  QuickTimeCodecWriterPrivate w;
  for (const char* garbage : {"zz", "00", "ffffffffffffffff", "0000000c6b65796600000000"}) {
    w.setCompressionSettings(64, 64, 30.0f, -1, -1, true, garbage);
    EXPECT_EQ(w.codecType, static_cast<CodecType>('apcn')) << garbage;
    EXPECT_EQ(w.frameRate, 30 << 16) << garbage;
    EXPECT_EQ(w.keyFrameRate, 1) << garbage;
    EXPECT_EQ(w.getCompressionDescription(garbage).find('\n'), std::string::npos);
  }
}

TEST(Dialogs, WithoutADialogTheStoredTextComesBack) {
  QuickTimeCodecWriterPrivate w;
  const std::string text = w.getCompressionSettings("");
  w.setCompressionSettings(64, 64, 24.0f, -1, -1, true, text);
  EXPECT_EQ(w.requestCompressionSettings(""), text);
  EXPECT_EQ(w.requestAudioSettings(""), "");
}

namespace {

// A user who picks H.264 at 25 fps, high quality, a key frame every 50, or
// cancels, as scripted.
struct ScriptedUser : VqtStandardCompressionDialogHook {
  VqtDialogAnswer answer = VqtDialogAnswer::ok;
  VqtDialogAnswer requestImageSettings(VqtImageCompressionSettings& settings, bool) override {
    if (answer == VqtDialogAnswer::ok) {
      settings.spatial.codecType = 'avc1';
      settings.spatial.spatialQuality = codecHighQuality;
      settings.temporal.frameRate = 25 << 16;
      settings.temporal.keyFrameRate = 50;
    }
    return answer;
  }
  VqtDialogAnswer requestSoundSettings(VqtSoundCompressionSettings& settings, bool, bool) override {
    settings.sampleRate = 44100u << 16;
    return answer;
  }
};

}  // namespace

TEST(Dialogs, AnAcceptedChoiceBecomesTheStateButNotTheStoredText) {
  auto user = std::make_shared<ScriptedUser>();
  VqtSetStandardCompressionDialogHook(user);
  QuickTimeCodecWriterPrivate w;
  const std::string given = w.getCompressionSettings("");
  w.setCompressionSettings(64, 64, 24.0f, -1, -1, true, given);
  const std::string chosen = w.requestCompressionSettings("");
  EXPECT_NE(chosen, given);
  EXPECT_EQ(w.codecType, static_cast<CodecType>('avc1'));
  EXPECT_EQ(w.getQualityIndex(), 3);
  EXPECT_EQ(w.getFrameRate(), 25.0f);
  EXPECT_EQ(w.timeScale, 2500);
  EXPECT_EQ(w.keyFrameRate, 50);
  EXPECT_EQ(w.settingsText, given);
  EXPECT_FALSE(w.requestAudioSettings("").empty());

  // A later cancel returns the text given to setCompressionSettings.
  user->answer = VqtDialogAnswer::cancel;
  EXPECT_EQ(w.requestCompressionSettings(chosen), given);
  EXPECT_EQ(w.requestAudioSettings(""), "");
  VqtSetStandardCompressionDialogHook(nullptr);
}

TEST(CodecCatalogue, IndexRules) {
  QuickTimeCodecWriterPrivate w;
  const int count = w.codecCount();
  ASSERT_GT(count, 0);
  const char** names = w.getCodecNames();
  ASSERT_NE(names, nullptr);
  EXPECT_EQ(names[count], nullptr);

  const int apcn = w.getCodecIndex();
  ASSERT_GE(apcn, 0);
  EXPECT_EQ(w.codecTypeAt(apcn), static_cast<CodecType>('apcn'));
  w.pixelFormat = 'r4fl';
  w.setCodecIndex(-1);
  w.setCodecIndex(count);
  EXPECT_EQ(w.codecType, static_cast<CodecType>('apcn'));
  EXPECT_EQ(w.pixelFormat, static_cast<OSType>('r4fl'));
  const int other = apcn == 0 ? 1 : 0;
  w.setCodecIndex(other);
  EXPECT_EQ(w.codecType, w.codecTypeAt(other));
  EXPECT_EQ(w.pixelFormat, 0u);
  w.codecType = 'none';
  EXPECT_EQ(w.getCodecIndex(), -1);
}

TEST(CodecCatalogue, DescriptionWithoutAComponentIsEmpty) {
  QuickTimeCodecWriterPrivate w;
  w.setCompressionSettings(64, 64, 29.97f, 1, 3, true, "");
  // Settings that name no particular compressor component describe nothing.
  EXPECT_EQ(w.getCompressionDescription(""), "");
}
