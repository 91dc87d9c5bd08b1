// Deciding whether a window can be shown, and the entry points' answer when it cannot.
#include "DisplayProbe.h"
#include "DialogTestSupport.h"
#include "VirtualDisplay.h"
#include "vqt/dialogs/Dialogs.h"

#include <QCoreApplication>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

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

xcb_connection_t* connectionOf(const DisplayChoice& choice) {
  return static_cast<xcb_connection_t*>(choice.heldConnection.get());
}

xcb_window_t rootOf(xcb_connection_t* connection) {
  return xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
}

// An atom, once made, lasts until the server resets, whoever made it.
bool markAtom(xcb_connection_t* connection, bool create) {
  constexpr std::string_view kMark = "VQT_PROBE_TEST_MARK";
  const auto cookie = xcb_intern_atom(connection, !create, kMark.size(), kMark.data());
  std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
      xcb_intern_atom_reply(connection, cookie, nullptr), &std::free);
  return reply && reply->atom != XCB_ATOM_NONE;
}

bool windowExists(xcb_connection_t* connection, xcb_window_t window) {
  xcb_generic_error_t* error = nullptr;
  std::free(xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, window), &error));
  std::free(error);
  return error == nullptr;
}

// An X server resets when its last client leaves (Xvfb does unless told -noreset) and refuses
// connections meanwhile; so the probe holds its connection until Qt has its own, and a probe
// that meets a reset tries again.
TEST(DialogDisplayProbe, HeldConnectionKeepsAResettingServerUpForTheNextClient) {
  VirtualDisplay server;
  if (!server.running()) GTEST_SKIP() << "Xvfb could not be started";
  const DisplayEnvironment environment{"", server.name(), ""};
  {
    // Another client marks the server, makes a window and goes, as the host's own connections
    // may; the probe is then the server's only client.
    DisplayChoice other = probeDisplay(environment);
    ASSERT_NE(connectionOf(other), nullptr);
    xcb_connection_t* marker = connectionOf(other);
    const xcb_window_t window = xcb_generate_id(marker);
    xcb_create_window(marker, XCB_COPY_FROM_PARENT, window, rootOf(marker), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    ASSERT_TRUE(markAtom(marker, true));

    const DisplayChoice probe = probeDisplay(environment);
    ASSERT_TRUE(probe.available);
    ASSERT_NE(connectionOf(probe), nullptr) << "the probe hands over its connection, still open";
    other = {};
    // The window goes with its client: once it is gone, the server has seen the client leave.
    for (int wait = 0; wait < 500 && windowExists(connectionOf(probe), window); ++wait)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_FALSE(windowExists(connectionOf(probe), window));

    const DisplayChoice application = probeDisplay(environment);  // in Qt's place
    ASSERT_TRUE(application.available);
    EXPECT_TRUE(markAtom(connectionOf(application), false)) << "the server reset between the probe and the next client";
  }
  // Back to back, each probe the only client: each meets the reset its predecessor set off.
  for (int run = 0; run < 30; ++run) EXPECT_TRUE(probeDisplay(environment).available) << "probe " << run;
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
