#include <gtest/gtest.h>
#include <vantor/host/ChildProcess.h>
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <algorithm>
#include <functional>
#include <sstream>

#include "VirtualDisplay.h"

using Vantor::ChildProcess;
using Vantor::QuickTime::QuickTimeCodecWriter;

namespace {

struct Exchange {
  std::string reply;
  std::string err;
};

// Launches the tool from the host bundle as a host does, sends `request`
// (with the NUL byte writeString adds), runs `whileOpen` while the tool is up,
// and reads the whole reply.
Exchange exchange(const std::string& request, const std::function<void()>& whileOpen = {}) {
  testing::internal::CaptureStderr();  // the tool inherits our standard error
  ChildProcess tool;
  std::string path = "../MacOS/qtsettings";
  std::vector<char*> args;
  tool.launch(path, args, true);
  if (!request.empty()) tool.writeString(request);
  tool.closeInput();
  if (whileOpen) whileOpen();
  Exchange result;
  char buffer[512];
  for (int n; (n = tool.read(buffer, sizeof buffer)) > 0;) result.reply.append(buffer, n);
  EXPECT_TRUE(tool.waitForExit());
  result.err = testing::internal::GetCapturedStderr();
  free(args[0]);
  return result;
}

void withoutDisplay() {
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  unsetenv("QT_QPA_PLATFORM");
}

// Catalogue positions as the tool sees them (the same registered codecs).
class Catalogue {
 public:
  Catalogue() {
    for (const char** name = writer_.getCodecNames(); name && *name; ++name) types_.emplace_back(*name, 4);
  }
  int firstIndexOf(const std::string& type) const {
    for (size_t i = 0; i < types_.size(); ++i)
      if (types_[i] == type) return int(i);
    return -1;
  }
  int canonicalIndex(int index) const { return firstIndexOf(types_.at(index)); }
  int size() const { return int(types_.size()); }
  QuickTimeCodecWriter& writer() { return writer_; }

 private:
  QuickTimeCodecWriter writer_;
  std::vector<std::string> types_;
};

std::string line(float rate, int key, int quality, int codec, const std::string& text) {
  std::ostringstream out;
  out << rate << " " << key << " " << quality << " " << codec << " " << text << "\n";
  return out.str();
}

}  // namespace

// Without a display the request is cancelled, so each reply is what the writer made of the
// request line alone.
TEST(SettingsTool, WithoutADisplayTheReplyIsTheRequestAsTheWriterReadIt) {
  withoutDisplay();
  Catalogue catalogue;
  ASSERT_GT(catalogue.size(), 5);
  const int apcn = catalogue.firstIndexOf("apcn");
  const int last = catalogue.canonicalIndex(catalogue.size() - 1);
  QuickTimeCodecWriter& writer = catalogue.writer();
  writer.setCodecIndex(last);
  writer.setCompressionSettings(1280, 720, 25.0f, 10, 3, false, "");
  const std::string text = writer.getCompressionSettings("");
  ASSERT_FALSE(text.empty());
  const std::pair<std::string, std::string> cases[] = {
      {"1920 1080 24 12 3 5\n", line(24, 12, 3, catalogue.canonicalIndex(5), "")},
      // -1 -1 without a text keeps the writer's key frame rate and quality; with one, the text rules.
      {"1920 1080 29.97 -1 -1 2\n", line(29.97f, 1, 2, catalogue.canonicalIndex(2), "")},
      {"1920 1080 24 -1 -1 0 " + text + "\n", line(25, 10, 3, last, text)},
      {"1920 1080 24 12 3 9999\n", line(24, 12, 3, apcn, "")},  // out of range: the default codec
      {"1920 1080 24 12 3 -7\n", line(24, 12, 3, apcn, "")},
      {"", line(24, 1, 2, apcn, "")},  // empty input: the writer's defaults
  };
  for (const auto& [request, reply] : cases) {
    const Exchange run = exchange(request);
    EXPECT_EQ(run.reply, reply) << request;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  }
}

namespace {

class SettingsToolDialog : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!display.running()) GTEST_SKIP() << "Xvfb could not be started";
    unsetenv("WAYLAND_DISPLAY");
    unsetenv("QT_QPA_PLATFORM");
    setenv("DISPLAY", display.name().c_str(), 1);
    std::filesystem::create_directories(SHOTS_DIR);
  }

  // Waits for the dialog, saves a screenshot of it, then types `keys`.
  std::function<void()> answer(const std::string& keys, const std::string& shot = "") {
    return [this, keys, shot] {
      const std::string id = display.waitForWindow("Compression Settings", 30);
      ASSERT_FALSE(id.empty()) << "the dialog did not open";
      display.run("xdotool windowfocus --sync " + id + " 2>/dev/null");
      if (!shot.empty()) screenshot(id, shot);
      display.run("xdotool key --delay 150 " + keys);
    };
  }

  void screenshot(const std::string& window, const std::string& name) {
    std::istringstream geometry(display.run("xdotool getwindowgeometry --shell " + window));
    std::map<std::string, int> values;
    for (std::string item; std::getline(geometry, item);)
      if (auto eq = item.find('='); eq != std::string::npos)
        values[item.substr(0, eq)] = std::atoi(item.c_str() + eq + 1);
    shotWidth = values["WIDTH"];
    shotHeight = values["HEIGHT"];
    shotPath = std::string(SHOTS_DIR) + "/" + name + ".png";
    // Give the preview time to draw before the picture is taken.
    display.run("sleep 1; ffmpeg -v error -y -f x11grab -video_size " + std::to_string(shotWidth) + "x" +
                std::to_string(shotHeight) + " -i " + display.name() + "+" + std::to_string(values["X"]) + "," +
                std::to_string(values["Y"]) + " -frames:v 1 " + shotPath);
  }

  VirtualDisplay display;
  std::string shotPath;
  int shotWidth = 0;
  int shotHeight = 0;
};

}  // namespace

TEST_F(SettingsToolDialog, ReturnAcceptsThePresetAndASnapshotIsTaken) {
  Catalogue catalogue;
  const int apcn = catalogue.firstIndexOf("apcn");
  const Exchange run =
      exchange("1920 1080 25 12 3 " + std::to_string(apcn) + "\n", answer("Return", "compression-settings"));
  ASSERT_GT(run.reply.size(), 2u) << run.err;
  std::istringstream fields(run.reply);
  float rate = 0;
  int key = 0, quality = 0, codec = 0;
  std::string text;
  fields >> rate >> key >> quality >> codec >> text;
  EXPECT_EQ(rate, 25.0f);
  EXPECT_EQ(key, 12);
  EXPECT_EQ(quality, 3);
  EXPECT_EQ(codec, apcn);
  EXPECT_FALSE(text.empty()) << run.reply;

  // The picture is the dialog, not an empty frame.
  ASSERT_GT(shotWidth, 200);
  ASSERT_GT(shotHeight, 150);
  const std::string probe =
      display.run("ffprobe -v error -select_streams v -show_entries stream=width,height -of csv=p=0 " + shotPath);
  EXPECT_EQ(probe, std::to_string(shotWidth) + "," + std::to_string(shotHeight) + "\n");
  const std::string stats = display.run(
      "ffmpeg -v error -i " + shotPath +
      " -vf format=gray,signalstats,metadata=print:key=lavfi.signalstats.YMIN:file=- -f null - ; ffmpeg -v error -i " +
      shotPath + " -vf format=gray,signalstats,metadata=print:key=lavfi.signalstats.YMAX:file=- -f null -");
  int ymin = 255, ymax = 0;
  for (std::istringstream in(stats); std::getline(in, text);) {
    if (text.rfind("lavfi.signalstats.YMIN=", 0) == 0) ymin = std::atoi(text.c_str() + 23);
    if (text.rfind("lavfi.signalstats.YMAX=", 0) == 0) ymax = std::atoi(text.c_str() + 23);
  }
  EXPECT_GT(ymax - ymin, 64) << stats;
}

TEST_F(SettingsToolDialog, EscapeCancelsAndTheStateIsUnchanged) {
  Catalogue catalogue;
  const int apcn = catalogue.firstIndexOf("apcn");
  const Exchange run = exchange("1920 1080 25 12 3 " + std::to_string(apcn) + "\n", answer("Escape"));
  EXPECT_EQ(run.reply, line(25, 12, 3, apcn, "")) << run.err;
}

TEST_F(SettingsToolDialog, ChangingCodecAndQualityIsReportedBack) {
  Catalogue catalogue;
  const int first = catalogue.firstIndexOf("apcn");
  // From ProRes 422, Down selects the next codec (another ProRes, which has a quality); Tab moves
  // to the quality slider and End takes it to its top: Maximum, as ProRes has no lossless mode.
  const Exchange run = exchange("1920 1080 24 12 3 " + std::to_string(first) + "\n", answer("Down Tab End Return"));
  std::istringstream fields(run.reply);
  float rate = 0;
  int key = 0, quality = 0, codec = -1;
  fields >> rate >> key >> quality >> codec;
  EXPECT_NE(codec, catalogue.canonicalIndex(first)) << run.reply;
  EXPECT_EQ(quality, 4) << run.reply;
}
