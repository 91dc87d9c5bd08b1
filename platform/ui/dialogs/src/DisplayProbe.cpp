#include "DisplayProbe.h"

#include <QDir>
#include <QLibraryInfo>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

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

// A real connection, authentication included, is the only reliable test: DISPLAY may name a
// server that has gone away.
bool x11DisplayReachable(const std::string& display) {
  if (display.empty()) return false;
  xcb_connection_t* connection = xcb_connect(display.c_str(), nullptr);
  const bool reachable = connection && xcb_connection_has_error(connection) == 0;
  if (connection) xcb_disconnect(connection);
  return reachable;
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
    const auto usable = [&environment](std::string_view platform) {
      if (platform == "xcb") return x11DisplayReachable(environment.x11Display);
      if (platform.starts_with("wayland")) return waylandUsable(environment);
      return true;  // offscreen, vnc, eglfs, ...: the caller's explicit choice
    };
    return {std::any_of(platforms.begin(), platforms.end(), usable), {}};
  }

  // No platform named: Qt starts with X11, so Wayland alone has to be asked for.
  if (x11DisplayReachable(environment.x11Display)) return {true, {}};
  if (waylandUsable(environment)) return {true, {"-platform", "wayland"}};
  return {false, {}};
}

}  // namespace vqt::dialogs
