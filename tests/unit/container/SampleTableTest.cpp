// Sample table queries on small tables whose answers can be worked out by hand.
#include "vqt/container/SampleTable.h"

#include <gtest/gtest.h>

using namespace vqt::container;

namespace {

struct Tables {
  TimeToSampleAtom stts;
  CompositionOffsetAtom ctts;
  SyncSampleAtom stss;
  SampleToChunkAtom stsc;
  SampleSizeAtom stsz{'stsz'};
  ChunkOffsetAtom stco{'stco'};
  bool withOffsets = false, withSync = false;

  SampleTableAtoms atoms() const {
    SampleTableAtoms a;
    a.timeToSample = &stts;
    a.compositionOffsets = withOffsets ? &ctts : nullptr;
    a.syncSamples = withSync ? &stss : nullptr;
    a.sampleToChunk = &stsc;
    a.sampleSizes = &stsz;
    a.chunkOffsets = &stco;
    return a;
  }
};

// I P B B P B B, decode durations 100, display order I B B P B B P: the shape
// an encoder with B-frames produces.
void fillBFrameTables(Tables& t) {
  t.stts.entries = {{7, 100}};
  t.withOffsets = true;
  t.ctts.entries = {{1, 100}, {1, 300}, {1, 0}, {1, 0}, {1, 300}, {1, 0}, {1, 0}};
  t.withSync = true;
  t.stss.sampleNumbers = {1, 5};
  t.stsc.entries = {{1, 3, 1}, {2, 2, 1}};
  t.stsz.sizes = {10, 20, 30, 40, 50, 60, 70};
  t.stsz.sampleCount = 7;
  t.stco.offsets = {1000, 2000, 3000};
}

}  // namespace

// The in-range answers are compared with ffprobe on encoder-made files by the
// container acceptance tests; here the edges and the lookups between samples.
TEST(ContainerSampleTable, LookupsBetweenSamplesAndAtTheEdges) {
  Tables t;
  fillBFrameTables(t);
  SampleTable table;
  ASSERT_EQ(SampleTable::build(t.atoms(), 1 << 20, table), Error::none);
  std::int64_t time = 0, duration = 0;
  std::uint32_t sample = 0;
  ASSERT_EQ(table.sampleAtDecodeTime(399, sample), Error::none);
  EXPECT_EQ(sample, 4u);
  EXPECT_EQ(table.sampleAtDecodeTime(700, sample), Error::badTime);
  EXPECT_EQ(table.sampleAtDecodeTime(-1, sample), Error::badTime);
  EXPECT_EQ(table.decodeTime(0, time, duration), Error::badSampleNumber);
  EXPECT_EQ(table.decodeTime(8, time, duration), Error::badSampleNumber);
  // Display times: s1 100, s2 400, s3 200, s4 300, s5 700, s6 500, s7 600.
  ASSERT_EQ(table.displayTime(5, time, duration), Error::none);
  EXPECT_EQ(duration, 100);  // last shown: its decode duration
  ASSERT_EQ(table.sampleAtDisplayTime(250, sample), Error::none);
  EXPECT_EQ(sample, 3u);
  EXPECT_EQ(table.sampleAtDisplayTime(99, sample), Error::badTime);
  EXPECT_EQ(table.sampleAtDisplayTime(800, sample), Error::badTime);
  EXPECT_EQ(table.displayBoundaryAfter(400, false), 500);
  EXPECT_EQ(table.displayBoundaryAfter(400, true), 400);
  EXPECT_EQ(table.displayBoundaryBefore(450, true), 400);
  EXPECT_EQ(table.displayBoundaryBefore(100, false), std::nullopt);
  EXPECT_EQ(table.displayEnd(), 800);
  EXPECT_EQ(table.syncAtOrAfter(2), 5u);
  EXPECT_EQ(table.syncAtOrAfter(6), std::nullopt);
  // Chunk 1 holds samples 1-3, chunks 2 and 3 hold two each.
  SampleLocation where;
  ASSERT_EQ(table.location(3, where), Error::none);
  EXPECT_EQ(where.offset, 1000u + 10 + 20);
  EXPECT_EQ(where.samplesLeftInChunk, 1u);
  ASSERT_EQ(table.location(7, where), Error::none);
  EXPECT_EQ(where.offset, 3000u + 60);
  EXPECT_EQ(table.location(8, where), Error::badSampleNumber);
  t.withSync = false;  // no table: every sample is a sync sample
  ASSERT_EQ(SampleTable::build(t.atoms(), 1 << 20, table), Error::none);
  EXPECT_EQ(table.syncAtOrBefore(4), 4u);
}

TEST(ContainerSampleTable, DisagreeingTablesAreClampedToWhatAllOfThemCover) {
  Tables t;
  fillBFrameTables(t);
  t.stts.entries = {{0xFFFFFFFF, 1}};       // claims far more samples than sizes
  t.stsc.entries = {{1, 2, 1}, {1, 5, 1}};  // second entry does not move forward: ignored
  SampleTable table;
  ASSERT_EQ(SampleTable::build(t.atoms(), 1 << 20, table), Error::none);
  EXPECT_EQ(table.sampleCount(), 6u);  // three chunks of two
  SampleLocation where;
  EXPECT_EQ(table.location(6, where), Error::none);

  Tables empty;  // a chunk with no samples between two that have some
  fillBFrameTables(empty);
  empty.stsc.entries = {{1, 3, 1}, {2, 0, 1}, {3, 4, 1}};
  ASSERT_EQ(SampleTable::build(empty.atoms(), 1 << 20, table), Error::none);
  ASSERT_EQ(table.location(4, where), Error::none);
  EXPECT_EQ(where.offset, 3000u);

  Tables huge;
  fillBFrameTables(huge);
  huge.stsz.sizes.clear();
  huge.stsz.constantSize = 1;
  huge.stsz.sampleCount = 0xFFFFFFFF;
  huge.stts.entries = {{0xFFFFFFFF, 1}};
  huge.stsc.entries = {{1, 0x7FFFFFFF, 1}};
  EXPECT_EQ(SampleTable::build(huge.atoms(), 4096, table), Error::badTable);  // more samples than bytes
}
