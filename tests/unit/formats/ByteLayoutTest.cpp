// The shared byte layouts on hand-made values: every parse gives back what its
// write was given, and short, lying or foreign bytes are refused, never overread.
#include <gtest/gtest.h>

#include "vqt/formats/AtomHeader.h"
#include "vqt/formats/Esds.h"
#include "vqt/formats/ImageExtensions.h"
#include "vqt/formats/ImageFields.h"
#include "vqt/formats/ParameterSets.h"
#include "vqt/formats/SoundFields.h"

namespace vqt::formats {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(ByteReader, AnOverrunReadsZerosAndFailsForGood) {
  const Bytes bytes{0x12, 0x34, 0x56};
  ByteReader in(bytes);
  EXPECT_EQ(in.u16(), 0x1234);
  EXPECT_EQ(in.u32(), 0u);
  EXPECT_TRUE(in.failed());
  EXPECT_EQ(in.remaining(), 0u);
  EXPECT_EQ(loadU32(bytes, 0), 0u);
  EXPECT_EQ(loadU16(bytes, 1), 0x3456);
  EXPECT_EQ(loadU16(bytes, 2), 0);
  EXPECT_EQ(loadU16(bytes, 99), 0);
}

TEST(ByteIO, InPlacePatchesLandBigEndianAndNeverPastTheEnd) {
  Bytes bytes(6, 0xEE);
  storeU32(bytes, 1, 0x01020304);
  storeU32(bytes, 3, 0xA0B0C0D0);  // runs past the end: nothing written
  storeU16(bytes, 99, 1);
  EXPECT_EQ(bytes, (Bytes{0xEE, 0x01, 0x02, 0x03, 0x04, 0xEE}));
  storeU16(bytes, 4, 0xA0B0);
  EXPECT_EQ(loadU16(bytes, 4), 0xA0B0);
  EXPECT_EQ(loadU32(bytes, 0), 0xEE010203u);
}

TEST(AtomHeader, SizesAreCheckedAgainstWhatIsLeftAndTheWalkStopsThere) {
  ByteWriter out;
  const std::size_t first = out.beginAtom('abcd');
  out.u16(7);
  out.endAtom(first);
  out.u32(1), out.u32('wide'), out.u64(16);  // a 64-bit size
  out.u32(0), out.u32('rest'), out.u8(9);    // size 0: to the end
  std::vector<std::pair<FourCC, std::size_t>> seen;
  const Bytes bytes = out.take();
  EXPECT_EQ(
      forEachAtom(bytes, [&](const AtomHeader& h, auto, auto payload) { seen.emplace_back(h.type, payload.size()); }),
      bytes.size());
  EXPECT_EQ(seen, (std::vector<std::pair<FourCC, std::size_t>>{{'abcd', 2}, {'wide', 0}, {'rest', 1}}));

  const Bytes lying{0, 0, 0, 64, 'b', 'a', 'd', ' ', 1, 2, 3};
  EXPECT_EQ(forEachAtom(lying, [](auto&&...) { FAIL(); }), 0u);
  ByteReader in(lying);
  AtomHeader header;
  EXPECT_EQ(parseAtomHeader(in, header), AtomHeaderStatus::badSize);
  const Bytes tooSmall{0, 0, 0, 4, 'x', 'x', 'x', 'x'};
  ByteReader small(tooSmall);
  EXPECT_EQ(parseAtomHeader(small, header), AtomHeaderStatus::badSize);
  const Bytes cutWide{0, 0, 0, 1, 'w', 'i', 'd', 'e', 0, 0};
  ByteReader wide(cutWide);
  EXPECT_EQ(parseAtomHeader(wide, header), AtomHeaderStatus::truncated);
}

SoundFields roundTrip(const SoundFields& fields, std::size_t expectedSize) {
  ByteWriter out;
  writeSoundFields(out, fields);
  EXPECT_EQ(out.size(), expectedSize);
  ByteReader in(out.data());
  SoundFields back;
  EXPECT_TRUE(parseSoundFields(in, back));
  EXPECT_EQ(in.remaining(), 0u);
  return back;
}

TEST(SoundFields, EachVersionReadsBackAndACutVersionFails) {
  SoundFields v0{.vendor = 'appl', .channelCount = 1, .sampleSize = 8, .sampleRate = 22050u << 16};
  EXPECT_EQ(roundTrip(v0, 20), v0);
  SoundFields v1 = v0;
  v1.version = 1, v1.compressionId = -2, v1.samplesPerPacket = 1024, v1.bytesPerPacket = 0, v1.bytesPerFrame = 0;
  v1.bytesPerSample = 2;
  EXPECT_EQ(roundTrip(v1, 36), v1);
  SoundFields v2{.version = 2, .channelCount = 3, .compressionId = -2, .sampleRate = 65536};
  v2.audioSampleRate = 96000.5, v2.audioChannels = 6, v2.constBitsPerChannel = 24, v2.formatSpecificFlags = 0xC;
  v2.constBytesPerAudioPacket = 18, v2.constLPCMFramesPerAudioPacket = 1;
  EXPECT_EQ(roundTrip(v2, 56), v2);
  // A version no one defined reads as version 0, whose fields it starts with.
  SoundFields v7 = v0;
  v7.version = 7;
  EXPECT_EQ(roundTrip(v7, 20), v7);

  ByteWriter out;
  writeSoundFields(out, v2);
  for (std::size_t cut : {0u, 19u, 20u, 55u}) {
    ByteReader in(std::span(out.data()).first(cut));
    SoundFields back;
    EXPECT_FALSE(parseSoundFields(in, back)) << cut;
  }
}

TEST(ImageFields, ReadBackAndACutEntryFails) {
  ImageFields fields{.vendor = 'appl', .width = 1920, .height = 1080, .frameCount = 1, .depth = 32, .colorTableId = -1};
  fields.compressorName = {5, 'v', 'i', 'd', 'e', 'o'};
  ByteWriter out;
  writeImageFields(out, fields);
  ASSERT_EQ(out.size(), 70u);
  ByteReader in(out.data());
  ImageFields back;
  EXPECT_TRUE(parseImageFields(in, back));
  EXPECT_EQ(back, fields);
  ByteReader cut(std::span(out.data()).first(69));
  EXPECT_FALSE(parseImageFields(cut, back));
}

TEST(Esds, EveryFieldReadsBackAndTheWrittenBytesAreStable) {
  EsDescriptor es{.esId = 7, .flags = 0x80 | 0x40 | 0x20 | 3, .dependsOnEsId = 2, .url = {'a', 'b'}, .ocrEsId = 9};
  es.decoderConfig = DecoderConfig{.objectType = 0x40, .bufferSize = 0x123456, .maxBitrate = 1, .averageBitrate = 2};
  es.decoderConfig->decoderSpecificInfo = Bytes{0x12, 0x10};
  es.slConfig = Bytes{0x02};
  const Bytes bytes = writeEsds(es);
  const auto back = parseEsds(bytes);
  ASSERT_TRUE(back);
  EXPECT_EQ(*back, es);
  EXPECT_EQ(writeEsds(*back), bytes);
  // Without version and flags, the payload still reads.
  EXPECT_EQ(parseEsds(std::span(bytes).subspan(4)), es);
  // An empty DecoderSpecificInfo is not a missing one.
  es.decoderConfig->decoderSpecificInfo = Bytes{};
  EXPECT_EQ(parseEsds(writeEsds(es)), es);
}

TEST(Esds, ShortFormsForeignDescriptorsAndLyingLengthsAreReadWithoutOverrun) {
  // One-byte lengths, a descriptor of another tag before the DecoderConfig,
  // and a DecoderSpecificInfo whose length runs past the atom (cut to it).
  const Bytes bytes{0,    0,  0,    0,        // version and flags
                    0x03, 27, 0,    1,    0,  // ES, id 1, no flags
                    0x0A, 1,  0xEE,           // a foreign descriptor
                    0x04, 19, 0x20, 0x11, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0x05, 9, 1, 2, 3, 4};
  const auto es = parseEsds(bytes);
  ASSERT_TRUE(es);
  EXPECT_EQ(es->esId, 1);
  ASSERT_TRUE(es->decoderConfig);
  EXPECT_EQ(es->decoderConfig->objectType, 0x20);
  EXPECT_EQ(es->decoderConfig->averageBitrate, 1u);
  EXPECT_EQ(es->decoderConfig->decoderSpecificInfo, (Bytes{1, 2, 3, 4}));
  EXPECT_FALSE(es->slConfig);

  EXPECT_FALSE(parseEsds(Bytes{}));
  EXPECT_FALSE(parseEsds(Bytes{0, 0, 0}));
  EXPECT_FALSE(parseEsds(Bytes{0, 0, 0, 0, 0x04, 0}));                             // no ES_Descriptor
  EXPECT_FALSE(parseEsds(Bytes{0, 0, 0, 0, 0x03, 0x80, 0x80, 0x80, 0x80, 0x80}));  // its fields cut
  EXPECT_FALSE(parseEsds(Bytes{0, 0, 0, 0, 0x03, 5, 0, 1, 0x40, 9, 'x'}));         // a URL past the end
  // A DecoderConfig shorter than its fixed fields is no DecoderConfig.
  const auto shortConfig = parseEsds(Bytes{0, 0, 0, 0, 0x03, 7, 0, 1, 0, 0x04, 2, 0x40, 0x15});
  ASSERT_TRUE(shortConfig);
  EXPECT_FALSE(shortConfig->decoderConfig);
}

TEST(ImageExtensions, EachReadsBackAndShortOrForeignPayloadsAreRefused) {
  const PixelAspectRatio pasp{40, 33};
  EXPECT_EQ(parsePasp(writePasp(pasp)), pasp);
  const ColourInfo nclc{'nclc', 1, 1, 6};
  EXPECT_EQ(writeColr(nclc).size(), 10u);
  EXPECT_EQ(parseColr(writeColr(nclc)), nclc);
  const ColourInfo nclx{'nclx', 9, 16, 9, 0x80};
  EXPECT_EQ(writeColr(nclx).size(), 11u);
  EXPECT_EQ(parseColr(writeColr(nclx)), nclx);
  EXPECT_TRUE(parseColr(writeColr(nclx))->fullRange());
  EXPECT_FALSE(nclc.fullRange());
  const FieldInfo fiel{2, 9};
  EXPECT_EQ(parseFiel(writeFiel(fiel)), fiel);
  const CleanAperture clap{720, 1, 480, 1, -3, 2, 5, 4};
  EXPECT_EQ(writeClap(clap).size(), 32u);
  EXPECT_EQ(parseClap(writeClap(clap)), clap);

  EXPECT_FALSE(parsePasp(Bytes(7, 1)));
  EXPECT_FALSE(parseColr(Bytes{'n', 'c', 'l', 'c', 0, 1, 0, 1, 0}));
  EXPECT_FALSE(parseColr(Bytes{'n', 'c', 'l', 'x', 0, 1, 0, 1, 0, 1}));
  EXPECT_FALSE(parseColr(Bytes{'p', 'r', 'o', 'f', 0, 1, 0, 1, 0, 1, 0}));
  EXPECT_FALSE(parseFiel(Bytes{1}));
  EXPECT_FALSE(parseClap(Bytes(31, 0)));
}

TEST(DecoderConfigurations, WrittenSetsReadBackAndShortOrLyingBytesAreRefused) {
  AvcConfig avc;
  avc.profile = 110;
  avc.level = 40;
  avc.lengthSize = 2;
  avc.sequenceSets = {{0x67, 110, 0, 40, 0xAC}};
  avc.pictureSets = {{0x68, 0xEE}, {0x68, 0xEF}};
  avc.trailing = {0xFD, 0xF9, 0xF8, 0};
  const Bytes avcBytes = writeAvcConfig(avc);
  EXPECT_EQ(avcBytes[4], 0xFD);  // 2-byte lengths
  EXPECT_EQ(avcBytes[5], 0xE1);  // one sequence set
  EXPECT_EQ(parseAvcConfig(avcBytes), avc);
  EXPECT_FALSE(isEightBit420(avc));  // High 10
  for (std::size_t cut = 1; cut < 6 + 2 + 5 + 1 + 4 + 4; ++cut)
    EXPECT_FALSE(parseAvcConfig(std::span(avcBytes).first(cut))) << cut;
  Bytes lying = avcBytes;
  lying[7] = 0x40;  // the sequence set claims more bytes than there are
  EXPECT_FALSE(parseAvcConfig(lying));

  HevcConfig hevc;
  hevc.generalProfile = {0x01, 0x60, 0, 0, 0, 0x90, 0, 0, 0, 0, 0, 93};
  hevc.chromaFormat = 1;
  hevc.temporalLayers = 2;
  hevc.temporalIdNested = true;
  hevc.arrays = {{true, 32, {{0x40, 0x01, 0x0C}}}, {true, 33, {{0x42, 0x01}}}, {false, 34, {{0x44, 0x01}, {0x44, 2}}}};
  const Bytes hevcBytes = writeHevcConfig(hevc);
  EXPECT_EQ(hevcBytes.size(), 23u + 3 * 3 + (2 + 3) + (2 + 2) + 2 * (2 + 2));
  EXPECT_EQ(hevcBytes[16], 0xFD);  // reserved bits set, 4:2:0
  EXPECT_EQ(parseHevcConfig(hevcBytes), hevc);
  EXPECT_TRUE(isEightBit420(hevc));
  hevc.lumaDepthLess8 = 2;
  EXPECT_FALSE(isEightBit420(hevc));
  for (std::size_t cut = 1; cut < hevcBytes.size(); ++cut)
    EXPECT_FALSE(parseHevcConfig(std::span(hevcBytes).first(cut))) << cut;
  Bytes wrongVersion = hevcBytes;
  wrongVersion[0] = 0;
  EXPECT_FALSE(parseHevcConfig(wrongVersion));
}

}  // namespace
}  // namespace vqt::formats
