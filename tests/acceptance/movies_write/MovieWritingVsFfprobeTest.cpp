// Movies written through the Movie Toolbox writing calls, judged by ffprobe
// and decoded by ffmpeg: raw frames and PCM; H.264 (with B-frames) and ProRes samples copied sample by sample;
// sound copied from a WAV and from another movie at offsets; header-first
// flattening; write faults.
#include "FfprobeReport.h"
#include "WritingSupport.h"

#include <QuickTime/MovieStorage.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vqt::writing;
using vqt::acceptance::formatFields;
using vqt::acceptance::packets;
using vqt::acceptance::streamFields;

namespace {

constexpr int kWidth = 64, kHeight = 48, kFrames = 48;

std::string sourcePath(const std::string& name) { return std::string(VQT_WRITE_SOURCES) + "/" + name; }

// ffmpeg decodes every stream of the file; what it says on errors, or "" when silent and successful.
std::string decodeErrors(const std::string& path) {
  const std::string command = std::string(VQT_FFMPEG) + " -v error -i '" + path + "' -f null - 2>&1";
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::string output;
  char buffer[4096];
  while (std::size_t got = std::fread(buffer, 1, sizeof buffer, pipe.get())) output.append(buffer, got);
  const int status = pclose(pipe.release());
  return status == 0 ? output : output + " (exit " + std::to_string(status) + ")";
}

std::vector<std::uint8_t> twoVuyFrame(int frame) { return vqt::writing::twoVuyFrame(kWidth, kHeight, frame); }

// The sound sample (one PCM frame) at media time `time` of a file's first sound track.
std::vector<std::uint8_t> pcmFramesOf(const std::string& file, TimeValue64 time) {
  Movie movie = openMovie(file);
  if (!movie) return {};
  Track track = GetMovieIndTrackType(movie, 1, AudioMediaCharacteristic, movieTrackCharacteristic);
  auto bytes = track ? sampleAt(GetTrackMedia(track), time) : std::vector<std::uint8_t>{};
  DisposeMovie(movie);
  return bytes;
}

// 48 raw frames at 24 fps (time scale 2400) and two seconds of 48 kHz stereo PCM.
RawMovie writeRawMovie(const std::string& path) { return vqt::writing::writeRawMovie(path, kWidth, kHeight, kFrames); }

// Update, close, then flatten through a temporary file that replaces the original.
void closeAndFlatten(RawMovie& out, const std::string& path) {
  ASSERT_EQ(UpdateMovieInStorage(out.movie, out.storage), noErr);
  ASSERT_EQ(CloseMovieStorage(out.storage), noErr);
  const std::string temporary = path + ".tmp";
  Handle dataRef = dataRefFor(temporary);
  Movie flat =
      FlattenMovieDataToDataRef(out.movie, flattenAddMovieToDataFork | flattenForceMovieResourceBeforeMovieData,
                                dataRef, AliasDataHandlerSubType, 'TVOD', -1, static_cast<SInt32>(0x90000000u));
  DisposeHandle(dataRef);
  ASSERT_NE(flat, nullptr);
  DisposeMovie(flat);
  DisposeMovie(out.movie);
  ASSERT_EQ(std::rename(temporary.c_str(), path.c_str()), 0);
}

}  // namespace

// Timecode, reel and metadata written by the same calls are judged by ffprobe
// in the writer's acceptance tests, and read back in the unit tests.
TEST(MovieWritingVsFfprobe, RawVideoAndSound) {
  TempFolder folder;
  const std::string path = folder.file("raw.mov");
  RawMovie out = writeRawMovie(path);
  closeAndFlatten(out, path);

  EXPECT_EQ(topLevelAtoms(path), (std::vector<std::string>{"ftyp", "moov", "mdat"}));
  EXPECT_FALSE(std::filesystem::exists(path + ".tmp"));
  auto video = streamFields(path, "v:0");
  EXPECT_EQ(video["codec_tag_string"], "2vuy");
  EXPECT_EQ(video["width"], "64");
  EXPECT_EQ(video["height"], "48");
  EXPECT_EQ(video["nb_frames"], "48");
  EXPECT_EQ(video["r_frame_rate"], "24/1");
  EXPECT_EQ(video["duration"], "2.000000");
  auto sound = streamFields(path, "a:0");
  EXPECT_EQ(sound["codec_name"], "pcm_s16le");
  EXPECT_EQ(sound["sample_rate"], "48000");
  EXPECT_EQ(sound["channels"], "2");
  EXPECT_EQ(sound["duration"], "2.000000");
  EXPECT_EQ(decodeErrors(path), "");

  // Our reader sees the frames as written.
  Movie movie = openMovie(path);
  ASSERT_NE(movie, nullptr);
  Media media = GetTrackMedia(GetMovieIndTrackType(movie, 1, VideoMediaType, movieTrackMediaType));
  EXPECT_EQ(sampleAt(media, 4700), twoVuyFrame(47));
  DisposeMovie(movie);
}

class CopiedSamples : public ::testing::TestWithParam<std::string> {};

// Every sample of the source's video track re-added with its decode duration,
// display offset and flags: ffprobe must see the same packets.
TEST_P(CopiedSamples, PacketsMatchTheSource) {
  const std::string source = sourcePath(GetParam());
  Movie input = openMovie(source);
  ASSERT_NE(input, nullptr);
  Track inputTrack = GetMovieIndTrackType(input, 1, VideoMediaType, movieTrackMediaType);
  Media inputMedia = GetTrackMedia(inputTrack);
  TempFolder folder;
  const std::string path = folder.file("copy.mov");
  Movie movie = nullptr;
  DataHandler storage = nullptr;
  ASSERT_EQ(createMovie(path, GetMovieTimeScale(input), movie, storage), noErr);
  NewTrack video = addTrack(movie, VideoMediaType, GetMediaTimeScale(inputMedia), 160 << 16, 120 << 16);
  SampleDescriptionHandle description = reinterpret_cast<SampleDescriptionHandle>(NewHandle(0));
  std::vector<std::uint8_t> buffer(1 << 20);
  for (SInt32 sample = 1; sample <= GetMediaSampleCount(inputMedia); ++sample) {
    TimeValue64 decodeTime = 0, duration = 0, offset = 0;
    SampleNumToMediaDecodeTime(inputMedia, sample, &decodeTime, &duration);
    ByteCount size = 0;
    MediaSampleFlags flags = 0;
    ASSERT_EQ(GetMediaSample2(inputMedia, buffer.data(), static_cast<ByteCount>(buffer.size()), &size, decodeTime,
                              nullptr, &duration, &offset, description, nullptr, 1, nullptr, &flags),
              noErr);
    ASSERT_EQ(AddMediaSample2(video.media, buffer.data(), size, duration, offset, description, 1, flags, nullptr),
              noErr);
  }
  DisposeHandle(reinterpret_cast<Handle>(description));
  EndMediaEdits(video.media);
  // The source's edit: where its media starts showing, for as long as its track lasts.
  const TimeValue mediaStart = TrackTimeToMediaTime(0, inputTrack);
  const TimeValue length = static_cast<TimeValue>(std::int64_t(GetTrackDuration(inputTrack)) *
                                                  GetMediaTimeScale(inputMedia) / GetMovieTimeScale(input));
  ASSERT_EQ(InsertMediaIntoTrack(video.track, 0, mediaStart, length, 0x10000), noErr);
  ASSERT_EQ(UpdateMovieInStorage(movie, storage), noErr);
  ASSERT_EQ(CloseMovieStorage(storage), noErr);
  DisposeMovie(movie);
  DisposeMovie(input);

  auto ours = streamFields(path, "v:0");
  auto theirs = streamFields(source, "v:0");
  for (const char* field :
       {"codec_name", "codec_tag_string", "width", "height", "nb_frames", "r_frame_rate", "duration"})
    EXPECT_EQ(ours[field], theirs[field]) << field;
  const auto ourPackets = packets(path, "v:0");
  const auto theirPackets = packets(source, "v:0");
  ASSERT_EQ(ourPackets.size(), theirPackets.size());
  for (std::size_t i = 0; i < ourPackets.size(); ++i) {
    EXPECT_EQ(ourPackets[i].pts, theirPackets[i].pts) << i;
    EXPECT_EQ(ourPackets[i].dts, theirPackets[i].dts) << i;
    EXPECT_EQ(ourPackets[i].size, theirPackets[i].size) << i;
    EXPECT_EQ(ourPackets[i].keyframe, theirPackets[i].keyframe) << i;
  }
  EXPECT_EQ(decodeErrors(path), "");
}

INSTANTIATE_TEST_SUITE_P(Codecs, CopiedSamples, ::testing::Values("h264-bframes.mov", "prores.mov"),
                         [](const auto& info) {
                           return info.param.substr(0, info.param.find('-') < info.param.find('.')
                                                           ? info.param.find('-')
                                                           : info.param.find('.'));
                         });

// Sound copied as a writer's addAudioFromFile does: at a positive offset from
// a WAV, at a negative one from another movie, then cut to the movie's length.
TEST(MovieWritingVsFfprobe, SoundCopiedAtOffsetsAndCutBack) {
  TempFolder folder;
  const std::string path = folder.file("with-sound.mov");
  RawMovie out = writeRawMovie(path);
  const TimeValue before = GetMovieDuration(out.movie);
  struct Copy {
    std::string file;
    float offsetSeconds;
  };
  for (const Copy& copy : {Copy{sourcePath("tone.wav"), 1.5f}, Copy{sourcePath("tone.m4a"), 0.0f},
                           Copy{sourcePath("h264-bframes.mov"), 0.5f}, Copy{sourcePath("with-sound.mov"), -0.5f}}) {
    Movie input = openMovie(copy.file);
    ASSERT_NE(input, nullptr) << copy.file;
    for (SInt32 index = 1;; ++index) {
      Track source = GetMovieIndTrackType(input, index, AudioMediaCharacteristic, movieTrackCharacteristic);
      if (!source) break;
      Media sourceMedia = GetTrackMedia(source);
      OSType type = 0;
      GetMediaHandlerDescription(sourceMedia, &type, nullptr, nullptr);
      NewTrack track = addTrack(out.movie, type, GetMediaTimeScale(sourceMedia), 0, 0, GetTrackVolume(source));
      TimeValue sourceTime = 0, destinationTime = 0;
      if (copy.offsetSeconds > 0) destinationTime = static_cast<TimeValue>(2400 * copy.offsetSeconds);
      if (copy.offsetSeconds < 0) sourceTime = static_cast<TimeValue>(-copy.offsetSeconds * GetMovieTimeScale(input));
      EXPECT_EQ(InsertTrackSegment(source, track.track, sourceTime, GetTrackDuration(source), destinationTime), noErr);
      EXPECT_EQ(CopyTrackSettings(source, track.track), noErr);
      SetTrackLayer(track.track, GetTrackLayer(source));
      EndMediaEdits(track.media);
    }
    DisposeMovie(input);
  }
  EXPECT_EQ(DeleteMovieSegment(out.movie, before, GetMovieDuration(out.movie) - before), noErr);
  EXPECT_EQ(GetMovieDuration(out.movie), before);
  closeAndFlatten(out, path);

  // The WAV's copy starts at 1.5 s and is cut at 2 s: half a second of sound.
  auto wav = streamFields(path, "a:1");
  EXPECT_EQ(wav["codec_name"], "pcm_s16le");
  auto m4a = streamFields(path, "a:2");
  EXPECT_EQ(m4a["codec_name"], "aac");
  EXPECT_EQ(formatFields(path)["duration"], "2.000000");
  EXPECT_EQ(decodeErrors(path), "");
  Movie movie = openMovie(path);
  ASSERT_NE(movie, nullptr);
  EXPECT_EQ(GetMovieTrackCount(movie), 5);  // the H.264 movie has no sound to copy
  Track fromWav = GetMovieIndTrack(movie, 3);
  EXPECT_EQ(GetTrackDuration(fromWav), 4800);
  EXPECT_EQ(TrackTimeToMediaTime(3599, fromWav), -1);
  EXPECT_EQ(sampleAt(GetTrackMedia(fromWav), TrackTimeToMediaTime(3600, fromWav)),
            pcmFramesOf(sourcePath("tone.wav"), 0));
  // From the other movie, half a second in: its sound from 0.5 s plays at 0.
  Track fromMovie = GetMovieIndTrack(movie, 5);
  EXPECT_EQ(GetTrackDuration(fromMovie), 3600);  // the 1.5 s of sound left after 0.5 s
  EXPECT_EQ(sampleAt(GetTrackMedia(fromMovie), TrackTimeToMediaTime(0, fromMovie)),
            pcmFramesOf(sourcePath("with-sound.mov"), 24000));
  EXPECT_EQ(streamFields(path, "a:3")["codec_name"], "pcm_s16le");
  DisposeMovie(movie);
}

// Sound files open as a movie of one sound track timed at the sample rate,
// lasting as long as the sound.
TEST(MovieWritingVsFfprobe, SoundFilesOpenAsMovies) {
  for (const std::string name : {"tone.wav", "tone.aiff", "tone.mp3", "tone.caf", "tone.m4a"}) {
    SCOPED_TRACE(name);
    const double length = name == "tone.wav" ? 3.0 : 1.0;
    Movie movie = openMovie(sourcePath(name));
    ASSERT_NE(movie, nullptr);
    EXPECT_EQ(GetMovieTrackCount(movie), 1);
    Track track = GetMovieIndTrackType(movie, 1, AudioMediaCharacteristic, movieTrackCharacteristic);
    ASSERT_NE(track, nullptr);
    EXPECT_EQ(GetMediaTimeScale(GetTrackMedia(track)), 48000);
    const double seconds = double(GetTrackDuration(track)) / GetMovieTimeScale(movie);
    // ffprobe also counts an MP3's padding, which the movie's edit leaves out.
    EXPECT_NEAR(seconds, length, 0.001);
    EXPECT_NEAR(seconds, std::stod(formatFields(sourcePath(name))["duration"]), 0.05);
    DisposeMovie(movie);
  }
}

TEST(MovieWritingVsFfprobe, FailedFlattenLeavesTheUnflattenedMovie) {
  TempFolder folder;
  const std::string path = folder.file("kept.mov");
  RawMovie out = writeRawMovie(path);
  ASSERT_EQ(UpdateMovieInStorage(out.movie, out.storage), noErr);
  ASSERT_EQ(CloseMovieStorage(out.storage), noErr);
  Handle dataRef = dataRefFor(folder.file("missing-folder/kept.mov.tmp"));
  EXPECT_EQ(FlattenMovieDataToDataRef(out.movie, flattenAddMovieToDataFork, dataRef, AliasDataHandlerSubType, 'TVOD',
                                      -1, static_cast<SInt32>(0x90000000u)),
            nullptr);
  EXPECT_EQ(GetMoviesError(), dirNFErr);
  DisposeHandle(dataRef);
  DisposeMovie(out.movie);
  EXPECT_EQ(streamFields(path, "v:0")["nb_frames"], "48");
  EXPECT_EQ(decodeErrors(path), "");
}

// A file-size limit reached while frames are still coming: the calls report
// dskFulErr, and the file keeps the movie of the last successful update.
TEST(MovieWritingVsFfprobe, FileSizeLimitKeepsWhatWasWritten) {
  TempFolder folder;
  const std::string path = folder.file("limited.mov");
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ClearMoviesStickyError();  // what earlier tests left in this thread
    RawMovie out = writeRawMovie(path);
    int code = UpdateMovieInStorage(out.movie, out.storage) == noErr ? 0 : 16;
    const auto size = static_cast<rlim_t>(std::filesystem::file_size(path) + 100 * 1024);
    rlimit limit{size, size};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ImageDescriptionHandle image = rawImageDescription('2vuy', kWidth, kHeight);
    OSErr error = noErr;
    for (int f = 0; f < 1000 && error == noErr; ++f) {
      const auto frame = twoVuyFrame(f);
      error = AddMediaSample2(out.video.media, frame.data(), static_cast<ByteCount>(frame.size()), 100, 0,
                              reinterpret_cast<SampleDescriptionHandle>(image), 1, 0, nullptr);
    }
    if (error != dskFulErr) code |= 1;
    if (GetMoviesStickyError() != dskFulErr) code |= 2;
    if (CloseMovieStorage(out.storage) != dskFulErr) code |= 4;
    DisposeMovie(out.movie);
    ::_exit(code);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(streamFields(path, "v:0")["nb_frames"], "48");
  EXPECT_EQ(decodeErrors(path), "");
}
