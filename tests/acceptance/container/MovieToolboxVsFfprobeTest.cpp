// Our Movie Toolbox answers on movies that ffmpeg wrote, against what ffprobe
// reads from the same files.
#include "FfprobeReport.h"

#include <QuickTime/Movies.h>

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <cstring>

using namespace vqt::acceptance;

namespace {

std::string fixturePath(const std::string& name) { return std::string(VQT_CONTAINER_FIXTURES) + "/" + name; }

// A fixture movie opened through the Movie Toolbox, disposed at the end of the scope.
class OpenMovie {
 public:
  explicit OpenMovie(const std::string& name) {
    EnterMovies();
    CFStringRef path = CFStringCreateWithCString(nullptr, fixturePath(name).c_str(), kCFStringEncodingUTF8);
    Boolean active = true;
    QTNewMoviePropertyElement properties[] = {
        {kQTPropertyClass_DataLocation, kQTDataLocationPropertyID_CFStringPosixPath, sizeof path, &path, 0},
        {kQTPropertyClass_NewMovieProperty, kQTNewMoviePropertyID_Active, sizeof active, &active, 0},
    };
    status_ = NewMovieFromProperties(2, properties, 0, nullptr, &movie_);
    CFRelease(path);
  }
  ~OpenMovie() {
    if (movie_) DisposeMovie(movie_);
  }
  OpenMovie(const OpenMovie&) = delete;
  OpenMovie& operator=(const OpenMovie&) = delete;

  Movie movie() const { return movie_; }
  OSStatus status() const { return status_; }
  // The first track whose media type is `type`, or null.
  Track track(OSType type) const {
    for (SInt32 i = 1; i <= GetMovieTrackCount(movie_); ++i) {
      Track track = GetMovieIndTrack(movie_, i);
      OSType mediaType = 0;
      GetMediaHandlerDescription(GetTrackMedia(track), &mediaType, nullptr, nullptr);
      if (mediaType == type) return track;
    }
    return nullptr;
  }

 private:
  Movie movie_ = nullptr;
  OSStatus status_ = noErr;
};

// Frames of a track counted by stepping through its interesting times, as a reader counts them.
int countFrames(Track track) {
  int frames = 0;
  TimeValue time = 0;
  short flags = nextTimeMediaSample | nextTimeEdgeOK;
  for (;;) {
    GetTrackNextInterestingTime(track, flags, time, fixed1, &time, nullptr);
    if (time < 0) return frames;
    ++frames;
    flags = nextTimeStep;
  }
}

long long number(const std::map<std::string, std::string>& fields, const std::string& key) {
  auto it = fields.find(key);
  return it == fields.end() ? -999999 : std::stoll(it->second);
}

// Every sample of the first video track: decode and display times, sizes and
// sync flags, against ffprobe's packets (which it reports with the edit's
// start subtracted).
void expectVideoSamplesMatch(const std::string& name) {
  OpenMovie open(name);
  ASSERT_EQ(open.status(), noErr);
  Track track = open.track(VideoMediaType);
  ASSERT_NE(track, nullptr);
  Media media = GetTrackMedia(track);
  const auto stream = streamFields(fixturePath(name), "v:0");
  const auto rows = packets(fixturePath(name), "v:0");
  ASSERT_FALSE(rows.empty());
  EXPECT_EQ(GetMediaSampleCount(media), number(stream, "nb_frames"));
  EXPECT_EQ("1/" + std::to_string(GetMediaTimeScale(media)), stream.at("time_base"));
  EXPECT_EQ(countFrames(track), number(stream, "nb_frames"));

  const TimeValue editStart = TrackTimeToMediaTime(0, track);
  TimeValue64 lastSyncTime = -1;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const SInt64 sample = static_cast<SInt64>(i + 1);
    TimeValue64 decodeTime = 0, decodeDuration = 0, displayTime = 0, displayDuration = 0;
    SampleNumToMediaDecodeTime(media, sample, &decodeTime, &decodeDuration);
    SampleNumToMediaDisplayTime(media, sample, &displayTime, &displayDuration);
    EXPECT_EQ(decodeTime - editStart, rows[i].dts) << "sample " << sample;
    EXPECT_EQ(displayTime - editStart, rows[i].pts) << "sample " << sample;
    EXPECT_EQ(decodeDuration, rows[i].duration);

    ByteCount size = 0;
    MediaSampleFlags flags = 0;
    TimeValue64 displayOffset = 0;
    ASSERT_EQ(GetMediaSample2(media, nullptr, 0, &size, decodeTime, nullptr, nullptr, &displayOffset, nullptr, nullptr,
                              1, nullptr, &flags),
              noErr);
    EXPECT_EQ(static_cast<long long>(size), rows[i].size);
    EXPECT_EQ(displayOffset, rows[i].pts - rows[i].dts);
    EXPECT_EQ((flags & mediaSampleNotSync) == 0, rows[i].keyframe) << "sample " << sample;
    if (rows[i].keyframe) lastSyncTime = decodeTime;

    SInt64 found = 0;
    MediaDisplayTimeToSampleNum(media, displayTime, &found, nullptr, nullptr);
    EXPECT_EQ(found, sample);
    TimeValue64 syncTime = 0;
    GetMediaNextInterestingDecodeTime(media, nextTimeSyncSample | nextTimeEdgeOK, decodeTime, -fixed1, &syncTime,
                                      nullptr);
    EXPECT_EQ(GetMoviesError(), noErr);
    EXPECT_EQ(syncTime, lastSyncTime) << "sample " << sample;
  }
  const auto format = formatFields(fixturePath(name));
  EXPECT_NEAR(double(GetMovieDuration(open.movie())) / GetMovieTimeScale(open.movie()),
              std::stod(format.at("duration")), 0.002);
}

}  // namespace

TEST(ContainerAcceptance, H264WithBFramesInAMovieFile) { expectVideoSamplesMatch("h264-bframes.mov"); }

TEST(ContainerAcceptance, H264WithBFramesInAnMp4File) { expectVideoSamplesMatch("h264-aac.mp4"); }

TEST(ContainerAcceptance, EditListShiftsTheFirstFrame) {
  OpenMovie open("shifted-start.mov");
  ASSERT_EQ(open.status(), noErr);
  Track track = open.track(VideoMediaType);
  ASSERT_NE(track, nullptr);
  const auto rows = packets(fixturePath("shifted-start.mov"), "v:0");
  ASSERT_FALSE(rows.empty());
  const TimeScale movieScale = GetMovieTimeScale(open.movie());
  const TimeScale mediaScale = GetMediaTimeScale(GetTrackMedia(track));
  TimeValue first = -1;
  GetTrackNextInterestingTime(track, nextTimeMediaSample | nextTimeEdgeOK, 0, fixed1, &first, nullptr);
  EXPECT_EQ(first, rows[0].pts * movieScale / mediaScale);
  EXPECT_GT(first, 0);
  EXPECT_EQ(TrackTimeToMediaTime(0, track), -1);
  EXPECT_EQ(TrackTimeToMediaTime(first, track), 0);
  EXPECT_EQ(countFrames(track), static_cast<int>(rows.size()));
  EXPECT_NEAR(double(GetTrackDuration(track)) / movieScale,
              std::stod(formatFields(fixturePath("shifted-start.mov")).at("duration")), 0.002);
}

TEST(ContainerAcceptance, SoundFormatsAndSampleCounts) {
  for (const char* format :
       {"pcm_s16le", "pcm_s16be", "pcm_s24be", "pcm_s32be", "pcm_f32be", "pcm_f64be", "alac", "aac"}) {
    const std::string name = std::string("sound-") + format + ".mov";
    SCOPED_TRACE(name);
    OpenMovie open(name);
    ASSERT_EQ(open.status(), noErr);
    Track track = open.track(SoundMediaType);
    ASSERT_NE(track, nullptr);
    Media media = GetTrackMedia(track);
    const auto stream = streamFields(fixturePath(name), "a:0");
    EXPECT_EQ(GetMediaSampleCount(media), number(stream, "nb_frames"));
    EXPECT_EQ(GetMediaTimeScale(media), number(stream, "sample_rate"));
    // Priming samples make the stored duration of AAC longer than what plays.
    if (std::strcmp(format, "aac") != 0) {
      EXPECT_EQ(GetMediaDuration(media), number(stream, "duration_ts"));
    }

    Handle description = NewHandle(0);
    ASSERT_EQ(GetMediaSample2(media, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr,
                              reinterpret_cast<SampleDescriptionHandle>(description), nullptr, 1, nullptr, nullptr),
              noErr);
    auto sound = reinterpret_cast<SoundDescriptionHandle>(description);
    const OSType type = (**sound).dataFormat;
    const char tag[5] = {char(type >> 24), char(type >> 16), char(type >> 8), char(type), 0};
    EXPECT_EQ(std::string(tag), stream.at("codec_tag_string"));
    const long channels = (**sound).version == 2
                              ? long(reinterpret_cast<SoundDescriptionV2Handle>(sound)[0]->numAudioChannels)
                              : long((**sound).numChannels);
    EXPECT_EQ(channels, number(stream, "channels"));
    DisposeHandle(description);
  }
}
