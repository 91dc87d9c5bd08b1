// The shared byte layouts on the bytes the ffmpeg CLI writes: every extension
// and sound entry of its movies reads into values and writes back byte for byte.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "vqt/formats/AtomHeader.h"
#include "vqt/formats/Esds.h"
#include "vqt/formats/ImageExtensions.h"
#include "vqt/formats/ImageFields.h"
#include "vqt/formats/ParameterSets.h"
#include "vqt/formats/SoundFields.h"

namespace vqt::formats {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes readFixture(const std::string& name) {
  std::ifstream file(std::string(VQT_FORMATS_FIXTURES) + "/" + name, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

// The payloads of the atoms of `type` found in the sample descriptions: walked
// from the top down to each 'stsd' entry, whose extensions follow `fixedSize`
// bytes of fields ('wave' is walked into).
void collect(std::span<const std::uint8_t> bytes, FourCC type, std::vector<Bytes>& out) {
  forEachAtom(bytes, [&](const AtomHeader& header, auto, auto payload) {
    if (header.type == type) out.emplace_back(payload.begin(), payload.end());
    switch (header.type) {
      case 'moov':
      case 'trak':
      case 'mdia':
      case 'minf':
      case 'stbl':
      case 'wave':
        collect(payload, type, out);
        break;
      case 'stsd':
        if (payload.size() > 8) collect(payload.subspan(8), type, out);
        break;
      case 'mp4v':
      case 'apch':
      case '2vuy':
      case 'avc1':
      case 'hvc1':
        if (payload.size() > 78) collect(payload.subspan(78), type, out);
        break;
      case 'mp4a': {
        const std::size_t fixed = loadU16(payload, 8) == 1 ? 44 : 28;
        if (payload.size() > fixed) collect(payload.subspan(fixed), type, out);
        break;
      }
      default:
        break;
    }
  });
}

std::vector<Bytes> payloads(const std::string& file, FourCC type) {
  std::vector<Bytes> out;
  collect(readFixture(file), type, out);
  return out;
}

TEST(FfmpegLayouts, ImageExtensionsReadAndWriteBackByteForByte) {
  const auto pasp = payloads("mpeg4-aac.mov", 'pasp');
  ASSERT_EQ(pasp.size(), 1u);
  EXPECT_EQ(parsePasp(pasp[0]), (PixelAspectRatio{4, 3}));
  EXPECT_EQ(writePasp(*parsePasp(pasp[0])), pasp[0]);

  const auto nclc = payloads("mpeg4-aac.mov", 'colr');
  ASSERT_EQ(nclc.size(), 1u);
  EXPECT_EQ(parseColr(nclc[0]), (ColourInfo{'nclc', 1, 1, 1}));
  EXPECT_EQ(writeColr(*parseColr(nclc[0])), nclc[0]);
  const auto nclx = payloads("mpeg4-aac.mp4", 'colr');
  ASSERT_EQ(nclx.size(), 1u);
  ASSERT_TRUE(parseColr(nclx[0]));
  EXPECT_TRUE(parseColr(nclx[0])->fullRange());
  EXPECT_EQ(writeColr(*parseColr(nclx[0])), nclx[0]);

  const auto topFirst = payloads("prores-fields.mov", 'fiel');
  const auto bottomFirst = payloads("uyvy-fields.mov", 'fiel');
  ASSERT_EQ(topFirst.size(), 1u);
  ASSERT_EQ(bottomFirst.size(), 1u);
  EXPECT_EQ(parseFiel(topFirst[0]), (FieldInfo{2, 1}));
  EXPECT_EQ(parseFiel(bottomFirst[0]), (FieldInfo{2, 6}));
  EXPECT_EQ(writeFiel(*parseFiel(bottomFirst[0])), bottomFirst[0]);

  const auto clap = payloads("uyvy-fields.mov", 'clap');
  ASSERT_EQ(clap.size(), 1u);
  EXPECT_EQ(parseClap(clap[0]), (CleanAperture{64, 1, 48, 1, 0, 1, 0, 1}));
  EXPECT_EQ(writeClap(*parseClap(clap[0])), clap[0]);
}

TEST(FfmpegLayouts, VideoAndAudioEsdsReadAndWriteBackByteForByte) {
  for (const char* file : {"mpeg4-aac.mov", "mpeg4-aac.mp4"}) {
    const auto all = payloads(file, 'esds');
    ASSERT_EQ(all.size(), 2u) << file;
    for (const Bytes& bytes : all) {
      const auto es = parseEsds(bytes);
      ASSERT_TRUE(es && es->decoderConfig && es->decoderConfig->decoderSpecificInfo) << file;
      EXPECT_EQ(writeEsds(*es), bytes) << file;
    }
    const auto video = parseEsds(all[0]), audio = parseEsds(all[1]);
    EXPECT_EQ(video->decoderConfig->objectType, 0x20);  // MPEG-4 Visual
    EXPECT_EQ(video->decoderConfig->streamByte, 0x11);
    EXPECT_EQ(audio->decoderConfig->objectType, 0x40);  // MPEG-4 Audio
    EXPECT_EQ(audio->decoderConfig->decoderSpecificInfo->size(), 5u);
    EXPECT_EQ(audio->decoderConfig->decoderSpecificInfo->at(0) >> 3, 2);  // AAC-LC
  }
}

// The first sample entry's fixed fields, and the bytes they were read from.
template <typename Fields, typename Parse>
std::pair<Fields, Bytes> firstEntryFields(const std::string& file, Parse parse) {
  std::pair<Fields, Bytes> out;
  const Bytes bytes = readFixture(file);
  const std::string text(bytes.begin(), bytes.end());
  const std::size_t stsd = text.find("stsd");
  if (stsd == std::string::npos || stsd + 12 + 16 > bytes.size()) return out;
  const auto entry = std::span(bytes).subspan(stsd + 12);  // version, flags and count, then the entry
  ByteReader in(entry.subspan(16));                        // after size, format, reserved and index
  EXPECT_TRUE(parse(in, out.first)) << file;
  const auto used = entry.subspan(16, in.position());
  out.second.assign(used.begin(), used.end());
  return out;
}

std::pair<SoundFields, Bytes> firstSoundFields(const std::string& file) {
  return firstEntryFields<SoundFields>(file, parseSoundFields);
}

TEST(FfmpegLayouts, ImageEntryFieldsWriteBackByteForByte) {
  for (const char* file : {"mpeg4-aac.mov", "mpeg4-aac.mp4", "prores-fields.mov", "uyvy-fields.mov"}) {
    const auto [fields, bytes] = firstEntryFields<ImageFields>(file, parseImageFields);
    EXPECT_EQ(bytes.size(), 70u) << file;
    EXPECT_EQ(fields.width, 64) << file;
    EXPECT_EQ(fields.height, 48) << file;
    ByteWriter out;
    writeImageFields(out, fields);
    EXPECT_EQ(out.data(), bytes) << file;
  }
  const auto prores = firstEntryFields<ImageFields>("prores-fields.mov", parseImageFields).first;
  EXPECT_GT(prores.compressorName[0], 0);  // a Pascal string naming the codec
  EXPECT_EQ(prores.colorTableId, -1);
}

TEST(FfmpegLayouts, SoundEntryFieldsOfEveryVersionWriteBackByteForByte) {
  const std::pair<const char*, int> files[] = {{"s16.mov", 0}, {"s24.mov", 1}, {"s16-96k.mov", 2}};
  for (const auto& [file, version] : files) {
    const auto [fields, bytes] = firstSoundFields(file);
    EXPECT_EQ(fields.version, version) << file;
    ByteWriter out;
    writeSoundFields(out, fields);
    EXPECT_EQ(out.data(), bytes) << file;
  }
  EXPECT_EQ(firstSoundFields("s24.mov").first.bytesPerPacket, 3u);  // one mono frame
  const auto v2 = firstSoundFields("s16-96k.mov").first;
  EXPECT_EQ(v2.audioSampleRate, 96000.0);
  EXPECT_EQ(v2.audioChannels, 1u);
  EXPECT_EQ(v2.constBitsPerChannel, 16u);
}

TEST(FfmpegLayouts, DecoderConfigurationsReadAndWriteBackByteForByte) {
  struct Case {
    const char* file;
    FourCC type;
    bool eightBit420;
  };
  for (const Case& c : {Case{"h264-8bit.mov", 'avcC', true}, Case{"h264-10bit-422.mov", 'avcC', false},
                        Case{"hevc-8bit.mov", 'hvcC', true}, Case{"hevc-10bit-422.mov", 'hvcC', false}}) {
    SCOPED_TRACE(c.file);
    const auto all = payloads(c.file, c.type);
    ASSERT_EQ(all.size(), 1u);
    if (c.type == 'avcC') {
      const auto config = parseAvcConfig(all[0]);
      ASSERT_TRUE(config);
      EXPECT_EQ(config->sequenceSets.size(), 1u);
      EXPECT_EQ(config->pictureSets.size(), 1u);
      EXPECT_EQ(config->profile, c.eightBit420 ? 100 : 122);  // High, High 4:2:2
      EXPECT_EQ(isEightBit420(*config), c.eightBit420);
      EXPECT_EQ(writeAvcConfig(*config), all[0]);
    } else {
      const auto config = parseHevcConfig(all[0]);
      ASSERT_TRUE(config);
      EXPECT_GE(config->arrays.size(), 3u);  // VPS, SPS, PPS (and the encoder's SEI)
      EXPECT_EQ(config->chromaFormat, c.eightBit420 ? 1 : 2);
      EXPECT_EQ(isEightBit420(*config), c.eightBit420);
      EXPECT_EQ(writeHevcConfig(*config), all[0]);
    }
  }
}

}  // namespace
}  // namespace vqt::formats
