// The settings tool started, answered and reaped many times over, as a host
// that opens the compression dialog again and again: with no display the
// dialog is cancelled, the tool still answers, and afterwards the host holds
// no more descriptors and has no more children than before.
// VQT_CHILD_CYCLES sets the number of cycles (200 unless set).
#include <gtest/gtest.h>
#include <vantor/host/ChildProcess.h>

#include <dirent.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

int openDescriptors() {
  int count = 0;
  if (DIR* dir = opendir("/proc/self/fd")) {
    while (readdir(dir) != nullptr) ++count;
    closedir(dir);
  }
  return count;  // includes ".", ".." and the directory's own descriptor: the same each time
}

int cycles() {
  const char* text = std::getenv("VQT_CHILD_CYCLES");
  return text ? std::atoi(text) : 200;
}

}  // namespace

TEST(ChildCycles, LaunchExchangeReapLeavesNoZombieAndNoDescriptor) {
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  unsetenv("QT_QPA_PLATFORM");
  const int before = openDescriptors();
  int answered = 0;
  for (int i = 0, n = cycles(); i < n; ++i) {
    Vantor::ChildProcess tool;
    std::string path = "../MacOS/qtsettings";
    std::vector<char*> args;
    ASSERT_EQ(tool.launch(path, args, true), 0) << "cycle " << i;
    tool.writeString("320 240 25 12 2 0");
    tool.closeInput();
    std::string reply;
    char buffer[512];
    for (int got; (got = tool.read(buffer, sizeof buffer)) > 0;) reply.append(buffer, static_cast<size_t>(got));
    EXPECT_TRUE(tool.waitForExit()) << "cycle " << i;
    if (!reply.empty()) ++answered;
    free(args[0]);
  }
  EXPECT_EQ(answered, cycles());
  EXPECT_EQ(openDescriptors(), before);
  // Every child was reaped: none is left to wait for.
  errno = 0;
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}
