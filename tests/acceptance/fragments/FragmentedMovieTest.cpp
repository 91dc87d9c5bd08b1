// Fragmented movies that the ffmpeg CLI copied packet for packet from an
// unfragmented one: the Movie Toolbox must report the source's sample tables
// (and ffprobe's packets), and the public reader must give the frames the CLI
// decodes and the source's sound.
#include "FfprobeReport.h"
#include "ReaderFixtures.h"

#include <QuickTime/Movies.h>

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <sstream>

using Vantor::QuickTime::QuickTimeCodecReader;
using namespace vqt::acceptance;
using namespace ReaderTest;

namespace {

struct FragmentCase {
  const char* file;
  const char* source;  // the unfragmented movie it was copied from
  double minimumPsnr;  // dB
  // The CLI's every-frame layout cannot know a sound fragment's duration when
  // it writes it (it states 4000, then 0, and repeats decode times), so some
  // of those samples start where the next one does and cannot be reached by
  // time; there only the count is compared.
  bool soundReachableByTime = true;
};

// H.264 lands at 40-50 dB against the CLI's decode and ProRes above 50; the
// floor is well above what a wrong frame (one off: under 20 dB) gives.
const FragmentCase kCases[] = {
    {"h264-aac-frag.mp4", "h264-aac.mov", 30.0},
    {"h264-aac-frag.mov", "h264-aac.mov", 30.0},
    {"h264-aac-frag-moof.mp4", "h264-aac.mov", 30.0},
    {"h264-aac-frag-moof.mov", "h264-aac.mov", 30.0},
    {"h264-aac-every.mp4", "h264-aac.mov", 30.0, false},
    {"h264-aac-keyframe.mp4", "h264-aac.mov", 30.0},
    {"h264-aac-sidx.mp4", "h264-aac.mov", 30.0},
    {"h264-aac-dash.mp4", "h264-aac.mov", 30.0},
    {"h264-frag.mp4", "h264.mov", 30.0},
    {"h264-frag.mov", "h264.mov", 30.0},
    {"h264-frag-moof.mp4", "h264.mov", 30.0},
    {"h264-frag-moof.mov", "h264.mov", 30.0},
    {"prores-pcm-frag.mov", "prores-pcm.mov", 30.0},
    {"prores-pcm-frag-moof.mov", "prores-pcm.mov", 30.0},
    {"prores-pcm-every.mov", "prores-pcm.mov", 30.0},
};

// A fixture movie opened through the Movie Toolbox, disposed at the end of the scope.
class OpenMovie {
 public:
  explicit OpenMovie(const std::string& name) {
    EnterMovies();
    CFStringRef path = CFStringCreateWithCString(nullptr, fixture(name).c_str(), kCFStringEncodingUTF8);
    QTNewMoviePropertyElement properties[] = {
        {kQTPropertyClass_DataLocation, kQTDataLocationPropertyID_CFStringPosixPath, sizeof path, &path, 0},
    };
    status_ = NewMovieFromProperties(1, properties, 0, nullptr, &movie_);
    CFRelease(path);
  }
  ~OpenMovie() {
    if (movie_) DisposeMovie(movie_);
  }
  OpenMovie(const OpenMovie&) = delete;
  OpenMovie& operator=(const OpenMovie&) = delete;

  OSStatus status() const { return status_; }
  Media media(OSType type) const {
    for (SInt32 i = 1; i <= GetMovieTrackCount(movie_); ++i) {
      Media media = GetTrackMedia(GetMovieIndTrack(movie_, i));
      OSType mediaType = 0;
      GetMediaHandlerDescription(media, &mediaType, nullptr, nullptr);
      if (mediaType == type) return media;
    }
    return nullptr;
  }

 private:
  Movie movie_ = nullptr;
  OSStatus status_ = noErr;
};

struct SampleRow {
  TimeValue64 decodeDuration = 0, displayOffset = 0;
  ByteCount size = 0;
  bool sync = false;
  bool operator==(const SampleRow&) const = default;
};

std::vector<SampleRow> sampleRows(Media media) {
  std::vector<SampleRow> rows;
  for (SInt64 sample = 1; sample <= GetMediaSampleCount(media); ++sample) {
    SampleRow row;
    TimeValue64 decodeTime = 0;
    SampleNumToMediaDecodeTime(media, sample, &decodeTime, &row.decodeDuration);
    MediaSampleFlags flags = 0;
    if (GetMediaSample2(media, nullptr, 0, &row.size, decodeTime, nullptr, nullptr, &row.displayOffset, nullptr,
                        nullptr, 1, nullptr, &flags) != noErr)
      break;
    row.sync = (flags & mediaSampleNotSync) == 0;
    rows.push_back(row);
  }
  return rows;
}

struct Packet {
  long long pts = 0, dts = 0, size = 0;
  bool keyframe = false;
};

// ffprobe's packets of the first video stream. Its durations are left out:
// ffprobe reports none for some packets of fragmented movies.
std::vector<Packet> videoPackets(const std::string& file) {
  std::vector<Packet> rows;
  std::istringstream lines(
      runFfprobe("-select_streams v:0 -show_entries packet=pts,dts,size,flags -of csv=p=0 '" + file + "'"));
  for (std::string line; std::getline(lines, line);) {
    Packet row;
    char flags[8] = {};
    if (std::sscanf(line.c_str(), "%lld,%lld,%lld,%7s", &row.pts, &row.dts, &row.size, flags) == 4) {
      row.keyframe = flags[0] == 'K';
      rows.push_back(row);
    }
  }
  return rows;
}

std::string testName(const testing::TestParamInfo<FragmentCase>& info) {
  std::string name = info.param.file;
  for (char& ch : name)
    if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
  return name;
}

class FragmentedMovie : public testing::TestWithParam<FragmentCase> {};

TEST_P(FragmentedMovie, SampleTablesEqualTheSourcesAndFfprobesPackets) {
  const FragmentCase& c = GetParam();
  OpenMovie fragmented(c.file), source(c.source);
  ASSERT_EQ(fragmented.status(), noErr);
  ASSERT_EQ(source.status(), noErr);

  const std::vector<SampleRow> video = sampleRows(fragmented.media(VideoMediaType));
  EXPECT_EQ(video, sampleRows(source.media(VideoMediaType)));
  const auto packetRows = videoPackets(fixture(c.file));
  ASSERT_EQ(video.size(), packetRows.size());
  for (std::size_t i = 0; i < video.size(); ++i) {
    EXPECT_EQ(static_cast<long long>(video[i].size), packetRows[i].size) << "sample " << i + 1;
    EXPECT_EQ(video[i].sync, packetRows[i].keyframe) << "sample " << i + 1;
    EXPECT_EQ(video[i].displayOffset, packetRows[i].pts - packetRows[i].dts) << "sample " << i + 1;
  }

  Media sound = source.media(SoundMediaType);
  if (!sound) return;
  Media fragmentedSound = fragmented.media(SoundMediaType);
  ASSERT_NE(fragmentedSound, nullptr);
  EXPECT_EQ(GetMediaSampleCount(fragmentedSound), GetMediaSampleCount(sound));
  // Sizes of compressed sound, one packet a sample (uncompressed sound counts
  // frames of one size).
  if (!c.soundReachableByTime) return;
  const std::vector<SampleRow> soundRows = sampleRows(fragmentedSound), sourceRows = sampleRows(sound);
  ASSERT_EQ(soundRows.size(), sourceRows.size());
  for (std::size_t i = 0; i < soundRows.size(); ++i) EXPECT_EQ(soundRows[i].size, sourceRows[i].size) << i + 1;
}

TEST_P(FragmentedMovie, ReaderGivesTheCliFramesAndTheSourcesSound) {
  const FragmentCase& c = GetParam();
  QuickTimeCodecReader reader, sourceReader;
  ASSERT_EQ(reader.open(fixture(c.file), 3), 0);
  ASSERT_EQ(sourceReader.open(fixture(c.source), 3), 0);
  const VideoInfo info = videoInfo(reader);
  const int count = reader.getFrameCount();
  EXPECT_EQ(count, static_cast<int>(videoPackets(fixture(c.file)).size()));
  EXPECT_EQ(count, sourceReader.getFrameCount());
  std::vector<float> ours(static_cast<size_t>(info.width) * info.height * 4), source(ours.size());
  for (int frame : {1, count / 2 + 1, count}) {
    ASSERT_EQ(reader.decodeFrame(frame, ours.data()), 0) << frame;
    ASSERT_EQ(sourceReader.decodeFrame(frame, source.data()), 0) << frame;
    EXPECT_EQ(ours, source) << "frame " << frame << " differs from the unfragmented movie's";
    const std::vector<float> theirs = ffmpegRgb(fixture(c.file), frame - 1, info.width, info.height);
    ASSERT_FALSE(theirs.empty());
    const double value = psnr(ours, theirs);
    std::printf("PSNR %s frame %d of %d: %.2f dB\n", c.file, frame, count, value);
    EXPECT_GE(value, c.minimumPsnr) << "frame " << frame;
  }
  ASSERT_EQ(reader.hasAudio(), sourceReader.hasAudio());
  if (!reader.hasAudio()) return;
  // The sound lasts what ffprobe's packets of the fragmented file span, up to
  // the length of the last one (which ffprobe guesses; its stream duration
  // comes from 'sidx' where there is one). For AAC that is longer than the
  // source: the CLI gives a fragment's first packet the length of its priming
  // and delay, where the source has an edit.
  int channels = 0, rate = 0, bytesPerSample = 0, sampleBytes = 0;
  reader.getAudioFormat(&channels, &rate, &bytesPerSample, &sampleBytes);
  std::istringstream lines(
      runFfprobe("-select_streams a:0 -show_entries packet=pts,duration -of csv=p=0 '" + fixture(c.file) + "'"));
  long long firstPts = -1, lastEnd = 0, lastDuration = 0;
  for (std::string line; std::getline(lines, line);) {
    long long pts = 0;
    lastDuration = 0;  // "N/A" for some packets
    if (std::sscanf(line.c_str(), "%lld,%lld", &pts, &lastDuration) < 1) continue;
    if (firstPts < 0) firstPts = pts;
    lastEnd = pts + lastDuration;
  }
  EXPECT_NEAR(double(reader.getAudioSampleCount()), double(channels * (lastEnd - firstPts)),
              double(channels * lastDuration));
  const auto stream = streamFields(fixture(c.file), "a:0");
  if (stream.at("codec_name").starts_with("pcm"))
    EXPECT_EQ(reader.getAudioSampleCount(), sourceReader.getAudioSampleCount());
}

INSTANTIATE_TEST_SUITE_P(Layouts, FragmentedMovie, testing::ValuesIn(kCases), testName);

}  // namespace
