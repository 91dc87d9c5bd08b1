#include <CoreFoundation/CFBundle.h>
#include <vantor/host/BundleLocation.h>
#include <vantor/host/ChildProcess.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "HostTestSupport.h"

using Vantor::ChildProcess;

namespace {

std::string readAll(ChildProcess& child) {
  std::string out;
  char buffer[256];
  for (int n; (n = child.read(buffer, sizeof buffer)) > 0;) out.append(buffer, n);
  return out;
}

}  // namespace

TEST(ChildProcess, RequestGoesInWithItsNulAndTheReplyComesBack) {
  ChildProcess child;
  std::string path = "/bin/cat";
  std::vector<char*> args;
  ASSERT_EQ(child.launch(path, args, true), 0);
  ASSERT_EQ(args.size(), 2u);
  EXPECT_STREQ(args[0], "/cat");
  EXPECT_EQ(args[1], nullptr);
  EXPECT_TRUE(child.isRunning());

  EXPECT_EQ(child.writeString("1 2 3.0 4 5 6 name\n"), 20);
  EXPECT_EQ(child.closeInput(), 0);
  EXPECT_EQ(readAll(child), std::string("1 2 3.0 4 5 6 name\n\0", 20));
  EXPECT_TRUE(child.waitForExit());
  EXPECT_FALSE(child.isRunning());
  free(args[0]);
}

TEST(ChildProcess, WritingAfterCloseInputIsRefused) {
  ChildProcess child;
  std::string path = "/bin/cat";
  std::vector<char*> args;
  child.launch(path, args, true);
  child.closeInput();
  testing::internal::CaptureStderr();
  EXPECT_EQ(child.writeString("late"), 0);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Could not write to stdin on child process"),
            std::string::npos);
  EXPECT_TRUE(child.waitForExit());
  free(args[0]);
}

TEST(ChildProcess, WithoutPipesReadAndWriteReportAndReturnZero) {
  ChildProcess child;
  std::string path = "/bin/true";
  std::vector<char*> args;
  child.launch(path, args, false);
  char buffer[4];
  testing::internal::CaptureStderr();
  EXPECT_EQ(child.read(buffer, sizeof buffer), 0);
  EXPECT_EQ(child.writeString("x"), 0);
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("Could not read from stdout on child process"), std::string::npos);
  EXPECT_NE(err.find("Could not write to stdin on child process"), std::string::npos);
  EXPECT_TRUE(child.waitForExit());
  free(args[0]);
}

TEST(ChildProcess, ArgumentsAreKeptAndTheEnvironmentIsPassedOn) {
  setenv("VQT_CHILD_TEST", "inherited value", 1);
  ChildProcess child;
  std::string path = "/bin/sh";
  std::vector<char*> args{const_cast<char*>("-c"), const_cast<char*>("printf '%s|%s' \"$0\" \"$VQT_CHILD_TEST\"")};
  child.launch(path, args, true);
  ASSERT_EQ(args.size(), 4u);
  EXPECT_EQ(readAll(child), "/sh|inherited value");
  EXPECT_TRUE(child.waitForExit());
  free(args[0]);
}

TEST(ChildProcess, TerminatedChildIsReapedAndLeavesNoZombie) {
  ChildProcess child;
  std::string path = "/bin/cat";
  std::vector<char*> args;
  child.launch(path, args, true);
  ASSERT_TRUE(child.isRunning());
  EXPECT_TRUE(child.terminate());
  EXPECT_TRUE(child.waitForExit());
  // Reaped: the process id no longer exists, so a second signal fails.
  testing::internal::CaptureStderr();
  EXPECT_FALSE(child.terminate());
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Could not terminate sub process"), std::string::npos);
  EXPECT_EQ(waitpid(child.processId(), nullptr, WNOHANG), -1);
  free(args[0]);
}

TEST(ChildProcess, AFailedExecReportsThePathAndTheChildEnds) {
  ChildProcess child;
  std::string path = "/nonexistent/vqt-tool";
  std::vector<char*> args;
  testing::internal::CaptureStderr();
  child.launch(path, args, true);
  EXPECT_EQ(readAll(child), "");
  EXPECT_TRUE(child.waitForExit());
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("/nonexistent/vqt-tool\n"), std::string::npos);
  EXPECT_NE(err.find("Failed to launch child"), std::string::npos);
  free(args[0]);
}

TEST(ChildProcess, WritingToAChildThatHasGoneAwayFailsInsteadOfKillingUs) {
  ChildProcess child;
  std::string path = "/bin/true";
  std::vector<char*> args;
  child.launch(path, args, true);
  child.waitForExit();
  std::string big(1 << 17, 'x');
  EXPECT_EQ(child.writeString(big), -1);
  EXPECT_EQ(errno, EPIPE);
  free(args[0]);
}

TEST(ChildProcess, DotDotPathsAreResolvedInsideTheHostBundle) {
  const std::string root = makeTempDir();
  const std::string host = makeBundle(root, "Host", kHostBundleIdentifier);
  writeFile(host + "/Contents/MacOS/tool", "#!/bin/sh\necho \"ran $1\"\n", true);
  VqtCFBundleRegister(host.c_str(), kHostBundleIdentifier);

  ChildProcess child;
  std::string path = "../MacOS/tool";
  std::vector<char*> args{const_cast<char*>("hello")};
  child.launch(path, args, true);
  EXPECT_EQ(path, host + "/Contents/MacOS/tool");
  EXPECT_STREQ(args[0], "/tool");
  EXPECT_EQ(readAll(child), "ran hello\n");
  EXPECT_TRUE(child.waitForExit());
  free(args[0]);
  std::filesystem::remove_all(root);
}

TEST(ChildProcess, DescribeCommandQuotesArgumentsWithBlanks) {
  std::vector<char*> args{const_cast<char*>("-v"), const_cast<char*>("two words"), const_cast<char*>("tab\there")};
  EXPECT_EQ(ChildProcess::describeCommand("/usr/bin/tool", args), "/tool -v \"two words\" \"tab\there\"");
  EXPECT_EQ(ChildProcess::describeCommand("C:\\bin\\tool.exe", {}), "\\tool.exe");
  EXPECT_EQ(ChildProcess::describeCommand("tool", {}), "tool");
}

// Two channels at once: each child must see end of file as soon as its own
// channel closes its input, whichever order they are closed in. A pipe end
// inherited by the other child would keep the first one waiting for ever.
TEST(ChildProcess, TwoChannelsCloseInEitherOrder) {
  for (const bool firstClosesFirst : {true, false}) {
    ChildProcess first, second;
    std::string path1 = "/bin/cat", path2 = "/bin/cat";
    std::vector<char*> args1, args2;
    first.launch(path1, args1, true);
    second.launch(path2, args2, true);
    ChildProcess& early = firstClosesFirst ? first : second;
    ChildProcess& late = firstClosesFirst ? second : first;
    early.writeString("early");
    early.closeInput();
    EXPECT_EQ(readAll(early), std::string("early\0", 6));  // returns only at end of file
    EXPECT_TRUE(early.waitForExit());
    EXPECT_TRUE(late.isRunning());
    late.closeInput();
    EXPECT_EQ(readAll(late), "");
    EXPECT_TRUE(late.waitForExit());
    free(args1[0]);
    free(args2[0]);
  }
}

// The child gets its three standard streams and nothing else, not even a
// descriptor the host itself opened without close-on-exec.
TEST(ChildProcess, ChildInheritsOnlyItsStandardStreams) {
  const int hostFile = open("/dev/null", O_RDONLY);  // deliberately inheritable
  ASSERT_GE(hostFile, 3);
  ChildProcess other;  // an open channel whose ends must not leak either
  std::string otherPath = "/bin/cat";
  std::vector<char*> otherArgs;
  other.launch(otherPath, otherArgs, true);

  ChildProcess child;
  std::string path = "/bin/sh";
  char script[] = "-c";
  char body[] = "fd=0; while [ $fd -lt 64 ]; do [ -e /proc/$$/fd/$fd ] && printf '%s ' $fd; fd=$((fd+1)); done";
  std::vector<char*> args{script, body};
  child.launch(path, args, true);
  child.closeInput();
  EXPECT_EQ(readAll(child), "0 1 2 ");
  EXPECT_TRUE(child.waitForExit());

  other.closeInput();
  EXPECT_TRUE(other.waitForExit());
  close(hostFile);
  free(args[0]);
  free(otherArgs[0]);
}
