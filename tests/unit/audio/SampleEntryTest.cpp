// Sound sample descriptions as movie files store them, read into SoundFormat.
#include <gtest/gtest.h>

#include <bit>

#include "AudioTestSupport.h"
#include "vqt/audio/SampleEntry.h"
#include "EsDescriptor.h"

namespace vqt::audio::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

void put16(Bytes& out, std::uint32_t v) {
  out.push_back(v >> 8);
  out.push_back(v & 0xFF);
}
void put32(Bytes& out, std::uint32_t v) {
  put16(out, v >> 16);
  put16(out, v & 0xFFFF);
}
Bytes atom(FourCC type, const Bytes& payload) {
  Bytes out;
  put32(out, static_cast<std::uint32_t>(payload.size() + 8));
  put32(out, type);
  out.insert(out.end(), payload.begin(), payload.end());
  return out;
}
Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// The common header, then version 0 or 1 fields, then extensions; the size is patched.
Bytes entry(FourCC format, int version, int channels, int bits, std::uint32_t rate, const Bytes& extensions = {}) {
  Bytes out;
  put32(out, 0);
  put32(out, format);
  out.insert(out.end(), 6, 0);
  put16(out, 1);
  put16(out, version);
  put16(out, 0);
  put32(out, 0);
  put16(out, channels);
  put16(out, bits);
  put16(out, version == 1 ? 0xFFFE : 0);
  put16(out, 0);
  put32(out, rate << 16);
  if (version == 1) {
    put32(out, 1);
    put32(out, bits / 8);
    put32(out, channels * bits / 8);
    put32(out, 2);
  }
  out = out + extensions;
  const std::uint32_t size = static_cast<std::uint32_t>(out.size());
  out[0] = size >> 24, out[1] = size >> 16, out[2] = size >> 8, out[3] = size;
  return out;
}

Bytes version2(FourCC format, double rate, int channels, int bits, std::uint32_t flags, std::uint32_t bytesPerFrame) {
  Bytes out;
  put32(out, 72);
  put32(out, format);
  out.insert(out.end(), 6, 0);
  put16(out, 1);
  put16(out, 2);
  put16(out, 0);
  put32(out, 0);
  put16(out, 3), put16(out, 16), put16(out, 0xFFFE), put16(out, 0);
  put32(out, 65536), put32(out, 72);
  const std::uint64_t rateBits = std::bit_cast<std::uint64_t>(rate);
  put32(out, rateBits >> 32), put32(out, rateBits & 0xFFFFFFFF);
  put32(out, channels), put32(out, 0x7F000000), put32(out, bits), put32(out, flags);
  put32(out, bytesPerFrame), put32(out, 1);
  return out;
}

TEST(AudioSampleEntry, Version0TwosIsBigEndianSigned) {
  SoundFormat format;
  ASSERT_EQ(parseSoundSampleEntry(entry('twos', 0, 2, 16, 44100), format), Status::ok);
  EXPECT_EQ(format.format, formats::bigEndianSigned);
  EXPECT_EQ(format.channels, 2u);
  EXPECT_EQ(format.bitsPerChannel, 16u);
  EXPECT_EQ(format.sampleRate, 44100.0);
  const auto layout = pcmLayoutOf(format);
  ASSERT_TRUE(layout);
  EXPECT_EQ(layout->kind, PcmKind::signedInteger);
  EXPECT_TRUE(layout->bigEndian);
}

TEST(AudioSampleEntry, EndaInsideWaveMakesIn24LittleEndian) {
  const Bytes wave =
      atom('wave', atom('frma', {'i', 'n', '2', '4'}) + atom('enda', {0, 1}) + Bytes{0, 0, 0, 8, 0, 0, 0, 0});
  SoundFormat format;
  ASSERT_EQ(parseSoundSampleEntry(entry('in24', 1, 2, 24, 48000, wave), format), Status::ok);
  EXPECT_TRUE(format.littleEndianAtom);
  EXPECT_EQ(format.framesPerPacket, 1u);
  EXPECT_EQ(format.bytesPerFrame, 6u);
  ASSERT_TRUE(pcmLayoutOf(format));
  EXPECT_FALSE(pcmLayoutOf(format)->bigEndian);
  SoundFormat withoutEnda;
  ASSERT_EQ(parseSoundSampleEntry(entry('in24', 1, 2, 24, 48000), withoutEnda), Status::ok);
  EXPECT_TRUE(pcmLayoutOf(withoutEnda)->bigEndian);
}

TEST(AudioSampleEntry, Version2LpcmTakesItsLayoutFromTheFlags) {
  SoundFormat format;
  ASSERT_EQ(
      parseSoundSampleEntry(version2('lpcm', 96000.0, 6, 32, lpcmFlags::isFloat | lpcmFlags::isPacked, 24), format),
      Status::ok);
  EXPECT_EQ(format.version, 2);
  EXPECT_EQ(format.sampleRate, 96000.0);
  EXPECT_EQ(format.channels, 6u);
  const auto layout = pcmLayoutOf(format);
  ASSERT_TRUE(layout);
  EXPECT_EQ(layout->kind, PcmKind::floatingPoint);
  EXPECT_EQ(layout->bitsPerSample, 32u);
  EXPECT_FALSE(layout->bigEndian);
  // Samples padded inside their frame, or not interleaved, are not read as packed PCM.
  ASSERT_EQ(parseSoundSampleEntry(version2('lpcm', 48000.0, 2, 24, lpcmFlags::isSignedInteger | lpcmFlags::isPacked, 8),
                                  format),
            Status::ok);
  EXPECT_FALSE(pcmLayoutOf(format));
  ASSERT_EQ(parseSoundSampleEntry(
                version2('lpcm', 48000.0, 2, 16, lpcmFlags::isSignedInteger | lpcmFlags::isNonInterleaved, 0), format),
            Status::ok);
  EXPECT_FALSE(pcmLayoutOf(format));
}

TEST(AudioSampleEntry, AacCookieIsTheEsdsPayloadWhereverItSits) {
  const Bytes config = {0x12, 0x10};  // AAC-LC, 44.1 kHz, stereo
  const Bytes esds = buildEsds({0x40, config}, 128000, 128000, 0);
  SoundFormat inWave, direct;
  const Bytes wave = atom('wave', atom('frma', {'m', 'p', '4', 'a'}) + atom('mp4a', {0, 0, 0, 0}) + atom('esds', esds));
  ASSERT_EQ(parseSoundSampleEntry(entry('mp4a', 1, 2, 16, 44100, wave), inWave), Status::ok);
  ASSERT_EQ(parseSoundSampleEntry(entry('mp4a', 0, 2, 16, 44100, atom('esds', esds)), direct), Status::ok);
  EXPECT_EQ(inWave.magicCookie, esds);
  EXPECT_EQ(direct.magicCookie, esds);
  const auto parsed = parseEsds(inWave.magicCookie);
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->objectType, 0x40);
  EXPECT_EQ(parsed->decoderSpecificInfo, config);
}

TEST(AudioSampleEntry, AlacCookieIsTheWholeConfigurationAtomAndChanIsKept) {
  const Bytes alacAtom = atom('alac', Bytes(28, 0));
  const Bytes chan = atom('chan', Bytes{0, 0, 0, 0, 0, 0x65, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0});
  SoundFormat format;
  ASSERT_EQ(parseSoundSampleEntry(entry('alac', 0, 2, 16, 44100, alacAtom + chan), format), Status::ok);
  EXPECT_EQ(format.magicCookie, alacAtom);
  EXPECT_EQ(format.channelLayout.size(), 12u);
  EXPECT_EQ(format.channelLayout[1], 0x65);
}

TEST(AudioSampleEntry, HostileEntriesAreRefusedOrIgnoredNeverOverread) {
  SoundFormat format;
  Bytes full = entry('twos', 1, 2, 16, 44100);
  EXPECT_EQ(parseSoundSampleEntry(std::span(full).first(40), format), Status::badFormat);
  EXPECT_EQ(parseSoundSampleEntry(std::span(full).first(10), format), Status::badFormat);
  Bytes v3 = entry('twos', 0, 2, 16, 44100);
  v3[17] = 3;
  EXPECT_EQ(parseSoundSampleEntry(v3, format), Status::unsupported);
  // An extension whose size runs past the entry, and a 'wave' nested without end.
  Bytes overrun = entry('twos', 0, 2, 16, 44100, Bytes{0x7F, 0xFF, 0xFF, 0xFF, 'e', 's', 'd', 's', 1, 2, 3});
  EXPECT_EQ(parseSoundSampleEntry(overrun, format), Status::ok);
  EXPECT_TRUE(format.magicCookie.empty());
  Bytes nested = atom('enda', {0, 1});
  for (int i = 0; i < 200; ++i) nested = atom('wave', nested);
  EXPECT_EQ(parseSoundSampleEntry(entry('in32', 0, 2, 32, 44100, nested), format), Status::ok);
  EXPECT_FALSE(format.littleEndianAtom);  // deeper than any real file nests
  EXPECT_FALSE(parseEsds(Bytes{0, 0, 0, 0, 0x03, 0x80, 0x80, 0x80, 0x80, 0x80}));
}

// What import describes must come back unchanged through the entry a movie stores.
TEST(AudioSampleEntry, WrittenEntriesReadBackAsTheSameFormat) {
  for (const char* file : {"s16.wav", "s24.aiff", "f32.wav", "u8.wav", "ulaw.wav", "aac.m4a", "alac.m4a", "tone.mp3"}) {
    ImportedSound sound;
    ASSERT_EQ(importSoundFile(fixturePath(file), sound), Status::ok) << file;
    SoundFormat back;
    ASSERT_EQ(parseSoundSampleEntry(writeSoundSampleEntry(sound.format), back), Status::ok) << file;
    EXPECT_TRUE(back == sound.format) << file;
    if (sound.format.format == formats::aac) {  // its 'esds' goes inside a 'wave' atom
      const Bytes bytes = writeSoundSampleEntry(sound.format);
      ASSERT_GT(bytes.size(), 68u);
      EXPECT_EQ(std::string(bytes.begin() + 56, bytes.begin() + 60), "wave");
      EXPECT_EQ(std::string(bytes.begin() + 64, bytes.begin() + 68), "frma");
    }
  }
  SoundFormat in24;
  in24.format = formats::int24;
  in24.version = 1;
  in24.channels = 2, in24.bitsPerChannel = 24, in24.sampleRate = 48000;
  in24.framesPerPacket = 1, in24.bytesPerPacket = 3, in24.bytesPerFrame = 6, in24.bytesPerSample = 3;
  in24.littleEndianAtom = true;
  in24.channelLayout = {0, 0x65, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0};
  SoundFormat back;
  ASSERT_EQ(parseSoundSampleEntry(writeSoundSampleEntry(in24), back), Status::ok);
  EXPECT_TRUE(back == in24);
  EXPECT_FALSE(pcmLayoutOf(back)->bigEndian);
}

}  // namespace
}  // namespace vqt::audio::test
