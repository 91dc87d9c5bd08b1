// Deciding, before any application object exists, whether Qt can open a window. Qt ends the
// process when its platform cannot connect, so this has to be known first.
#pragma once

#include <string>
#include <vector>

namespace vqt::dialogs {

struct DisplayEnvironment {
  std::string qpaPlatform;     // QT_QPA_PLATFORM
  std::string x11Display;      // DISPLAY
  std::string waylandDisplay;  // WAYLAND_DISPLAY

  static DisplayEnvironment fromProcess();
};

struct DisplayChoice {
  bool available = false;
  // Arguments to add to the application's command line (naming the platform Qt would
  // not pick by itself).
  std::vector<std::string> extraArguments;
};

DisplayChoice probeDisplay(const DisplayEnvironment& environment);

}  // namespace vqt::dialogs
