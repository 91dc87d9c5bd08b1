// Faults while writing, beyond the writer's own failure tests: each time a
// good movie is already at the destination, or the destination changes under
// the writer. The writer must report the failure, not crash, and the
// destination must afterwards hold a movie that reads through (the old one or
// the new one), never a broken file.
#include <gtest/gtest.h>
#include <vantor/quicktime/QuickTimeCodecReader.h>
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

using namespace Vantor::QuickTime;

namespace {

std::vector<float> frameOf(int width, int height, int frame) {
  std::vector<float> rgba(static_cast<size_t>(width) * height * 4);
  for (size_t i = 0; i < rgba.size(); ++i) rgba[i] = static_cast<float>((i * 7 + frame * 29) % 256) / 255.0f;
  return rgba;
}

bool selectCodec(QuickTimeCodecWriter& writer, const char* type) {
  const char** names = writer.getCodecNames();
  for (int i = 0; names != nullptr && names[i] != nullptr; ++i) {
    if (std::strncmp(names[i], type, 4) == 0) {
      writer.setCodecIndex(i);
      return true;
    }
  }
  return false;
}

// Frames the movie at `path` holds when it opens and every frame decodes; -1 otherwise.
int readableFrames(const std::string& path) {
  QuickTimeCodecReader reader;
  if (reader.open(path, 1) != 0) return -1;
  int width = 0, height = 0, channels = 0, timeScale = 0, frameDuration = 0, startFrame = 0;
  float aspect = 0;
  reader.getVideoInfo(&width, &height, &channels, &aspect, &timeScale, &frameDuration, &startFrame);
  std::vector<float> rgba(static_cast<size_t>(width) * height * 4);
  const int frames = reader.getFrameCount();
  for (int f = 1; f <= frames; ++f) {
    if (reader.decodeFrame(f, rgba.data()) != 0) return -1;
  }
  return frames;
}

class WriteFault : public ::testing::Test {
 protected:
  void SetUp() override {
    folder = std::filesystem::temp_directory_path() / ("vqt-write-fault-" + std::to_string(getpid()) + "-" +
                                                       ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    path = (folder / "movie.mov").string();
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  // A 4-frame movie at `path`, written without any fault.
  void writeGoodMovie() {
    QuickTimeCodecWriter writer;
    ASSERT_TRUE(selectCodec(writer, "apcn"));
    writer.setCompressionSettings(64, 64, 25.0f, 1, 2, false, "");
    ASSERT_EQ(writer.openMovie(path, 1), 0);
    for (int f = 0; f < 4; ++f) ASSERT_EQ(writer.encodeFrame(f, frameOf(64, 64, f).data(), false), 0);
    writer.finishVideo();
    ASSERT_EQ(writer.closeMovie(true), 0);
    ASSERT_EQ(readableFrames(path), 4);
  }

  std::filesystem::path folder;
  std::string path;
};

}  // namespace

// A child process whose files may not grow past 200 kB rewrites a good movie
// with a larger one: the write fails part way, the child exits normally, and
// the destination still reads through.
TEST_F(WriteFault, FileSizeLimitWhileReplacingAGoodMovie) {
  writeGoodMovie();
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{200 * 1024, 200 * 1024};
    setrlimit(RLIMIT_FSIZE, &limit);
    if (!freopen("/dev/null", "w", stdout)) _exit(3);
    QuickTimeCodecWriter writer;
    if (!selectCodec(writer, "apch")) _exit(4);
    writer.setCompressionSettings(256, 256, 25.0f, 1, 4, false, "");
    if (writer.openMovie(path, 1) != 0) _exit(0);  // refused before touching anything
    int failed = 0;
    for (int f = 0; f < 60 && failed == 0; ++f) failed = writer.encodeFrame(f, frameOf(256, 256, f).data(), false);
    writer.finishVideo();
    const int closed = writer.closeMovie(true);
    _exit(failed != 0 || closed != 0 ? 0 : 5);  // 5: the limit was never reached
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_GT(readableFrames(path), 0) << "the destination no longer reads";
}

// Folders that refuse a new file even to the superuser: a path under a
// regular file, and the root of sysfs.
TEST_F(WriteFault, UnwritableDestinationFolders) {
  std::ofstream(folder / "plain-file") << "not a folder";
  for (const std::string& destination : {(folder / "plain-file" / "movie.mov").string(), std::string("/sys/vqt.mov")}) {
    QuickTimeCodecWriter writer;
    ASSERT_TRUE(selectCodec(writer, "apcn"));
    writer.setCompressionSettings(64, 64, 25.0f, 1, 2, false, "");
    testing::internal::CaptureStdout();
    const int opened = writer.openMovie(destination, 1);
    // Frames and a close after the refusal change nothing and do not crash.
    writer.encodeFrame(0, frameOf(64, 64, 0).data(), false);
    writer.finishVideo();
    writer.closeMovie(true);
    const std::string said = testing::internal::GetCapturedStdout();
    EXPECT_EQ(opened, 1) << destination << ": " << said;
    EXPECT_FALSE(std::filesystem::exists(destination));
  }
}

// A good movie is at the destination and a folder sits where an older writer
// put its flatten's temporary file: the movie is written beside both under a
// name of its own and replaces the destination; the folder is left alone.
TEST_F(WriteFault, FlattenOverAGoodMovieBesideAForeignTemporaryName) {
  writeGoodMovie();
  std::filesystem::create_directory(path + ".tmp");
  QuickTimeCodecWriter writer;
  ASSERT_TRUE(selectCodec(writer, "apcn"));
  writer.setCompressionSettings(64, 64, 25.0f, 1, 2, false, "");
  ASSERT_EQ(writer.openMovie(path, 1), 0);
  for (int f = 0; f < 6; ++f) ASSERT_EQ(writer.encodeFrame(f, frameOf(64, 64, f).data(), false), 0);
  writer.finishVideo();
  EXPECT_EQ(writer.closeMovie(true), 0);
  EXPECT_EQ(readableFrames(path), 6);
  EXPECT_TRUE(std::filesystem::is_directory(path + ".tmp"));
}

// The destination is replaced by another file, or removed, while the movie is
// being written: no crash, a result either way, and whatever is at the
// destination afterwards is the replacement as it was or a movie that reads.
TEST_F(WriteFault, DestinationReplacedOrRemovedWhileOpen) {
  const std::string replacement = "a file another program put here\n";
  for (bool flatten : {false, true}) {
    for (bool removeOnly : {false, true}) {
      SCOPED_TRACE(std::string(flatten ? "flatten" : "in place") + (removeOnly ? ", removed" : ", replaced"));
      std::filesystem::remove(path);
      QuickTimeCodecWriter writer;
      ASSERT_TRUE(selectCodec(writer, "apcn"));
      writer.setCompressionSettings(64, 64, 25.0f, 1, 2, false, "");
      ASSERT_EQ(writer.openMovie(path, 1), 0);
      for (int f = 0; f < 3; ++f) ASSERT_EQ(writer.encodeFrame(f, frameOf(64, 64, f).data(), false), 0);
      const std::string other = (folder / "other").string();
      if (removeOnly) {
        std::filesystem::remove(path);
      } else {
        std::ofstream(other) << replacement;
        std::filesystem::rename(other, path);
      }
      for (int f = 3; f < 6; ++f) writer.encodeFrame(f, frameOf(64, 64, f).data(), false);
      writer.finishVideo();
      testing::internal::CaptureStdout();
      const int closed = writer.closeMovie(flatten);
      testing::internal::GetCapturedStdout();
      EXPECT_TRUE(closed == 0 || closed == 1) << closed;
      if (std::filesystem::exists(path)) {
        std::ifstream in(path, std::ios::binary);
        const std::string now((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (now != replacement) {
          EXPECT_GT(readableFrames(path), 0) << "the destination holds a broken file";
        }
      }
    }
  }
}
