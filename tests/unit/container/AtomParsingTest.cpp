// Atom parsers on hand-built bytes: framing, lying sizes and counts, and
// byte-exact round trips through write().
#include "SyntheticMovie.h"

#include "vqt/container/Atom.h"
#include "vqt/container/CompressedMovieAtom.h"

#include <gtest/gtest.h>
#include <zlib.h>

using namespace vqt::container;
using namespace vqt::container::testing;

namespace {

Error parseOne(const std::vector<std::uint8_t>& bytes, std::unique_ptr<Atom>& atom) {
  ParseContext context;
  return parseSingleAtom(bytes, context, atom);
}

std::vector<std::uint8_t> rewrite(const Atom& atom) {
  ByteWriter out;
  atom.write(out);
  return out.take();
}

std::vector<std::uint8_t> fullHeader(std::uint8_t version = 0) { return {version, 0, 0, 0}; }

}  // namespace

TEST(ContainerAtomFraming, SizeZeroExtendsToParentEndAnd64BitSizesAreRead) {
  auto child = be32(0) + be32('free') + std::vector<std::uint8_t>{1, 2, 3};
  std::unique_ptr<Atom> atom;
  ASSERT_EQ(parseOne(atomBytes('moov', child), atom), Error::none);
  ASSERT_NE(atom->find('free'), nullptr);
  EXPECT_EQ(dynamic_cast<const RawAtom*>(atom->find('free'))->payload.size(), 3u);

  auto wide = be32(1) + be32('skip') + be32(0) + be32(20) + std::vector<std::uint8_t>{9, 9, 9, 9};
  ASSERT_EQ(parseOne(wide, atom), Error::none);
  EXPECT_EQ(dynamic_cast<const RawAtom*>(atom.get())->payload, (std::vector<std::uint8_t>{9, 9, 9, 9}));
}

TEST(ContainerAtomFraming, ChildLargerThanParentOrSmallerThanHeaderIsRefused) {
  std::unique_ptr<Atom> atom;
  auto lying = be32(4096) + be32('trak');
  EXPECT_EQ(parseOne(atomBytes('moov', lying), atom), Error::badAtomSize);
  auto tiny = be32(4) + be32('trak');
  EXPECT_EQ(parseOne(atomBytes('moov', tiny), atom), Error::badAtomSize);
  auto wideLie = be32(1) + be32('trak') + be32(0xFFFFFFFF) + be32(0xFFFFFFF0);
  EXPECT_EQ(parseOne(atomBytes('moov', wideLie), atom), Error::badAtomSize);
}

TEST(ContainerAtomFraming, DeepNestingStopsWithAnError) {
  std::vector<std::uint8_t> bytes = atomBytes('free', {});
  for (int i = 0; i < 40; ++i) bytes = atomBytes('trak', bytes);
  std::unique_ptr<Atom> atom;
  EXPECT_EQ(parseOne(bytes, atom), Error::nestingTooDeep);
}

TEST(ContainerAtomFraming, UnknownAtomsAndTrailingTerminatorRoundTrip) {
  auto item = atomBytes('Xyz1', {1, 2, 3, 4, 5});
  auto udta = atomBytes('udta', item + be32(0));
  std::unique_ptr<Atom> atom;
  ASSERT_EQ(parseOne(udta, atom), Error::none);
  EXPECT_TRUE(dynamic_cast<UserDataAtom*>(atom.get())->zeroTerminated);
  EXPECT_EQ(rewrite(*atom), udta);
}

TEST(ContainerTableAtoms, CountsBeyondTheAtomAreRefusedBeforeAllocation) {
  std::unique_ptr<Atom> atom;
  for (FourCC type : {'stts', 'ctts', 'stss', 'stsc', 'stco', 'co64', 'elst', 'dref', 'stsd', 'keys'}) {
    auto bytes = atomBytes(type, fullHeader() + be32(0x7FFFFFFF) + be32(1) + be32(1));
    EXPECT_EQ(parseOne(bytes, atom), Error::tableTooLarge) << fourccToString(type);
  }
  auto sizes = atomBytes('stsz', fullHeader() + be32(0) + be32(0x40000000) + be32(7));
  EXPECT_EQ(parseOne(sizes, atom), Error::tableTooLarge);
  auto truncated = atomBytes('mvhd', fullHeader() + be32(0));
  EXPECT_EQ(parseOne(truncated, atom), Error::truncated);
}

TEST(ContainerTableAtoms, CompactSizesInFourBitsAndVersionedEditListsRoundTrip) {
  auto stz2 = atomBytes(
      'stz2', fullHeader() + std::vector<std::uint8_t>{0, 0, 0, 4} + be32(3) + std::vector<std::uint8_t>{0x12, 0x30});
  std::unique_ptr<Atom> atom;
  ASSERT_EQ(parseOne(stz2, atom), Error::none);
  EXPECT_EQ(dynamic_cast<SampleSizeAtom*>(atom.get())->sizes, (std::vector<std::uint32_t>{1, 2, 3}));
  EXPECT_EQ(rewrite(*atom), stz2);

  auto elst1 = atomBytes(
      'elst', fullHeader(1) + be32(1) + be32(0) + be32(1000) + be32(0xFFFFFFFF) + be32(0xFFFFFFFF) + be32(0x10000));
  ASSERT_EQ(parseOne(elst1, atom), Error::none);
  const auto& entry = dynamic_cast<EditListAtom*>(atom.get())->entries.at(0);
  EXPECT_EQ(entry.segmentDuration, 1000u);
  EXPECT_EQ(entry.mediaTime, -1);
  EXPECT_EQ(rewrite(*atom), elst1);
}

TEST(ContainerSampleDescriptions, SoundVersionTwoFieldsAreRead) {
  ByteWriter entry;
  entry.zeros(6);
  entry.u16(1);
  entry.u16(2);  // version
  entry.zeros(6);
  entry.u16(3);
  entry.u16(16);
  entry.s16(-2);
  entry.u16(0);
  entry.u32(0x00010000);
  entry.u32(72);
  entry.f64(96000.0);
  for (std::uint32_t v : {6u, 0x7F000000u, 24u, 0xCu, 18u, 1u}) entry.u32(v);
  auto stsd = atomBytes('stsd', fullHeader() + be32(1) + atomBytes('lpcm', entry.data()));
  std::unique_ptr<Atom> atom;
  ParseContext context;
  context.handlerType = 'soun';
  ASSERT_EQ(parseSingleAtom(stsd, context, atom), Error::none);
  const auto* sound =
      dynamic_cast<const SoundSampleEntry*>(dynamic_cast<SampleDescriptionAtom*>(atom.get())->entries.at(0).get());
  ASSERT_NE(sound, nullptr);
  EXPECT_EQ(sound->effectiveSampleRate(), 96000.0);
  EXPECT_EQ(sound->effectiveChannels(), 6u);
  EXPECT_EQ(sound->constBitsPerChannel, 24u);
  EXPECT_EQ(rewrite(*atom), stsd);
}

// Inflating a real compressed header is covered by the compressed seed in the round trip.
TEST(ContainerCompressedHeader, LiesAboutItsSizeAndOtherCompressorsAreRefused) {
  std::vector<std::uint8_t> packed(64);
  uLongf packedSize = 64;
  const std::uint8_t plain[8] = {0, 0, 0, 8, 'f', 'r', 'e', 'e'};
  compress(packed.data(), &packedSize, plain, 8);
  packed.resize(packedSize);
  auto lie = atomBytes('cmov', atomBytes('dcom', be32('zlib')) + atomBytes('cmvd', be32(0x7FFFFFFF) + packed));
  std::unique_ptr<Atom> atom;
  EXPECT_EQ(parseOne(lie, atom), Error::tableTooLarge);
  auto other = atomBytes('cmov', atomBytes('dcom', be32('lzma')) + atomBytes('cmvd', be32(8) + packed));
  EXPECT_EQ(parseOne(other, atom), Error::unsupportedCompression);
  auto damaged = atomBytes(
      'cmov', atomBytes('dcom', be32('zlib')) + atomBytes('cmvd', be32(8) + std::vector<std::uint8_t>{1, 2, 3}));
  EXPECT_EQ(parseOne(damaged, atom), Error::decompressionFailed);
}

TEST(ContainerMetadata, KeysItemsAndBothMetaShapesRoundTrip) {
  auto hdlr = atomBytes(
      'hdlr', fullHeader() + be32(0) + be32('mdta') + be32(0) + be32(0) + be32(0) + std::vector<std::uint8_t>{0});
  auto keys = atomBytes(
      'keys', fullHeader() + be32(1) + be32(13) + be32('mdta') + std::vector<std::uint8_t>{'r', 'e', 'e', 'l', '1'});
  auto data = atomBytes('data', be32(21) + be32(0) + be32(42));
  auto ilst = atomBytes('ilst', atomBytes(1, data));
  for (bool full : {false, true}) {
    auto meta = atomBytes('meta', (full ? be32(0) : std::vector<std::uint8_t>{}) + hdlr + keys + ilst);
    std::unique_ptr<Atom> atom;
    ASSERT_EQ(parseOne(meta, atom), Error::none);
    EXPECT_EQ(dynamic_cast<MetaAtom*>(atom.get())->hasVersionAndFlags, full);
    EXPECT_EQ(atom->findAs<KeysAtom>('keys')->keys.at(0).value.size(), 5u);
    EXPECT_EQ(rewrite(*atom), meta);
  }
  auto lyingKey = atomBytes('keys', fullHeader() + be32(1) + be32(200) + be32('mdta'));
  std::unique_ptr<Atom> atom;
  EXPECT_EQ(parseOne(lyingKey, atom), Error::badAtomSize);
}
