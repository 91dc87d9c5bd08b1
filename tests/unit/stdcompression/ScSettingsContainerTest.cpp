// The saved form: settings survive the trip through a container and its text, the layout is the
// documented one, and anything else is refused without touching the instance.
#include <QuickTime/QTAtomContainer.h>

#include <random>
#include <vector>

#include "ScTestSupport.h"

namespace vqt::sc::test {
namespace {

using Bytes = std::vector<UInt8>;

void put32(Bytes& out, UInt32 v) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(UInt8(v >> shift));
}

// A container with the given top-level leaves (type, data), built through the atom calls.
QTAtomContainer containerWith(const std::vector<std::pair<QTAtomType, Bytes>>& leaves) {
  QTAtomContainer c = nullptr;
  EXPECT_EQ(QTNewAtomContainer(&c), noErr);
  QTAtomID id = 1;
  for (const auto& [type, data] : leaves)
    EXPECT_EQ(QTInsertChild(c, kParentAtomIsContainer, type, id++, 0, SInt32(data.size()), data.data(), nullptr), noErr);
  return c;
}

Bytes versionAtom(UInt32 version, OSType kind) {
  Bytes data;
  put32(data, version);
  put32(data, kind);
  return data;
}

OSErr load(ComponentInstance ci, QTAtomContainer c) {
  const OSErr result = OSErr(SCSetSettingsFromAtomContainer(ci, c));
  QTDisposeAtomContainer(c);
  return result;
}

class StandardCompressionSettings : public ::testing::Test {
 protected:
  void SetUp() override {
    SCSpatialSettings spatial{'apcn', nullptr, 24, codecNormalQuality};
    SCTemporalSettings temporal{codecNormalQuality, Long2Fix(24), 1};
    SCSetInfo(image, scSpatialSettingsType, &spatial);
    SCSetInfo(image, scTemporalSettingsType, &temporal);
    before = settingsText(image);
  }
  void expectUnchanged() { EXPECT_EQ(settingsText(image), before); }

  OpenInstance image{StandardCompressionSubType};
  std::string before;
};

TEST_F(StandardCompressionSettings, ImageSettingsSurviveTheTextForm) {
  const Component h264 = compressorOf('avc1');
  SCSpatialSettings spatial{'avc1', h264, 32, 0x2A0};
  SCTemporalSettings temporal{codecHighQuality, kFixed2997, 12};
  SCDataRateSettings dataRate{500000, 1001, codecLowQuality, codecMinQuality};
  ASSERT_EQ(SCSetInfo(image, scSpatialSettingsType, &spatial), noErr);
  ASSERT_EQ(SCSetInfo(image, scTemporalSettingsType, &temporal), noErr);
  ASSERT_EQ(SCSetInfo(image, scDataRateSettingsType, &dataRate), noErr);
  const std::string text = settingsText(image);

  OpenInstance fresh(StandardCompressionSubType);
  ASSERT_EQ(loadText(fresh, text), noErr);
  EXPECT_TRUE(spatialOf(fresh) == spatial);  // the named compressor is found again
  EXPECT_TRUE(temporalOf(fresh) == temporal);
  EXPECT_TRUE(dataRateOf(fresh) == dataRate);
  EXPECT_EQ(settingsText(fresh), text);
}

TEST_F(StandardCompressionSettings, SoundSettingsSurviveTheTextForm) {
  OpenInstance sound(StandardCompressionSubTypeAudio);
  VqtSoundCompressionSettings chosen{'in24', UnsignedFixed(44100) << 16, 24, 1};
  SCSetInfo(sound, scSoundCompressionType, &chosen.compressionType);
  SCSetInfo(sound, scSoundSampleRateType, &chosen.sampleRate);
  SCSetInfo(sound, scSoundSampleSizeType, &chosen.sampleSize);
  SCSetInfo(sound, scSoundChannelCountType, &chosen.channelCount);
  OpenInstance fresh(StandardCompressionSubTypeAudio);
  ASSERT_EQ(loadText(fresh, settingsText(sound)), noErr);
  EXPECT_TRUE(soundOf(fresh) == chosen);
}

TEST_F(StandardCompressionSettings, TheLayoutIsTheDocumentedOne) {
  SCSpatialSettings spatial{'avc1', nullptr, 32, 0x300};
  SCTemporalSettings temporal{0x200, kFixed2997, 12};
  SCSetInfo(image, scSpatialSettingsType, &spatial);
  SCSetInfo(image, scTemporalSettingsType, &temporal);
  QTAtomContainer c = nullptr;
  ASSERT_EQ(SCGetSettingsAsAtomContainer(image, &c), noErr);
  EXPECT_EQ(QTGetNextChildType(c, kParentAtomIsContainer, 0), 'vers');
  auto dataOf = [&](QTAtomType type) {
    SInt32 size = 0;
    Ptr data = nullptr;
    EXPECT_EQ(QTGetAtomDataPtr(c, QTFindChildByID(c, kParentAtomIsContainer, type, 1, nullptr), &size, &data), noErr);
    return Bytes(data, data + size);
  };
  EXPECT_EQ(dataOf('vers'), (Bytes{0, 0, 0, 1, 'i', 'm', 'a', 'g'}));
  EXPECT_EQ(dataOf('sptl'), (Bytes{'a', 'v', 'c', '1', 0, 0, 0, 0, 0, 32, 0, 0, 3, 0}));
  EXPECT_EQ(dataOf('tprl'), (Bytes{0, 0, 2, 0, 0, 0x1D, 0xF8, 0x51, 0, 0, 0, 12}));
  EXPECT_EQ(QTCountChildrenOfType(c, kParentAtomIsContainer, 'drat'), 1);
  EXPECT_EQ(QTCountChildrenOfType(c, kParentAtomIsContainer, 0), 4);
  QTDisposeAtomContainer(c);
}

TEST_F(StandardCompressionSettings, AContainerChangesOnlyWhatItHolds) {
  Bytes temporal;
  put32(temporal, codecHighQuality);
  put32(temporal, UInt32(Long2Fix(50)));
  put32(temporal, 25);
  const SCSpatialSettings spatial = spatialOf(image);
  ASSERT_EQ(load(image, containerWith({{'vers', versionAtom(1, 'imag')}, {'tprl', temporal}, {'futr', {1, 2, 3}}})), noErr);
  EXPECT_TRUE(spatialOf(image) == spatial);
  EXPECT_TRUE(temporalOf(image) == (SCTemporalSettings{codecHighQuality, Long2Fix(50), 25}));
  // Only the version atom: nothing changes.
  const std::string now = settingsText(image);
  ASSERT_EQ(load(image, containerWith({{'vers', versionAtom(1, 'imag')}})), noErr);
  EXPECT_EQ(settingsText(image), now);
}

TEST_F(StandardCompressionSettings, VersionsAreCheckedFirst) {
  EXPECT_EQ(load(image, containerWith({{'vers', versionAtom(2, 'imag')}, {'sptl', Bytes(14, 0)}})), codecDataVersErr);
  EXPECT_EQ(load(image, containerWith({{'vers', versionAtom(0, 'imag')}})), invalidAtomErr);
  EXPECT_EQ(load(image, containerWith({{'sptl', Bytes(14, 0)}, {'vers', versionAtom(1, 'imag')}})), invalidAtomErr);
  EXPECT_EQ(load(image, containerWith({{'tprl', Bytes(12, 0)}})), invalidAtomErr);
  EXPECT_EQ(load(image, containerWith({{'vers', versionAtom(1, 'audi')}})), badComponentType);
  expectUnchanged();
}

TEST_F(StandardCompressionSettings, FieldsOfTheWrongSizeRefuseTheWholeContainer) {
  Bytes temporal;
  put32(temporal, codecMaxQuality);
  put32(temporal, UInt32(Long2Fix(30)));
  put32(temporal, 2);
  // A good temporal atom does not get applied when the spatial one after it is bad.
  EXPECT_EQ(load(image, containerWith({{'vers', versionAtom(1, 'imag')}, {'tprl', temporal}, {'sptl', Bytes(13, 0)}})),
            invalidAtomErr);
  EXPECT_EQ(load(image, containerWith({{'vers', Bytes(9, 0)}})), invalidAtomErr);
  // Two atoms of one type (different IDs) are ambiguous.
  EXPECT_EQ(load(image, containerWith({{'vers', versionAtom(1, 'imag')}, {'tprl', temporal}, {'tprl', temporal}})),
            invalidAtomErr);
  expectUnchanged();
}

TEST_F(StandardCompressionSettings, GarbageTextIsRefused) {
  const std::vector<std::string> garbage = {
      "", "00", "zz", "0123456789abcdef", "ZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZZ",
      before.substr(0, before.size() - 2), before + "00", before.substr(0, 40) + "ff" + before.substr(42)};
  for (const std::string& text : garbage) EXPECT_NE(loadText(image, text), noErr) << text;
  std::mt19937 random(6);
  for (int round = 0; round < 2000; ++round) {
    std::string text = before;
    for (int i = 0; i < 3; ++i) text[random() % text.size()] = "0123456789abcdefxyz"[random() % 19];
    loadText(image, text);  // may be accepted (a changed value) but never crashes
    std::string noise(2 * (random() % 200), '0');
    for (char& c : noise) c = "0123456789abcdef"[random() % 16];
    EXPECT_NE(loadText(image, noise), noErr);
  }
  EXPECT_EQ(SCSetSettingsFromAtomContainer(image, nullptr), paramErr);
}

TEST_F(StandardCompressionSettings, TheInstancesOwnSettingsLoadBackUnchanged) {
  QTAtomContainer own = nullptr;
  ASSERT_EQ(SCGetSettingsAsAtomContainer(image, &own), noErr);
  EXPECT_EQ(SCSetSettingsFromAtomContainer(image, own), noErr);
  QTDisposeAtomContainer(own);
  expectUnchanged();
}

}  // namespace
}  // namespace vqt::sc::test
