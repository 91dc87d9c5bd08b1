// The Movie Toolbox calls over synthetic movie files: result codes and the
// sticky error, stale references, sample reads, user data, metadata and the
// timecode handler.
#include "SyntheticMovie.h"

#include <QuickTime/Movies.h>

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

#include <unistd.h>

using namespace vqt::container;
using namespace vqt::container::testing;

namespace {

// Files carry the process id: test programs run side by side and share the temporary folder.
std::string writeFile(const std::string& name, const std::vector<std::uint8_t>& bytes) {
  const std::string path = ::testing::TempDir() + "/vqt-" + std::to_string(getpid()) + "-" + name;
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return path;
}

OSStatus openPath(const std::string& path, Movie* movie) {
  CFStringRef text = CFStringCreateWithCString(nullptr, path.c_str(), kCFStringEncodingUTF8);
  QTNewMoviePropertyElement location{kQTPropertyClass_DataLocation, kQTDataLocationPropertyID_CFStringPosixPath,
                                     sizeof text, &text, 0};
  const OSStatus status = NewMovieFromProperties(1, &location, 0, nullptr, movie);
  CFRelease(text);
  return status;
}

SyntheticTrack bFrameTrack() {
  SyntheticTrack t;
  t.timeScale = 600;
  t.durations.assign(7, 100);
  t.compositionOffsets = {100, 300, 0, 0, 300, 0, 0};
  t.sizes = {10, 20, 30, 40, 50, 60, 70};
  t.syncSamples = {1, 5};
  t.samplesPerChunk = 3;
  return t;
}

// 30000/1001 drop-frame timecode starting at 01:00:00;00 (frame 107892), one
// sample lasting ten seconds.
SyntheticTrack dropFrameTimecode() {
  SyntheticTrack t;
  t.handler = 'tmcd';
  t.timeScale = 30000;
  t.durations = {300000};
  t.sizes = {4};
  t.sampleBytes = be32(107892);
  t.timecodeFlags = 1;
  t.timecodeScale = 30000;
  t.frameDuration = 1001;
  t.framesPerSecond = 30;
  t.extensions = {{'name', {0, 8, 0, 0, 'R', 'e', 'e', 'l', '\r', 'B', '-', '2'}}};
  return t;
}

class ContainerMovieToolbox : public ::testing::Test {
 protected:
  void open(const SyntheticMovie& shape) {
    ASSERT_EQ(openPath(writeFile("toolbox.mov", buildMovieFile(shape)), &movie), noErr);
  }
  void TearDown() override {
    if (movie) DisposeMovie(movie);
  }
  Media mediaOf(SInt32 index) { return GetTrackMedia(GetMovieIndTrack(movie, index)); }
  Movie movie = nullptr;
};

}  // namespace

TEST(ContainerMovieToolboxErrors, OpeningFailuresSetTheLastAndStickyErrors) {
  ClearMoviesStickyError();
  Movie movie = nullptr;
  EXPECT_EQ(openPath("/nonexistent/file.mov", &movie), fnfErr);
  EXPECT_EQ(movie, nullptr);
  EXPECT_EQ(GetMoviesError(), fnfErr);
  EXPECT_EQ(openPath(writeFile("junk.mov", {1, 2, 3, 4, 5, 6, 7, 8, 9}), &movie), invalidMovie);
  EXPECT_EQ(GetMoviesStickyError(), fnfErr);  // the first failure sticks
  SyntheticMovie shape;
  shape.tracks = {bFrameTrack()};
  shape.tracks[0].dataReferenceFlags = 0;
  EXPECT_EQ(openPath(writeFile("external.mov", buildMovieFile(shape)), &movie), couldNotResolveDataRef);
  shape.tracks[0].dataReferenceFlags = 1;
  ASSERT_EQ(openPath(writeFile("good.mov", buildMovieFile(shape)), &movie), noErr);
  EXPECT_EQ(GetMoviesError(), noErr);
  EXPECT_EQ(GetMoviesStickyError(), fnfErr);
  ClearMoviesStickyError();
  EXPECT_EQ(GetMoviesStickyError(), noErr);

  Track track = GetMovieIndTrack(movie, 1);
  EXPECT_EQ(GetMovieIndTrack(movie, 2), nullptr);
  EXPECT_EQ(GetMoviesError(), badTrackIndex);
  DisposeMovie(movie);
  // References of a disposed movie are refused, not followed.
  EXPECT_EQ(GetMovieTrackCount(movie), 0);
  EXPECT_EQ(GetMoviesError(), invalidMovie);
  EXPECT_EQ(GetTrackMedia(track), nullptr);
  EXPECT_EQ(GetMoviesError(), invalidTrack);
  ClearMoviesStickyError();
}

TEST_F(ContainerMovieToolbox, SampleQueriesAnswerMinusOneOutsideTheMedia) {
  SyntheticMovie shape;
  shape.tracks = {bFrameTrack()};
  open(shape);
  Media media = mediaOf(1);
  TimeValue64 time = 0, duration = 0;
  SampleNumToMediaDecodeTime(media, 8, &time, &duration);
  EXPECT_EQ(GetMoviesError(), invalidSampleNum);
  EXPECT_EQ(time, -1);
  SInt64 sample = 0;
  MediaDisplayTimeToSampleNum(media, 800, &sample, &time, nullptr);
  EXPECT_EQ(GetMoviesError(), invalidTime);
  EXPECT_EQ(sample, -1);
  MediaDisplayTimeToSampleNum(media, 450, &sample, &time, &duration);
  EXPECT_EQ(sample, 2);
  EXPECT_EQ(time, 400);

  // Sync search without EdgeOK and forwards (the acceptance tests search back with EdgeOK).
  GetMediaNextInterestingDecodeTime(media, nextTimeSyncSample, 400, -fixed1, &time, nullptr);
  EXPECT_EQ(time, 0);
  GetMediaNextInterestingDecodeTime(media, nextTimeSyncSample, 0, fixed1, &time, &duration);
  EXPECT_EQ(time, 400);
  GetMediaNextInterestingDecodeTime(media, nextTimeSyncSample, 400, fixed1, &time, nullptr);
  EXPECT_EQ(time, -1);
  EXPECT_EQ(GetMoviesError(), noErr);
}

TEST_F(ContainerMovieToolbox, MediaSamplesAreReadWithTheirFlagsAndChunkNeighbours) {
  SyntheticMovie shape;
  shape.tracks = {bFrameTrack()};
  open(shape);
  Media media = mediaOf(1);
  std::vector<UInt8> buffer(200);
  ByteCount size = 0;
  MediaSampleFlags flags = 0;
  EXPECT_EQ(GetMediaSample2(media, buffer.data(), 10, &size, 100, nullptr, nullptr, nullptr, nullptr, nullptr, 1,
                            nullptr, nullptr),
            paramErr);
  EXPECT_EQ(size, 20u);  // the size needed
  ASSERT_EQ(GetMediaSample2(media, buffer.data(), 200, &size, 150, nullptr, nullptr, nullptr, nullptr, nullptr, 1,
                            nullptr, nullptr),
            noErr);
  EXPECT_EQ(buffer[0], 1);  // sample 2 is filled with its index, 1
  ItemCount count = 0;
  TimeValue64 start = 0;
  ASSERT_EQ(GetMediaSample2(media, buffer.data(), 200, &size, 0, &start, nullptr, nullptr, nullptr, nullptr, 10, &count,
                            &flags),
            noErr);
  EXPECT_EQ(count, 3);  // a chunk holds three samples
  EXPECT_EQ(size, 60u);
  EXPECT_EQ(flags & mediaSampleNotSync, 0u);
  EXPECT_EQ(
      GetMediaSample2(media, nullptr, 0, &size, 700, nullptr, nullptr, nullptr, nullptr, nullptr, 1, nullptr, nullptr),
      invalidTime);
}

TEST(ContainerMovieToolboxUserData, ListsKeepTypesInOrderAndTextsByLanguage) {
  UserData list = nullptr;
  ASSERT_EQ(NewUserData(&list), noErr);
  Handle text = NewHandle(0);
  PtrToXHand("first", text, 5);
  AddUserDataText(list, text, 'name', 1, 0);
  PtrToXHand("zweite", text, 6);
  AddUserDataText(list, text, 'name', 1, 2);  // same item, another language
  AddUserData(list, text, 'Xtra');
  AddUserDataText(list, text, 'name', 2, 0);
  EXPECT_EQ(GetNextUserDataType(list, 0), static_cast<SInt32>('name'));
  EXPECT_EQ(GetNextUserDataType(list, 'name'), static_cast<SInt32>('Xtra'));
  EXPECT_EQ(GetNextUserDataType(list, 'Xtra'), 0);
  EXPECT_EQ(CountUserDataType(list, 'name'), 2);
  ASSERT_EQ(GetUserDataText(list, text, 'name', 1, 2), noErr);
  EXPECT_EQ(std::string(*text, GetHandleSize(text)), "zweite");
  ASSERT_EQ(GetUserDataText(list, text, 'name', 1, 7), noErr);  // no such language: the first text
  EXPECT_EQ(std::string(*text, GetHandleSize(text)), "first");
  EXPECT_EQ(GetUserDataText(list, text, 'name', 3, 0), userDataItemNotFound);
  EXPECT_EQ(RemoveUserData(list, 'name', 1), noErr);
  EXPECT_EQ(CountUserDataType(list, 'name'), 1);
  DisposeHandle(text);
  EXPECT_EQ(DisposeUserData(list), noErr);
  EXPECT_EQ(DisposeUserData(list), paramErr);  // already gone
}

TEST_F(ContainerMovieToolbox, MetadataItemsFilterByKeyAndReportValueSizes) {
  SyntheticMovie shape;
  shape.tracks = {bFrameTrack()};
  shape.metadata = {{"a", 1, {'x', 'y', 'z'}}, {"n", 21, {0xFF, 0xFF, 0xFF, 0xFE}}, {"a", 1, {'w'}}};
  shape.compressHeader = true;  // metadata inside a compressed header is found too
  open(shape);
  UserData movieData = GetMovieUserData(movie);
  EXPECT_EQ(DisposeUserData(movieData), paramErr);  // belongs to the movie
  QTMetaDataRef metadata = nullptr;
  ASSERT_EQ(QTCopyMovieMetaData(movie, &metadata), noErr);
  const UInt8 key[] = {'a'};
  ItemCount count = 0;
  QTMetaDataGetItemCountWithKey(metadata, kQTMetaDataStorageFormatQuickTime, kQTMetaDataKeyFormatQuickTime, key, 1,
                                &count);
  EXPECT_EQ(count, 2);
  QTMetaDataItem first = 0, second = 0, none = 0;
  ASSERT_EQ(QTMetaDataGetNextItem(metadata, 'mdta', 0, 'mdta', key, 1, &first), noErr);
  ASSERT_EQ(QTMetaDataGetNextItem(metadata, 'mdta', first, 'mdta', key, 1, &second), noErr);
  EXPECT_EQ(QTMetaDataGetNextItem(metadata, 'mdta', second, 'mdta', key, 1, &none), kQTMetaDataNoMoreItemsErr);
  EXPECT_EQ(QTMetaDataGetNextItem(metadata, 'itms', 0, 'mdta', nullptr, 0, &none), kQTMetaDataNoMoreItemsErr);
  char value[8];
  ByteCount used = 0;
  EXPECT_EQ(QTMetaDataGetItemProperty(metadata, first, 'mdit', 'valu', 2, value, &used), kQTPropertyBadValueSizeErr);
  EXPECT_EQ(used, 3u);
  EXPECT_EQ(QTMetaDataGetItemProperty(metadata, 99, 'mdit', 'valu', 8, value, &used), kQTMetaDataInvalidItemErr);
  QTMetaDataItem number = 0;
  QTMetaDataGetNextItem(metadata, 'mdta', first, 'mdta', nullptr, 0, &number);
  UInt32 type = 0;
  QTMetaDataGetItemProperty(metadata, number, 'mdit', 'dtyp', 4, &type, nullptr);
  EXPECT_EQ(type, kQTMetaDataTypeSignedIntegerBE);
  DisposeMovie(movie);
  movie = nullptr;
  // The reference outlives the movie until it is released.
  EXPECT_EQ(QTMetaDataGetItemProperty(metadata, first, 'mdit', 'valu', 8, value, &used), noErr);
  EXPECT_EQ(QTMetaDataRelease(metadata), noErr);
}

TEST_F(ContainerMovieToolbox, TimecodeHandlerReadsTheCurrentTimecodeAndItsSource) {
  SyntheticMovie shape;
  shape.tracks = {bFrameTrack(), dropFrameTimecode()};
  open(shape);
  MediaHandler handler = GetMediaHandler(mediaOf(2));
  UserData source = nullptr;
  ASSERT_EQ(NewUserData(&source), noErr);
  UserData given = source;
  SInt32 frame = 0;
  TimeCodeDef definition{};
  TimeCodeRecord record{};
  ASSERT_EQ(TCGetCurrentTimeCode(handler, &frame, &definition, &record, &source), noErr);
  EXPECT_EQ(source, given);  // filled in place
  EXPECT_EQ(frame, 107892);
  EXPECT_EQ(definition.fTimeScale, 30000);
  EXPECT_EQ(definition.frameDuration, 1001);
  Str255 text{};
  ASSERT_EQ(TCTimeCodeToString(handler, &definition, &record, text), noErr);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(text + 1), text[0]), "01:00:00;00");
  Handle reel = NewHandle(0);
  ASSERT_EQ(GetUserDataText(source, reel, 'name', 1, 0), noErr);
  EXPECT_EQ(std::string(*reel, GetHandleSize(reel)), "Reel\rB-2");
  DisposeHandle(reel);
  DisposeUserData(source);

  SetMovieTimeValue(movie, 600);  // one second in: 29 whole frames at 29.97
  ASSERT_EQ(TCGetCurrentTimeCode(handler, &frame, &definition, &record, nullptr), noErr);
  EXPECT_EQ(frame, 107892 + 29);
  SInt32 back = 0;
  TCTimeCodeToFrameNumber(handler, &definition, &record, &back);
  EXPECT_EQ(back, frame);
  TCFrameNumberToTimeCode(handler, -30, &definition, &record);
  TCTimeCodeToString(handler, &definition, &record, text);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(text + 1), text[0]), "-00:00:01;00");

  EXPECT_EQ(TCGetCurrentTimeCode(GetMediaHandler(mediaOf(1)), &frame, &definition, &record, nullptr),
            badComponentSelector);
  EXPECT_EQ(TCGetCurrentTimeCode(nullptr, &frame, &definition, &record, nullptr), badComponentInstance);
}
