#include <QuickTime/ImageDescription.h>
#include <QuickTime/SoundDescription.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace {

std::vector<UInt8> atom(const char* type, std::vector<UInt8> payload) {
  std::vector<UInt8> out(8 + payload.size());
  out[3] = UInt8(out.size());
  std::memcpy(&out[4], type, 4);
  std::copy(payload.begin(), payload.end(), out.begin() + 8);
  return out;
}

// An 'apch' 1920x1080 entry as a file stores it, followed by `extensions`.
std::vector<UInt8> fileEntry(const std::vector<UInt8>& extensions) {
  std::vector<UInt8> e(86 + extensions.size(), 0);
  std::memcpy(&e[4], "apch", 4);
  e[15] = 1;                   // data reference index
  e[32] = 0x07, e[33] = 0x80;  // 1920
  e[34] = 0x04, e[35] = 0x38;  // 1080
  e[36] = 0, e[37] = 72;       // 72 dpi
  e[40] = 0, e[41] = 72;
  e[49] = 1;  // frame count
  e[50] = 3, e[51] = 'A', e[52] = 'B', e[53] = 'C';
  e[83] = 24;                  // depth
  e[84] = 0xFF, e[85] = 0xFF;  // no colour table
  std::copy(extensions.begin(), extensions.end(), e.begin() + 86);
  const size_t n = e.size();
  e[0] = UInt8(n >> 24), e[1] = UInt8(n >> 16), e[2] = UInt8(n >> 8), e[3] = UInt8(n);
  return e;
}

}  // namespace

TEST(ImageDescriptions, RoundTripFileEntriesByteForByte) {
  auto ext = atom("fiel", {1, 0});
  auto colr = atom("colr", {'n', 'c', 'l', 'c', 0, 1, 0, 1, 0, 1});
  ext.insert(ext.end(), colr.begin(), colr.end());
  const auto entry = fileEntry(ext);
  ImageDescriptionHandle desc = nullptr;
  ASSERT_EQ(VqtImageDescriptionFromFile(entry.data(), entry.size(), &desc), noErr);
  EXPECT_EQ((*desc)->cType, 'apch');
  EXPECT_EQ((*desc)->width, 1920);
  EXPECT_EQ((*desc)->height, 1080);
  EXPECT_EQ((*desc)->depth, 24);
  EXPECT_EQ(VqtImageDescriptionToFile(desc), entry);

  NCLCColorInfoImageDescriptionExtension nclc{};
  ASSERT_EQ(ICMImageDescriptionGetProperty(desc, kQTPropertyClass_ImageDescription,
                                           kICMImageDescriptionPropertyID_NCLCColorInfo, sizeof nclc, &nclc, nullptr),
            noErr);
  EXPECT_EQ(nclc.matrix, kQTMatrix_ITU_R_709_2);
  DisposeHandle(reinterpret_cast<Handle>(desc));
}

TEST(ImageDescriptions, PixelAspectDefaultsToSquareAndIsReplacedNotDuplicated) {
  ImageDescriptionHandle desc = VqtNewImageDescription('apcn', 720, 480);
  PixelAspectRatioImageDescriptionExtension pasp{};
  ASSERT_EQ(ICMImageDescriptionGetProperty(desc, 'idsc', 'pasp', 8, &pasp, nullptr), noErr);
  EXPECT_EQ(pasp.hSpacing, 1u);
  EXPECT_EQ(pasp.vSpacing, 1u);
  for (UInt32 h : {2000u, 1333u}) {
    PixelAspectRatioImageDescriptionExtension value{h, 1000};
    ASSERT_EQ(ICMImageDescriptionSetProperty(desc, 'idsc', 'pasp', 8, &value), noErr);
  }
  long count = 0;
  CountImageDescriptionExtensionType(desc, 'pasp', &count);
  EXPECT_EQ(count, 1);
  ASSERT_EQ(ICMImageDescriptionGetProperty(desc, 'idsc', 'pasp', 8, &pasp, nullptr), noErr);
  EXPECT_EQ(pasp.hSpacing, 1333u);
  const auto bytes = VqtImageDescriptionToFile(desc);
  ASSERT_EQ(bytes.size(), 86u + 16u);
  EXPECT_EQ(std::memcmp(&bytes[86 + 4], "pasp", 4), 0);
  EXPECT_EQ(ICMImageDescriptionGetProperty(desc, 'idsc', 'pasp', 4, &pasp, nullptr), kQTPropertyBadValueSizeErr);
  EXPECT_EQ(ICMImageDescriptionGetProperty(desc, 'idsc', 'zzzz', 8, &pasp, nullptr), kQTPropertyNotSupportedErr);
  DisposeHandle(reinterpret_cast<Handle>(desc));
}

TEST(ImageDescriptions, ExtensionsAreCountedFetchedAndRemovedByType) {
  ImageDescriptionHandle desc = VqtNewImageDescription('avc1', 64, 64);
  Handle avcC = nullptr;
  PtrToHand("\x01\x64\x00\x1f", &avcC, 4);
  ASSERT_EQ(AddImageDescriptionExtension(desc, avcC, 'avcC'), noErr);
  ASSERT_EQ(AddImageDescriptionExtension(desc, avcC, 'glbl'), noErr);
  ASSERT_EQ(AddImageDescriptionExtension(desc, avcC, 'avcC'), noErr);
  long count = 0;
  CountImageDescriptionExtensionType(desc, 'avcC', &count);
  EXPECT_EQ(count, 2);
  Handle fetched = nullptr;
  ASSERT_EQ(GetImageDescriptionExtension(desc, &fetched, 'avcC', 2), noErr);
  EXPECT_EQ(GetHandleSize(fetched), 4);
  EXPECT_EQ(std::memcmp(*fetched, *avcC, 4), 0);
  DisposeHandle(fetched);
  EXPECT_EQ(GetImageDescriptionExtension(desc, &fetched, 'avcC', 3), codecExtensionNotFoundErr);
  long type = 0;
  GetNextImageDescriptionExtensionType(desc, &type);
  EXPECT_EQ(type, long('avcC'));
  ASSERT_EQ(RemoveImageDescriptionExtension(desc, 'avcC', 0), noErr);
  CountImageDescriptionExtensionType(desc, 0, &count);
  EXPECT_EQ(count, 1);
  EXPECT_EQ((*desc)->idSize, 86 + 12);
  DisposeHandle(avcC);
  DisposeHandle(reinterpret_cast<Handle>(desc));
}

TEST(ImageDescriptions, DamagedExtensionAreaIsBoundedNotTrusted) {
  auto ext = atom("pasp", {0, 0, 0, 4, 0, 0, 0, 3});
  ext.insert(ext.end(), {0, 0, 0x10, 0, 'b', 'a', 'd', '!'});  // claims 4 KB, holds nothing
  const auto entry = fileEntry(ext);
  ImageDescriptionHandle desc = nullptr;
  ASSERT_EQ(VqtImageDescriptionFromFile(entry.data(), entry.size(), &desc), noErr);
  long count = -1;
  CountImageDescriptionExtensionType(desc, 0, &count);
  EXPECT_EQ(count, 1);
  PixelAspectRatioImageDescriptionExtension pasp{};
  ASSERT_EQ(ICMImageDescriptionGetProperty(desc, 'idsc', 'pasp', 8, &pasp, nullptr), noErr);
  EXPECT_EQ(pasp.hSpacing, 4u);
  EXPECT_EQ(pasp.vSpacing, 3u);
  DisposeHandle(reinterpret_cast<Handle>(desc));
  EXPECT_EQ(VqtImageDescriptionFromFile(entry.data(), 85, &desc), paramErr);
}

TEST(SoundDescriptions, VersionTwoRoundTripsWithItsExtensions) {
  std::vector<UInt8> e(72, 0);
  std::memcpy(&e[4], "lpcm", 4);
  e[15] = 1;
  e[17] = 2;  // version 2
  e[25] = 3, e[27] = 16, e[28] = 0xFF, e[29] = 0xFE, e[34] = 1;
  e[39] = 72;  // size of struct only
  const double rate = 48000.0;
  UInt64 bits;
  std::memcpy(&bits, &rate, 8);
  for (int i = 0; i < 8; ++i) e[40 + i] = UInt8(bits >> (56 - 8 * i));
  e[51] = 6;  // channels
  e[52] = 0x7F;
  e[59] = 32;  // bits per channel
  e[63] = 9;   // float, packed
  e[67] = 24;  // bytes per packet
  e[71] = 1;
  auto chan = atom("chan", std::vector<UInt8>(12, 0));
  e.insert(e.end(), chan.begin(), chan.end());
  e[3] = UInt8(e.size());
  SoundDescriptionHandle desc = nullptr;
  ASSERT_EQ(VqtSoundDescriptionFromFile(e.data(), e.size(), &desc), noErr);
  auto* v2 = reinterpret_cast<SoundDescriptionV2*>(*desc);
  EXPECT_EQ(v2->version, 2);
  EXPECT_EQ(v2->audioSampleRate, 48000.0);
  EXPECT_EQ(v2->numAudioChannels, 6u);
  EXPECT_EQ(v2->constBytesPerAudioPacket, 24u);
  EXPECT_EQ(VqtSoundDescriptionToFile(desc), e);
  DisposeHandle(reinterpret_cast<Handle>(desc));
  EXPECT_EQ(VqtSoundDescriptionFromFile(e.data(), 60, &desc), paramErr);
}
