// Every PCM layout QuickTime uses, from hand-made bytes with known values, so a wrong
// byte order, signedness or width shows as a wrong float. Layouts that an imported fixture
// has (16-bit both ways, unsigned bytes, mu-law, little-endian 24-bit) are judged against
// ffmpeg's decode in the import tests instead.
#include <gtest/gtest.h>

#include "AudioTestSupport.h"

namespace vqt::audio::test {
namespace {

struct PcmCase {
  const char* name;
  SoundFormat format;
  std::vector<std::uint8_t> bytes;  // two mono frames
  float first, second;
};

SoundFormat classic(FourCC code, std::uint32_t bits, bool enda = false) {
  SoundFormat format;
  format.format = code;
  format.channels = 1;
  format.sampleRate = 8000;
  format.bitsPerChannel = bits;
  format.littleEndianAtom = enda;
  return format;
}
SoundFormat lpcm(std::uint32_t bits, std::uint32_t flags) {
  SoundFormat format = classic(formats::linearPcm, bits);
  format.version = 2;
  format.lpcmFormatFlags = flags | lpcmFlags::isPacked;
  return format;
}

class AudioPcmLayouts : public ::testing::TestWithParam<PcmCase> {};

TEST_P(AudioPcmLayouts, DecodesKnownValues) {
  const PcmCase& c = GetParam();
  auto decoder = decoderFor(c.format, {c.bytes}, {2});
  ASSERT_TRUE(decoder);
  const std::vector<float> out = readFrames(*decoder, 0, 2);
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[0], c.first);
  EXPECT_EQ(out[1], c.second);
}

constexpr std::uint32_t kSigned = lpcmFlags::isSignedInteger;
constexpr std::uint32_t kBig = lpcmFlags::isBigEndian;

INSTANTIATE_TEST_SUITE_P(
    Layouts, AudioPcmLayouts,
    ::testing::Values(
        PcmCase{"twos8", classic('twos', 8), {0x40, 0xC0}, 0.5f, -0.5f},
        PcmCase{"sowtDefaultWidth", classic('sowt', 0), {0x00, 0x40, 0x00, 0xC0}, 0.5f, -0.5f},
        PcmCase{"in24", classic('in24', 24), {0x40, 0, 0, 0xC0, 0, 0}, 0.5f, -0.5f},
        PcmCase{"in24Enda", classic('in24', 24, true), {0, 0, 0x40, 0, 0, 0xC0}, 0.5f, -0.5f},
        PcmCase{"in32", classic('in32', 32), {0x40, 0, 0, 0, 0xC0, 0, 0, 0}, 0.5f, -0.5f},
        PcmCase{"in32Enda", classic('in32', 32, true), {0, 0, 0, 0x40, 0, 0, 0, 0xC0}, 0.5f, -0.5f},
        PcmCase{"fl32", classic('fl32', 32), {0x3F, 0, 0, 0, 0xBF, 0, 0, 0}, 0.5f, -0.5f},
        PcmCase{"fl32Enda", classic('fl32', 32, true), {0, 0, 0, 0x3F, 0, 0, 0, 0xBF}, 0.5f, -0.5f},
        PcmCase{"fl64", classic('fl64', 64), {0x3F, 0xE0, 0, 0, 0, 0, 0, 0, 0xBF, 0xE0, 0, 0, 0, 0, 0, 0}, 0.5f, -0.5f},
        PcmCase{"alaw", classic('alaw', 16), {0xD5, 0x55}, 8.0f / 32768, -8.0f / 32768},
        PcmCase{"lpcmS16Big", lpcm(16, kSigned | kBig), {0x40, 0x00, 0xC0, 0x00}, 0.5f, -0.5f},
        PcmCase{"lpcmU16Little", lpcm(16, 0), {0x00, 0xC0, 0x00, 0x40}, 0.5f, -0.5f},
        PcmCase{"lpcmS8", lpcm(8, kSigned), {0x40, 0xC0}, 0.5f, -0.5f},
        PcmCase{"lpcmU8", lpcm(8, 0), {0xC0, 0x40}, 0.5f, -0.5f},
        PcmCase{"lpcmF64Big",
                lpcm(64, lpcmFlags::isFloat | kBig),
                {0x3F, 0xE0, 0, 0, 0, 0, 0, 0, 0xBF, 0xE0, 0, 0, 0, 0, 0, 0},
                0.5f,
                -0.5f}),
    [](const auto& info) { return std::string(info.param.name); });

// QuickTime stores PCM as one media sample per frame; a track of single-frame packets
// decodes as one stream and seeks to any frame.
TEST(AudioPcmPackets, SingleFramePacketsDecodeAndSeekExactly) {
  SoundFormat format = classic('sowt', 16);
  format.channels = 2;
  std::vector<std::vector<std::uint8_t>> packets;
  for (int i = 0; i < 20000; ++i) {
    const std::uint16_t left = static_cast<std::uint16_t>(i), right = static_cast<std::uint16_t>(-i);
    packets.push_back({static_cast<std::uint8_t>(left), static_cast<std::uint8_t>(left >> 8),
                       static_cast<std::uint8_t>(right), static_cast<std::uint8_t>(right >> 8)});
  }
  auto decoder = decoderFor(format, packets, std::vector<std::uint32_t>(20000, 1));
  ASSERT_TRUE(decoder);
  EXPECT_EQ(decoder->frameCount(), 20000);
  const std::vector<float> all = readFrames(*decoder, 0, 20000);
  ASSERT_EQ(all.size(), 40000u);
  for (int i = 0; i < 20000; i += 997) {
    EXPECT_EQ(all[2 * i], static_cast<std::int16_t>(i) / 32768.0f);
    EXPECT_EQ(all[2 * i + 1], static_cast<std::int16_t>(-i) / 32768.0f);
  }
  const std::vector<float> part = readFrames(*decoder, 12345, 3);
  ASSERT_EQ(part.size(), 6u);
  EXPECT_EQ(part[0], 12345 / 32768.0f);
}

TEST(AudioPcmImportFormats, ClassicCodesWhereVersion0CanSayIt) {
  const PcmLayout s16le{PcmKind::signedInteger, 16, false, formats::littleEndianSigned};
  EXPECT_EQ(pcmSoundFormat(s16le, 2, 48000).format, formats::littleEndianSigned);
  // Version 0 keeps the rate in 16.16, which 96 kHz overflows.
  const SoundFormat high = pcmSoundFormat(s16le, 2, 96000);
  EXPECT_EQ(high.format, formats::linearPcm);
  EXPECT_EQ(high.version, 2);
  EXPECT_EQ(high.lpcmFormatFlags, lpcmFlags::isSignedInteger | lpcmFlags::isPacked);
  // Every description made for import reads back as the layout it was made from.
  for (const PcmLayout layout :
       {s16le, PcmLayout{PcmKind::floatingPoint, 64, true, 0}, PcmLayout{PcmKind::signedInteger, 24, true, 0},
        PcmLayout{PcmKind::aLaw, 8, true, 0}}) {
    const auto back = pcmLayoutOf(pcmSoundFormat(layout, 1, 44100));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->kind, layout.kind);
    EXPECT_EQ(back->bitsPerSample, layout.bitsPerSample);
    if (layout.bitsPerSample > 8) {
      EXPECT_EQ(back->bigEndian, layout.bigEndian);
    }
  }
}

}  // namespace
}  // namespace vqt::audio::test
