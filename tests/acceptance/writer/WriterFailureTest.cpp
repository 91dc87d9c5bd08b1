// Failures while writing: clear messages, no crash, and nothing already
// written lost (an unwritable folder, a file-size limit reached in the
// middle of a movie).
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "WriterHelpers.h"

using namespace WriterAcceptance;
using Vantor::QuickTime::QuickTimeCodecWriter;

TEST(WriterFailure, UnwritableFolder) {
  QuickTimeCodecWriter writer;
  testing::internal::CaptureStdout();
  const int result = writer.openMovie("/nonexistent-folder/sub/movie.mov", 1);
  const std::string said = testing::internal::GetCapturedStdout();
  EXPECT_EQ(result, 1);
  EXPECT_EQ(said, "Couldn't write to /nonexistent-folder/sub/movie.mov: the destination's folder does not exist\n");
  EXPECT_EQ(writer.closeMovie(true), 0);  // nothing open: nothing to do
}

// In a child process whose files may not grow past 300 kB: the writer reports
// the failure and returns, the child exits normally, and the movie that was
// at the destination is still there, with no temporary file beside it.
TEST(WriterFailure, FileSizeLimitReachedMidMovie) {
  const auto folder = scratchFolder("disklimit");
  const std::string path = folder + "/movie.mov";
  const std::string log = folder + "/../disklimit-log.txt";
  {
    QuickTimeCodecWriter earlier;
    ASSERT_TRUE(selectCodec(earlier, "apcn"));
    earlier.setCompressionSettings(64, 64, 25.0f, 1, 2, false, "");
    ASSERT_EQ(earlier.openMovie(path, 1), 0);
    ASSERT_EQ(encodeTestFrames(earlier, 64, 64, 7), 0);
    earlier.finishVideo();
    ASSERT_EQ(earlier.closeMovie(true), 0);
  }
  const auto before = std::filesystem::file_size(path);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{300 * 1024, 300 * 1024};
    setrlimit(RLIMIT_FSIZE, &limit);
    if (!freopen(log.c_str(), "w", stdout)) _exit(3);
    QuickTimeCodecWriter writer;
    if (!selectCodec(writer, "apch")) _exit(4);
    writer.setCompressionSettings(256, 256, 25.0f, 1, 4, false, "");
    if (writer.openMovie(path, 1) != 0) _exit(5);
    int failed = 0;
    for (int f = 0; f < 60 && failed == 0; ++f) {
      const auto pixels = testFrame(256, 256, f);
      failed = writer.encodeFrame(f, pixels.data(), false);
    }
    writer.finishVideo();
    const int closed = writer.closeMovie(false);
    fflush(stdout);
    _exit(closed == 0 || closed == 1 ? 0 : 6);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  std::ifstream said(log);
  const std::string messages((std::istreambuf_iterator<char>(said)), std::istreambuf_iterator<char>());
  EXPECT_NE(messages.find("Couldn't encode frame, "), std::string::npos) << messages;
  EXPECT_EQ(std::filesystem::file_size(path), before);
  EXPECT_EQ(probe(path, "v:0", "stream=nb_frames")["nb_frames"], "7");
  EXPECT_EQ(decodeErrors(path), "");
  int entries = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++entries;
  EXPECT_EQ(entries, 1);
}
