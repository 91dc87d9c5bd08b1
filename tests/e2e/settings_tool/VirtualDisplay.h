// A private X server (Xvfb) for the length of a test, and the xdotool and
// screenshot commands run against it.
#pragma once

#include <sys/types.h>

#include <string>

class VirtualDisplay {
 public:
  VirtualDisplay();
  ~VirtualDisplay();
  VirtualDisplay(const VirtualDisplay&) = delete;
  VirtualDisplay& operator=(const VirtualDisplay&) = delete;

  bool running() const { return pid_ > 0 && !name_.empty(); }
  const std::string& name() const { return name_; }  // ":N"

  // Runs `command` with DISPLAY set to this server; returns its standard output.
  std::string run(const std::string& command, int* status = nullptr) const;
  // The id of the first window with this title, waiting up to `seconds`; "" if none appears.
  std::string waitForWindow(const std::string& title, int seconds) const;

 private:
  pid_t pid_ = -1;
  std::string name_;
};
