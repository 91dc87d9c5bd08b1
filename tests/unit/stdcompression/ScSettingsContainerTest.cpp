// The saved form: settings survive the text, the layout is the documented one, and anything
// else is refused without touching the instance.
#include <vector>

#include "ScTestSupport.h"

namespace vqt::sc::test {
namespace {

using Bytes = std::vector<UInt8>;

Bytes be32(std::initializer_list<UInt32> values) {
  Bytes out;
  for (UInt32 v : values)
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(UInt8(v >> shift));
  return out;
}

// Loads a container of the given top-level leaves (IDs 1, 2, ...).
OSErr loadLeaves(ComponentInstance ci, const std::vector<std::pair<QTAtomType, Bytes>>& leaves) {
  QTAtomContainer c = nullptr;
  QTNewAtomContainer(&c);
  QTAtomID id = 1;
  for (const auto& [type, data] : leaves) QTInsertChild(c, 0, type, id++, 0, SInt32(data.size()), data.data(), nullptr);
  const auto result = OSErr(SCSetSettingsFromAtomContainer(ci, c));
  QTDisposeAtomContainer(c);
  return result;
}

class StandardCompressionSettings : public ::testing::Test {
 protected:
  OpenInstance image{StandardCompressionSubType};
  const Bytes version1 = be32({1, 'imag'});
};

TEST_F(StandardCompressionSettings, SettingsSurviveTheTextForm) {
  const SCSpatialSettings spatial{'avc1', compressorOf('avc1'), 32, 0x2A0};
  const SCTemporalSettings temporal{codecHighQuality, kFixed2997, 12};
  setInfo(image, scSpatialSettingsType, spatial);
  setInfo(image, scTemporalSettingsType, temporal);
  setInfo(image, scDataRateSettingsType, SCDataRateSettings{500000, 1001, codecLowQuality, codecMinQuality});
  OpenInstance fresh(StandardCompressionSubType);
  ASSERT_EQ(loadText(fresh, settingsText(image)), noErr);
  expectSpatial(fresh, spatial);  // the named compressor is found again
  expectTemporal(fresh, temporal);
  EXPECT_EQ(info<SCDataRateSettings>(fresh, scDataRateSettingsType).dataRate, 500000);
  EXPECT_EQ(settingsText(fresh), settingsText(image));

  OpenInstance sound(StandardCompressionSubTypeAudio);
  OpenInstance freshSound(StandardCompressionSubTypeAudio);
  setInfo<OSType>(sound, scSoundCompressionType, 'in24');
  setInfo<UnsignedFixed>(sound, scSoundSampleRateType, UnsignedFixed(44100) << 16);
  setInfo<SInt16>(sound, scSoundSampleSizeType, 24);
  setInfo<SInt16>(sound, scSoundChannelCountType, 1);
  ASSERT_EQ(loadText(freshSound, settingsText(sound)), noErr);
  expectSound(freshSound, {'in24', UnsignedFixed(44100) << 16, 24, 1});
  EXPECT_EQ(loadText(image, settingsText(sound)), badComponentType);
}

TEST_F(StandardCompressionSettings, TheLayoutIsTheDocumentedOne) {
  setInfo(image, scSpatialSettingsType, SCSpatialSettings{'avc1', nullptr, 32, 0x300});
  setInfo(image, scTemporalSettingsType, SCTemporalSettings{0x200, kFixed2997, 12});
  QTAtomContainer c = nullptr;
  ASSERT_EQ(SCGetSettingsAsAtomContainer(image, &c), noErr);
  EXPECT_EQ(QTGetNextChildType(c, kParentAtomIsContainer, 0), 'vers');
  EXPECT_EQ(QTCountChildrenOfType(c, kParentAtomIsContainer, 0), 4);
  auto dataOf = [&](QTAtomType type) {
    SInt32 size = 0;
    Ptr data = nullptr;
    EXPECT_EQ(QTGetAtomDataPtr(c, QTFindChildByID(c, kParentAtomIsContainer, type, 1, nullptr), &size, &data), noErr);
    return Bytes(data, data + size);
  };
  EXPECT_EQ(dataOf('vers'), version1);
  EXPECT_EQ(dataOf('sptl'), (Bytes{'a', 'v', 'c', '1', 0, 0, 0, 0, 0, 32, 0, 0, 3, 0}));
  EXPECT_EQ(dataOf('tprl'), be32({0x200, 0x1DF851, 12}));
  EXPECT_EQ(dataOf('drat'), Bytes(16, 0));
  QTDisposeAtomContainer(c);
}

TEST_F(StandardCompressionSettings, AContainerChangesOnlyWhatItHolds) {
  setInfo(image, scSpatialSettingsType, SCSpatialSettings{'png ', nullptr, 24, 0x123});
  ASSERT_EQ(loadLeaves(image, {{'vers', version1}, {'tprl', be32({0x300, 0x320000, 25})}, {'futr', {1, 2}}}), noErr);
  expectSpatial(image, {'png ', nullptr, 24, 0x123});
  expectTemporal(image, {0x300, 0x320000, 25});
}

TEST_F(StandardCompressionSettings, AnythingElseIsRefusedAndChangesNothing) {
  const std::string before = settingsText(image);
  const Bytes goodTemporal = be32({0x3FF, 0x1E0000, 2});
  EXPECT_EQ(loadLeaves(image, {{'vers', be32({2, 'imag'})}, {'tprl', goodTemporal}}), codecDataVersErr);
  EXPECT_EQ(loadLeaves(image, {{'vers', be32({0, 'imag'})}}), invalidAtomErr);
  EXPECT_EQ(loadLeaves(image, {{'tprl', goodTemporal}, {'vers', version1}}), invalidAtomErr);  // version not first
  EXPECT_EQ(loadLeaves(image, {{'vers', version1}, {'tprl', goodTemporal}, {'sptl', Bytes(13, 0)}}), invalidAtomErr);
  EXPECT_EQ(loadLeaves(image, {{'vers', version1}, {'tprl', goodTemporal}, {'tprl', goodTemporal}}), invalidAtomErr);
  for (const std::string& text : {std::string(), std::string("zz"), before + "00", before.substr(0, before.size() - 2),
                                  before.substr(0, 40) + "ff" + before.substr(42)})
    EXPECT_NE(loadText(image, text), noErr) << text;
  EXPECT_EQ(settingsText(image), before);
}

}  // namespace
}  // namespace vqt::sc::test
