// The Movie Toolbox writing calls: movies written, closed and read back
// through the reading calls; the rules of each call; edits and segment
// copies; metadata and timecode; failures of the file system.
#include "WritingSupport.h"

#include <QuickTime/MovieStorage.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <unistd.h>

using namespace vqt::writing;

namespace {

constexpr int kWidth = 16, kHeight = 8;

std::vector<std::uint8_t> frameBytes(int frame) { return twoVuyFrame(kWidth, kHeight, frame); }

// Four frames at 24 fps, frame 2 not a sync sample, display offsets one
// positive and one negative.
RawMovie writeBasicMovie(const std::string& path) {
  return writeRawMovie(path, kWidth, kHeight, 4, {0, 200, -100, 0}, 2);
}

void closeMovie(RawMovie& w) {
  EXPECT_EQ(UpdateMovieInStorage(w.movie, w.storage), noErr);
  EXPECT_EQ(CloseMovieStorage(w.storage), noErr);
  DisposeMovie(w.movie);
}

}  // namespace

TEST(MovieWriting, WrittenMovieReadsBackAsWritten) {
  TempFolder folder;
  const std::string path = folder.file("basic.mov");
  RawMovie w = writeBasicMovie(path);
  // The movie being written already answers the reading calls.
  EXPECT_EQ(GetMediaDuration(w.video.media), 400);
  EXPECT_EQ(GetMediaDuration(w.sound.media), 8000);
  EXPECT_EQ(GetMovieDuration(w.movie), 400);
  closeMovie(w);

  // Codec, size, counts, rates and the sound format are judged by ffprobe in
  // the acceptance tests; here the display offsets (one negative), sync flags,
  // volume and sample bytes.
  Movie movie = openMovie(path);
  ASSERT_NE(movie, nullptr);
  Track sound = GetMovieIndTrackType(movie, 1, AudioMediaCharacteristic, movieTrackCharacteristic);
  ASSERT_NE(sound, nullptr);
  EXPECT_EQ(GetTrackVolume(sound), 0x100);
  Media videoMedia = GetTrackMedia(GetMovieIndTrackType(movie, 1, VideoMediaType, movieTrackMediaType));
  EXPECT_EQ(sampleAt(videoMedia, 250), frameBytes(2));
  EXPECT_EQ(sampleAt(GetTrackMedia(sound), 10), pcmFrames(2, 10, 1));

  TimeValue64 displayTime = 0, displayDuration = 0;
  SampleNumToMediaDisplayTime(videoMedia, 2, &displayTime, &displayDuration);
  EXPECT_EQ(displayTime, 300);
  SampleNumToMediaDisplayTime(videoMedia, 3, &displayTime, &displayDuration);
  EXPECT_EQ(displayTime, 100);
  MediaSampleFlags flags = 0;
  ByteCount size = 0;
  GetMediaSample2(videoMedia, nullptr, 0, &size, 200, nullptr, nullptr, nullptr, nullptr, nullptr, 1, nullptr, &flags);
  EXPECT_TRUE(flags & mediaSampleNotSync);
  DisposeMovie(movie);
}

TEST(MovieWriting, CallsRefuseWhatQuickTimeRefuses) {
  TempFolder folder;
  RawMovie w = writeBasicMovie(folder.file("rules.mov"));
  const auto bytes = frameBytes(0);
  ImageDescriptionHandle image = rawImageDescription('2vuy', kWidth, kHeight);
  auto* description = reinterpret_cast<SampleDescriptionHandle>(image);
  EXPECT_EQ(AddMediaSample2(w.video.media, nullptr, 10, 1, 0, description, 1, 0, nullptr), paramErr);
  EXPECT_EQ(AddMediaSample2(w.video.media, bytes.data(), 10, 1, 0, description, 3, 0, nullptr), paramErr);
  EXPECT_EQ(AddMediaSample2(w.video.media, bytes.data(), 10, 1, 0, nullptr, 1, 0, nullptr), paramErr);
  EXPECT_EQ(AddMediaSample2(w.video.media, bytes.data(), 10, -1, 0, description, 1, 0, nullptr), paramErr);
  // A description the reader could not take back never reaches the file.
  Handle damaged = NewHandleClear(24);
  reinterpret_cast<ImageDescription*>(*damaged)->idSize = 24;
  reinterpret_cast<ImageDescription*>(*damaged)->cType = '2vuy';
  EXPECT_EQ(AddMediaSample2(w.video.media, bytes.data(), 10, 1, 0, reinterpret_cast<SampleDescriptionHandle>(damaged),
                            1, 0, nullptr),
            invalidSampleDescription);
  DisposeHandle(damaged);
  EXPECT_EQ(GetMediaSampleCount(w.video.media), 4);
  EXPECT_EQ(InsertMediaIntoTrack(w.video.track, 0, 300, 200, 0x10000), invalidDuration);
  EXPECT_EQ(NewTrackMedia(w.video.track, VideoMediaType, 600, nullptr, 0), nullptr);
  EXPECT_EQ(GetMoviesError(), paramErr);
  Track empty = NewMovieTrack(w.movie, 0, 0, 0);
  EXPECT_EQ(InsertMediaIntoTrack(empty, 0, 0, 1, 0x10000), invalidMedia);
  EXPECT_EQ(AddTrackReference(w.video.track, w.video.track, 'tmcd', nullptr), paramErr);
  EXPECT_NE(GetMoviesStickyError(), noErr);
  ClearMoviesStickyError();

  // A movie opened from a file has no storage to take samples.
  closeMovie(w);
  Movie reopened = openMovie(folder.file("rules.mov"));
  Media media = GetTrackMedia(GetMovieIndTrack(reopened, 1));
  EXPECT_EQ(
      AddMediaSample2(media, bytes.data(), static_cast<ByteCount>(bytes.size()), 100, 0, description, 1, 0, nullptr),
      noDataHandler);
  DisposeMovie(reopened);
  EXPECT_EQ(
      AddMediaSample2(media, bytes.data(), static_cast<ByteCount>(bytes.size()), 100, 0, description, 1, 0, nullptr),
      invalidMedia);
  DisposeHandle(reinterpret_cast<Handle>(image));
}

TEST(MovieWriting, EditsInsertAndDeleteTime) {
  TempFolder folder;
  RawMovie w = writeBasicMovie(folder.file("edits.mov"));
  // A second copy of frames 1-2 at movie time 100 pushes the rest back.
  EXPECT_EQ(InsertMediaIntoTrack(w.video.track, 100, 100, 200, 0x10000), noErr);
  EXPECT_EQ(GetTrackDuration(w.video.track), 600);
  EXPECT_EQ(TrackTimeToMediaTime(50, w.video.track), 50);
  EXPECT_EQ(TrackTimeToMediaTime(150, w.video.track), 150);
  EXPECT_EQ(TrackTimeToMediaTime(350, w.video.track), 150);
  // Past the end: empty time fills the gap.
  EXPECT_EQ(InsertMediaIntoTrack(w.video.track, 800, 0, 100, 0x10000), noErr);
  EXPECT_EQ(TrackTimeToMediaTime(700, w.video.track), -1);
  EXPECT_EQ(GetTrackDuration(w.video.track), 900);
  EXPECT_EQ(DeleteMovieSegment(w.movie, 300, 600), noErr);
  EXPECT_EQ(GetTrackDuration(w.video.track), 300);
  EXPECT_EQ(GetMovieDuration(w.movie), 300);
  SetMovieTimeScale(w.movie, 600);
  EXPECT_EQ(GetTrackDuration(w.video.track), 75);
  closeMovie(w);
  Movie movie = openMovie(folder.file("edits.mov"));
  Track video = GetMovieIndTrack(movie, 1);
  EXPECT_EQ(GetTrackDuration(video), 75);
  EXPECT_EQ(TrackTimeToMediaTime(40, video), 160);  // 15 into the second edit, at media time 100
  DisposeMovie(movie);
}

// Sound copied from files and movies at offsets is checked sample by sample in
// the acceptance tests; here a part of a video track and a type mismatch.
TEST(MovieWriting, VideoSegmentCopiedFromAnotherMovie) {
  TempFolder folder;
  RawMovie w = writeBasicMovie(folder.file("source.mov"));
  closeMovie(w);
  Movie source = openMovie(folder.file("source.mov"));
  ASSERT_NE(source, nullptr);
  Movie second = nullptr;
  DataHandler storage = nullptr;
  ASSERT_EQ(createMovie(folder.file("second.mov"), 600, second, storage), noErr);
  NewTrack video = addTrack(second, VideoMediaType, 2400, kWidth << 16, kHeight << 16);
  Track sourceVideo = GetMovieIndTrack(source, 1);
  EXPECT_EQ(InsertTrackSegment(sourceVideo, video.track, 100, 200, 50), noErr);
  EXPECT_EQ(GetTrackDuration(video.track), 100);
  EXPECT_EQ(GetMediaSampleCount(video.media), 2);
  EXPECT_EQ(sampleAt(video.media, TrackTimeToMediaTime(50, video.track)), frameBytes(1));
  NewTrack wrongType = addTrack(second, SoundMediaType, 2400);
  EXPECT_EQ(InsertTrackSegment(sourceVideo, wrongType.track, 0, 100, 0), mediaTypesDontMatch);
  EXPECT_EQ(CloseMovieStorage(storage), noErr);
  DisposeMovie(second);
  DisposeMovie(source);
}

TEST(MovieWriting, MetadataItemsAreReplacedAndStored) {
  TempFolder folder;
  RawMovie w = writeBasicMovie(folder.file("meta.mov"));
  QTMetaDataRef metadata = nullptr;
  ASSERT_EQ(QTCopyMovieMetaData(w.movie, &metadata), noErr);
  auto add = [&](const char* key, const char* value) {
    QTMetaDataRemoveItemsWithKey(metadata, 'mdta', 'mdta', reinterpret_cast<const UInt8*>(key), std::strlen(key));
    return QTMetaDataAddItem(metadata, 'mdta', 'mdta', reinterpret_cast<const UInt8*>(key), std::strlen(key),
                             reinterpret_cast<const UInt8*>(value), std::strlen(value), kQTMetaDataTypeUTF8, nullptr);
  };
  EXPECT_EQ(add("frames", "3,4"), noErr);
  EXPECT_EQ(add("comment", "first"), noErr);
  EXPECT_EQ(add("comment", "second"), noErr);
  EXPECT_EQ(QTMetaDataAddItem(metadata, 'itms', 'mdta', reinterpret_cast<const UInt8*>("k"), 1, nullptr, 0, 1, nullptr),
            kQTMetaDataInvalidStorageFormatErr);
  QTMetaDataRelease(metadata);
  closeMovie(w);

  Movie movie = openMovie(folder.file("meta.mov"));
  ASSERT_EQ(QTCopyMovieMetaData(movie, &metadata), noErr);
  std::vector<std::pair<std::string, std::string>> items;
  QTMetaDataItem item = kQTMetaDataItemUninitialized;
  while (QTMetaDataGetNextItem(metadata, 'mdta', item, 0, nullptr, 0, &item) == noErr) {
    char key[64] = {}, value[64] = {};
    ByteCount used = 0;
    QTMetaDataGetItemProperty(metadata, item, kPropertyClass_MetaDataItem, kQTMetaDataItemPropertyID_Key, sizeof key,
                              key, &used);
    QTMetaDataGetItemValue(metadata, item, reinterpret_cast<UInt8*>(value), sizeof value, &used);
    items.emplace_back(key, value);
  }
  EXPECT_EQ(items, (std::vector<std::pair<std::string, std::string>>{{"frames", "3,4"}, {"comment", "second"}}));
  QTMetaDataRelease(metadata);
  DisposeMovie(movie);
}

TEST(MovieWriting, TimecodeTrackWithReelName) {
  TempFolder folder;
  RawMovie w = writeBasicMovie(folder.file("tc.mov"));
  NewTrack timecode = addTrack(w.movie, TimeCodeMediaType, 2400, kWidth << 16, kHeight << 16);
  SetTrackEnabled(timecode.track, true);
  Handle description = timecodeDescription(tc24HourMax, 30000, 1001, 30);
  UserData reel = nullptr;
  NewUserData(&reel);
  Handle text = nullptr;
  PtrToHand("A001", &text, 4);
  EXPECT_EQ(AddUserDataText(reel, text, 'name', 1, 0), noErr);
  EXPECT_EQ(TCSetSourceRef(GetMediaHandler(timecode.media), description, reel), noErr);
  DisposeHandle(text);
  DisposeUserData(reel);
  const UInt8 start[4] = {0x00, 0x01, 0x51, 0x80};  // frame 86400
  Handle sample = nullptr;
  PtrToHand(start, &sample, 4);
  TimeValue sampleTime = -1;
  EXPECT_EQ(AddMediaSample(timecode.media, sample, 0, 4, GetMovieDuration(w.movie),
                           reinterpret_cast<SampleDescriptionHandle>(description), 1, 0, &sampleTime),
            noErr);
  EXPECT_EQ(sampleTime, 0);
  DisposeHandle(sample);
  DisposeHandle(description);
  EndMediaEdits(timecode.media);
  EXPECT_EQ(InsertMediaIntoTrack(timecode.track, 0, 0, GetMediaDuration(timecode.media), 0x10000), noErr);
  SInt32 index = 0;
  EXPECT_EQ(AddTrackReference(w.video.track, timecode.track, 'tmcd', &index), noErr);
  EXPECT_EQ(index, 1);
  closeMovie(w);

  Movie movie = openMovie(folder.file("tc.mov"));
  Track video = GetMovieIndTrackType(movie, 1, VideoMediaType, movieTrackMediaType);
  Track tmcd = GetTrackReference(video, 'tmcd', 1);
  ASSERT_NE(tmcd, nullptr);
  SInt32 frame = 0;
  TimeCodeDef definition{};
  TimeCodeRecord record{};
  UserData source = nullptr;
  EXPECT_EQ(TCGetTimeCodeAtTime(GetMediaHandler(GetTrackMedia(tmcd)), 0, &frame, &definition, &record, &source), noErr);
  EXPECT_EQ(frame, 86400);
  EXPECT_EQ(definition.fTimeScale, 30000);
  EXPECT_EQ(definition.frameDuration, 1001);
  EXPECT_EQ(definition.numFrames, 30);
  EXPECT_EQ(definition.flags, tc24HourMax);
  SampleDescriptionHandle stored = reinterpret_cast<SampleDescriptionHandle>(NewHandle(0));
  GetMediaSampleDescription(GetTrackMedia(tmcd), 1, stored);
  EXPECT_EQ((*stored)->dataFormat, static_cast<OSType>('tmcd'));
  EXPECT_EQ((*stored)->dataRefIndex, 1);  // this file, whatever the handle said
  DisposeHandle(reinterpret_cast<Handle>(stored));
  Handle name = NewHandle(0);
  ASSERT_NE(source, nullptr);
  EXPECT_EQ(GetUserDataText(source, name, 'name', 1, 0), noErr);
  EXPECT_EQ(std::string(*name, static_cast<std::size_t>(GetHandleSize(name))), "A001");
  DisposeHandle(name);
  DisposeUserData(source);
  DisposeMovie(movie);
}

TEST(MovieWriting, SoundDescriptionKinds) {
  AudioStreamBasicDescription asbd{48000, 'lpcm', 12, 4, 1, 4, 2, 16, 0};
  SoundDescriptionHandle v2 = nullptr;
  ASSERT_EQ(QTSoundDescriptionCreate(&asbd, nullptr, 0, nullptr, 0, kQTSoundDescriptionKind_Movie_Version2, &v2),
            noErr);
  auto* fields = reinterpret_cast<SoundDescriptionV2*>(*v2);  // the rest is judged by ffprobe
  EXPECT_EQ(fields->constBytesPerAudioPacket, 4u);
  EXPECT_EQ(fields->constLPCMFramesPerAudioPacket, 1u);
  DisposeHandle(reinterpret_cast<Handle>(v2));
  SoundDescriptionHandle v0 = nullptr;
  ASSERT_EQ(
      QTSoundDescriptionCreate(&asbd, nullptr, 0, nullptr, 0, kQTSoundDescriptionKind_Movie_LowestPossibleVersion, &v0),
      noErr);
  EXPECT_EQ((*v0)->dataFormat, static_cast<OSType>('sowt'));
  EXPECT_EQ((*v0)->version, 0);
  EXPECT_EQ((*v0)->numChannels, 2);
  DisposeHandle(reinterpret_cast<Handle>(v0));
  asbd.mChannelsPerFrame = 6;
  EXPECT_EQ(QTSoundDescriptionCreate(&asbd, nullptr, 0, nullptr, 0, kQTSoundDescriptionKind_Movie_Version0, &v0),
            paramErr);
  EXPECT_EQ(QTSoundDescriptionCreate(&asbd, nullptr, 0, nullptr, 0, 'junk', &v0), paramErr);
  asbd.mChannelsPerFrame = 0;
  EXPECT_EQ(QTSoundDescriptionCreate(&asbd, nullptr, 0, nullptr, 0, kQTSoundDescriptionKind_Movie_Version2, &v0),
            paramErr);
  EXPECT_EQ(v0, nullptr);
}

TEST(MovieWritingFailures, CreatingWhereNoFileCanBeMade) {
  Movie movie = nullptr;
  DataHandler storage = nullptr;
  EXPECT_EQ(createMovie("/nonexistent-folder/x/out.mov", 600, movie, storage), dirNFErr);
  EXPECT_EQ(movie, nullptr);
  EXPECT_EQ(storage, nullptr);
  EXPECT_EQ(createMovie("/etc/hostname/out.mov", 600, movie, storage), dirNFErr);
  if (::geteuid() != 0) {
    TempFolder folder;
    const std::string locked = folder.file("locked");
    std::filesystem::create_directory(locked);
    std::filesystem::permissions(locked, std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    EXPECT_EQ(createMovie(locked + "/out.mov", 600, movie, storage), permErr);
  }
  // Without the replace flag an existing file is kept.
  TempFolder folder;
  const std::string path = folder.file("kept.mov");
  std::ofstream(path) << "kept";
  Handle dataRef = dataRefFor(path);
  EXPECT_EQ(CreateMovieStorage(dataRef, AliasDataHandlerSubType, 'TVOD', -1, 0, &storage, &movie), dupFNErr);
  DisposeHandle(dataRef);
  EXPECT_EQ(std::filesystem::file_size(path), 4u);
}
