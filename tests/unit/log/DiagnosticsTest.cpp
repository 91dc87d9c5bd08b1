#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "Diagnostics.h"

using Vantor::LogLevel;

namespace {

using Messages = std::vector<std::pair<LogLevel, std::string>>;

void collect(LogLevel level, const char* message, void* context) {
  static_cast<Messages*>(context)->emplace_back(level, message);
}

class Diagnostics : public ::testing::Test {
 protected:
  void TearDown() override {
    Vantor::setLogCallback(nullptr, nullptr);
    Vantor::setLogLevel(LogLevel::kDebug);
  }
};

}  // namespace

// Without a callback every message keeps its own stream and exact text.
TEST_F(Diagnostics, DefaultStreamsAreKept) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  Vantor::diagnostic(LogLevel::kInfo, "Have duration %d\n", 2400);
  Vantor::diagnostic(LogLevel::kDebug, " %s", "piece");
  Vantor::diagnosticError(LogLevel::kError, "Decode Error: %d\n", -8969);
  errno = ENOENT;
  Vantor::diagnosticPerror(LogLevel::kError, "Could not fork for child");
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Have duration 2400\n piece");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Decode Error: -8969\nCould not fork for child: No such file or directory\n");
}

// A callback takes every message over, from either stream, with its level;
// the level filters before anything is formatted or sent.
TEST_F(Diagnostics, CallbackTakesOverAndLevelFilters) {
  Messages messages;
  Vantor::setLogCallback(collect, &messages);
  Vantor::setLogLevel(LogLevel::kWarning);
  EXPECT_EQ(Vantor::logLevel(), LogLevel::kWarning);
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  Vantor::diagnostic(LogLevel::kError, "Failed to create pixel buffer\n");
  Vantor::diagnostic(LogLevel::kInfo, "Have duration %d\n", 1);
  Vantor::diagnosticError(LogLevel::kWarning, "Ignoring bad line %d: %s\n", 3, std::string(300, 'x').c_str());
  Vantor::diagnosticError(LogLevel::kDebug, "trace\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[0], std::make_pair(LogLevel::kError, std::string("Failed to create pixel buffer\n")));
  EXPECT_EQ(messages[1].first, LogLevel::kWarning);
  EXPECT_EQ(messages[1].second, "Ignoring bad line 3: " + std::string(300, 'x') + "\n");  // not cut short
}

TEST_F(Diagnostics, SilentDropsEverythingAndNullCallbackRestoresTheStreams) {
  Messages messages;
  Vantor::setLogCallback(collect, &messages);
  Vantor::setLogLevel(LogLevel::kSilent);
  Vantor::diagnosticError(LogLevel::kError, "dropped\n");
  EXPECT_TRUE(messages.empty());

  Vantor::setLogLevel(LogLevel::kDebug);
  Vantor::setLogCallback(nullptr, &messages);
  testing::internal::CaptureStderr();
  Vantor::diagnosticError(LogLevel::kError, "back on stderr\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "back on stderr\n");
  EXPECT_TRUE(messages.empty());
}
