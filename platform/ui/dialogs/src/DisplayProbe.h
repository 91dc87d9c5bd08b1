// Deciding, before any application object exists, whether Qt can open a window. Qt ends the
// process when its platform cannot connect, so this has to be known first.
#pragma once

#include <memory>
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
  // The probe's own X connection, still open. An X server resets when its last
  // client leaves and drops connections that arrive during the reset, so
  // closing the probe before Qt has connected can make Qt's connection fail
  // (and Qt then ends the process). Release it once the application exists.
  std::shared_ptr<void> heldConnection;
};

DisplayChoice probeDisplay(const DisplayEnvironment& environment);

}  // namespace vqt::dialogs
