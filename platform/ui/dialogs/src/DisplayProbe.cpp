#include "DisplayProbe.h"

#include <QDir>
#include <QLibraryInfo>

#include <xcb/xcb.h>

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <thread>

namespace vqt::dialogs {

namespace {

std::string environmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// QT_QPA_PLATFORM holds a ';'-separated list of platforms that Qt tries in turn, each name
// followed by ':'-separated options.
std::vector<std::string_view> platformNames(std::string_view setting) {
  std::vector<std::string_view> names;
  while (!setting.empty()) {
    const std::string_view entry = setting.substr(0, setting.find(';'));
    const std::string_view name = entry.substr(0, entry.find(':'));
    if (!name.empty()) names.push_back(name);
    setting.remove_prefix(std::min(setting.size(), entry.size() + 1));
  }
  return names;
}

// True when DISPLAY names a local server whose socket exists: a refused
// connection there is a server resetting, worth another try.
bool localServerSocketExists(const std::string& display) {
  if (display.empty() || display[0] != ':') return false;
  const std::string number = display.substr(1, display.find('.') - 1);
  struct stat info {};
  return stat(("/tmp/.X11-unix/X" + number).c_str(), &info) == 0;
}

// A real connection, authentication included, is the only reliable test: DISPLAY may name a
// server that has gone away. The connection stays open for the caller (see heldConnection).
std::shared_ptr<void> connectX11(const std::string& display) {
  if (display.empty()) return nullptr;
  constexpr int kAttempts = 40;  // a reset takes milliseconds; two seconds covers a busy machine
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    xcb_connection_t* connection = xcb_connect(display.c_str(), nullptr);
    if (connection && xcb_connection_has_error(connection) == 0)
      return std::shared_ptr<void>(connection, [](void* c) { xcb_disconnect(static_cast<xcb_connection_t*>(c)); });
    if (connection) xcb_disconnect(connection);
    if (!localServerSocketExists(display)) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return nullptr;
}

bool waylandPluginInstalled() {
  const QDir platforms(QLibraryInfo::path(QLibraryInfo::PluginsPath) + QStringLiteral("/platforms"));
  return !platforms.entryList({QStringLiteral("libqwayland*.so")}, QDir::Files).isEmpty();
}

bool waylandUsable(const DisplayEnvironment& environment) {
  return !environment.waylandDisplay.empty() && waylandPluginInstalled();
}

}  // namespace

DisplayEnvironment DisplayEnvironment::fromProcess() {
  return {environmentValue("QT_QPA_PLATFORM"), environmentValue("DISPLAY"), environmentValue("WAYLAND_DISPLAY")};
}

DisplayChoice probeDisplay(const DisplayEnvironment& environment) {
  const std::vector<std::string_view> platforms = platformNames(environment.qpaPlatform);
  if (!platforms.empty()) {
    DisplayChoice choice;
    for (std::string_view platform : platforms) {
      if (platform == "xcb") {
        choice.heldConnection = connectX11(environment.x11Display);
        choice.available = choice.heldConnection != nullptr;
      } else if (platform.starts_with("wayland")) {
        choice.available = waylandUsable(environment);
      } else {
        choice.available = true;  // offscreen, vnc, eglfs, ...: the caller's explicit choice
      }
      if (choice.available) break;
    }
    return choice;
  }

  // No platform named: Qt starts with X11, so Wayland alone has to be asked for.
  if (std::shared_ptr<void> connection = connectX11(environment.x11Display)) return {true, {}, connection};
  if (waylandUsable(environment)) return {true, {"-platform", "wayland"}, nullptr};
  return {false, {}, nullptr};
}

}  // namespace vqt::dialogs
