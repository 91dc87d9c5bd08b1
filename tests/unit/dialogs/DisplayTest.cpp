// Deciding whether a window can be shown, and the entry points' answer when it cannot.
#include "DisplayProbe.h"
#include "DialogTestSupport.h"
#include "vqt/dialogs/Dialogs.h"

#include <QCoreApplication>

#include <cstdlib>
#include <optional>
#include <string>

namespace vqt::dialogs {
namespace {

// A display number no test machine runs a server on.
constexpr const char* kDeadDisplay = ":97";

TEST(DialogDisplayProbe, ExplicitNonWindowingPlatformsNeedNoDisplay) {
  EXPECT_TRUE(probeDisplay({"offscreen", "", ""}).available);
  EXPECT_TRUE(probeDisplay({"minimal:enable_fonts", "", ""}).available);
  EXPECT_TRUE(probeDisplay({"xcb;offscreen", kDeadDisplay, ""}).available) << "Qt falls back along the list";
}

TEST(DialogDisplayProbe, NothingToConnectToIsUnavailable) {
  EXPECT_FALSE(probeDisplay({"", "", ""}).available);
  EXPECT_FALSE(probeDisplay({"", kDeadDisplay, ""}).available) << "DISPLAY alone does not mean a server is there";
  EXPECT_FALSE(probeDisplay({"xcb", kDeadDisplay, ""}).available);
  EXPECT_FALSE(probeDisplay({"xcb;wayland", kDeadDisplay, ""}).available);
  EXPECT_FALSE(probeDisplay({"wayland", "", ""}).available);
}

// Clears (or sets) environment variables for one test and puts them back afterwards.
class ScopedEnvironment {
 public:
  void set(const char* name, const char* value) {
    const char* old = std::getenv(name);
    saved_.push_back({name, old ? std::optional<std::string>(old) : std::nullopt});
    value ? setenv(name, value, 1) : unsetenv(name);
  }
  ~ScopedEnvironment() {
    for (auto it = saved_.rbegin(); it != saved_.rend(); ++it)
      it->second ? setenv(it->first, it->second->c_str(), 1) : unsetenv(it->first);
  }

 private:
  std::vector<std::pair<const char*, std::optional<std::string>>> saved_;
};

// Each case runs in a process of its own under ctest; run together with the others, an
// application object made by an earlier case already exists and the question is moot.
class DialogWithoutDisplay : public ::testing::Test {
 protected:
  void SetUp() override {
    if (QCoreApplication::instance()) GTEST_SKIP() << "an application object exists already in this process";
    environment_.set("QT_QPA_PLATFORM", nullptr);
    environment_.set("WAYLAND_DISPLAY", nullptr);
  }
  ScopedEnvironment environment_;
};

TEST_F(DialogWithoutDisplay, BothDialogsReportUnavailableAndLeaveTheModelAlone) {
  for (const char* display : {static_cast<const char*>(nullptr), kDeadDisplay}) {
    environment_.set("DISPLAY", display);
    ImageSettingsModel image = test::threeCodecModel();
    const ImageSettings imageBefore = image.settings;
    EXPECT_EQ(runImageSettingsDialog(image), DialogResult::Unavailable);
    EXPECT_EQ(image.settings, imageBefore);

    SoundSettingsModel sound = test::soundModel();
    const SoundSettings soundBefore = sound.settings;
    EXPECT_EQ(runSoundSettingsDialog(sound), DialogResult::Unavailable);
    EXPECT_EQ(sound.settings, soundBefore);
  }
  EXPECT_EQ(QCoreApplication::instance(), nullptr) << "no application object may be made without a display";
}

}  // namespace
}  // namespace vqt::dialogs
