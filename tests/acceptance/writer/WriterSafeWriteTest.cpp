// The destination only ever holds a complete movie or what it held before:
// a writing process killed at any stage leaves it unchanged and at most a
// stale temporary file, which the next write to it removes. And the sound
// track: none without samples, the same file whichever order the audio
// format and the movie are set up in.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "WriterHelpers.h"

using namespace WriterAcceptance;
using Vantor::QuickTime::QuickTimeCodecWriter;
namespace fs = std::filesystem;

namespace {

std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

int entries(const std::string& folder) {
  int count = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator(folder)) ++count;
  return count;
}

// Writes a 40-frame movie to `path`, telling `marker` one byte at each stage:
// opened, 10 frames in, video finished, about to close.
[[noreturn]] void writeInChild(const std::string& path, bool flatten, int marker) {
  const auto tell = [marker] {
    const char byte = 1;
    if (write(marker, &byte, 1) != 1) _exit(7);
  };
  QuickTimeCodecWriter writer;
  if (!selectCodec(writer, "apch")) _exit(4);
  writer.setCompressionSettings(320, 240, 25.0f, 1, 4, false, "");
  if (writer.openMovie(path, 1) != 0) _exit(5);
  tell();
  for (int f = 0; f < 40; ++f) {
    if (f == 10) tell();
    const auto pixels = testFrame(320, 240, f);
    if (writer.encodeFrame(f, pixels.data(), false) != 0) _exit(6);
  }
  writer.finishVideo();
  tell();
  tell();
  writer.closeMovie(flatten);
  pause();  // killed here at the latest
  _exit(0);
}

}  // namespace

TEST(SafeWrite, KilledWriterLeavesTheDestinationAsItWas) {
  const auto folder = scratchFolder("killed");
  const std::string path = folder + "/movie.mov";
  run(std::string(VQT_FFMPEG) + " -v error -nostdin -y -f lavfi -i testsrc2=size=64x64:rate=25 -frames:v 5 '" + path +
      "'");
  const std::string good = contents(path);
  ASSERT_FALSE(good.empty());
  // Stage 1-4 as the child tells them; the last ones with a delay lands the
  // kill inside closing and flattening, wherever that happens to be.
  for (const bool flatten : {false, true}) {
    for (const int stage : {1, 2, 3, 4}) {
      for (const int delayMicroseconds : stage == 4 ? std::vector<int>{0, 3000, 30000} : std::vector<int>{0}) {
        int pipeEnds[2];
        ASSERT_EQ(pipe(pipeEnds), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
          close(pipeEnds[0]);
          writeInChild(path, flatten, pipeEnds[1]);
        }
        close(pipeEnds[1]);
        char byte = 0;
        int told = 0;
        while (told < stage && read(pipeEnds[0], &byte, 1) == 1) ++told;
        close(pipeEnds[0]);
        ASSERT_EQ(told, stage) << "the writer stopped early";
        if (delayMicroseconds > 0) usleep(delayMicroseconds);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        SCOPED_TRACE("flatten " + std::to_string(flatten) + ", stage " + std::to_string(stage) + ", delay " +
                     std::to_string(delayMicroseconds));
        if (contents(path) != good) {
          // Only a close that finished before the kill may have replaced it, with a whole movie.
          ASSERT_EQ(stage, 4);
          EXPECT_EQ(probe(path, "v:0", "stream=nb_frames")["nb_frames"], "40");
          EXPECT_EQ(decodeErrors(path), "");
          run(std::string(VQT_FFMPEG) + " -v error -nostdin -y -f lavfi -i testsrc2=size=64x64:rate=25 -frames:v 5 '" +
              path + "'");
          ASSERT_EQ(contents(path), good);
        }
        // Stale temporary files: one, or two when the kill came in the middle of flattening.
        EXPECT_LE(entries(folder), flatten ? 3 : 2);
      }
    }
  }
  // The next write cleans up what the killed writers left.
  QuickTimeCodecWriter writer;
  ASSERT_TRUE(selectCodec(writer, "apcn"));
  writer.setCompressionSettings(64, 64, 25.0f, 1, 2, false, "");
  ASSERT_EQ(writer.openMovie(path, 1), 0);
  EXPECT_EQ(entries(folder), 2);  // the destination and this writer's own file
  ASSERT_EQ(encodeTestFrames(writer, 64, 64, 3), 0);
  writer.finishVideo();
  EXPECT_EQ(writer.closeMovie(true), 0);
  EXPECT_EQ(entries(folder), 1);
  EXPECT_EQ(probe(path, "v:0", "stream=nb_frames")["nb_frames"], "3");
}

TEST(SafeWrite, WriterDestroyedBeforeClosingLeavesNothing) {
  const auto folder = scratchFolder("destroyed");
  {
    QuickTimeCodecWriter writer;
    ASSERT_TRUE(selectCodec(writer, "avc1"));
    writer.setCompressionSettings(64, 64, 25.0f, 12, 2, false, "");
    ASSERT_EQ(writer.openMovie(folder + "/movie.mov", 1), 0);
    ASSERT_EQ(encodeTestFrames(writer, 64, 64, 5), 0);
  }
  EXPECT_EQ(entries(folder), 0);
}

TEST(SafeWrite, AFolderIsNotADestination) {
  const auto folder = scratchFolder("folderdestination");
  fs::create_directory(folder + "/movie.mov");
  QuickTimeCodecWriter writer;
  ASSERT_TRUE(selectCodec(writer, "apcn"));
  writer.setCompressionSettings(64, 64, 25.0f, 1, 2, false, "");
  testing::internal::CaptureStdout();
  EXPECT_EQ(writer.openMovie(folder + "/movie.mov", 1), 1);
  EXPECT_NE(testing::internal::GetCapturedStdout().find("the destination is a folder"), std::string::npos);
  EXPECT_TRUE(fs::is_directory(folder + "/movie.mov"));
  EXPECT_EQ(entries(folder), 1);
}

namespace {

// Five frames at 25 fps with `samples` stereo 44.1 kHz samples, the audio
// format set before or after openMovie.
std::string writeWithSound(const std::string& path, bool formatFirst, int samples) {
  QuickTimeCodecWriter writer;
  EXPECT_TRUE(selectCodec(writer, "apcn"));
  writer.setCompressionSettings(64, 64, 25.0f, 1, 2, false, "");
  const auto setFormat = [&writer] { EXPECT_EQ(writer.setAudioFormat(2, false, 44100, ""), 0); };
  if (formatFirst) setFormat();
  EXPECT_EQ(writer.openMovie(path, 3), 0);
  if (!formatFirst) setFormat();
  EXPECT_EQ(encodeTestFrames(writer, 64, 64, 5), 0);
  std::vector<float> tone(static_cast<std::size_t>(samples) * 2);
  for (std::size_t i = 0; i < tone.size(); ++i) tone[i] = 0.25f * std::sin(static_cast<float>(i / 2) * 0.06f);
  if (samples > 0) {
    EXPECT_FALSE(writer.writeAudioSamples(0, static_cast<int>(tone.size()), tone.data()));
    EXPECT_NE(writer.setAudioFormat(1, false, 48000, ""), 0) << "format changed after samples";
  }
  writer.finishVideo();
  testing::internal::CaptureStdout();
  writer.finishAudio();
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(writer.closeMovie(true), 0);
  return path;
}

}  // namespace

TEST(SafeWrite, SoundTrackOnlyWithSamplesAndInEitherOrder) {
  const auto folder = scratchFolder("soundorder");
  const std::string empty = writeWithSound(folder + "/empty.mov", true, 0);
  EXPECT_EQ(decodeErrors(empty), "");
  EXPECT_EQ(probe(empty, "", "format=nb_streams")["nb_streams"], "1");

  const std::string before = writeWithSound(folder + "/before.mov", true, 8820);
  const std::string after = writeWithSound(folder + "/after.mov", false, 8820);
  for (const std::string& path : {before, after}) {
    auto sound = probe(path, "a:0", "stream=sample_rate,channels,time_base,duration_ts");
    EXPECT_EQ(sound["sample_rate"], "44100") << path;
    EXPECT_EQ(sound["channels"], "2") << path;
    EXPECT_EQ(sound["time_base"], "1/44100") << path;
    EXPECT_EQ(sound["duration_ts"], "8820") << path;
    EXPECT_EQ(decodeErrors(path), "");
  }
  const auto samplesOf = [](const std::string& path) {
    return run(std::string(VQT_FFMPEG) + " -v error -nostdin -i '" + path + "' -map 0:a -f s16le -");
  };
  EXPECT_EQ(samplesOf(before), samplesOf(after));
}
