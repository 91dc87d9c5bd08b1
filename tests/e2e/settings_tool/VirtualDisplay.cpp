#include "VirtualDisplay.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <thread>

VirtualDisplay::VirtualDisplay() {
  int fds[2];
  if (pipe(fds) != 0) return;
  pid_ = fork();
  if (pid_ == 0) {
    close(fds[0]);
    const std::string fd = std::to_string(fds[1]);
    execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-ac", "-screen", "0", "1280x1024x24", "-nolisten", "tcp",
           static_cast<char*>(nullptr));
    _exit(127);
  }
  close(fds[1]);
  // Xvfb writes the display number it chose, then a line feed, once it accepts
  // connections; the pipe stays open until the line feed has arrived, since
  // Xvfb gives up if that second write fails.
  std::string number;
  char c = 0;
  while (pid_ > 0 && read(fds[0], &c, 1) == 1 && c != '\n') number.push_back(c);
  close(fds[0]);
  if (c == '\n' && !number.empty()) name_ = ":" + number;
  // Ready means a client can connect and ask something: wait for that too.
  for (int attempt = 0; running() && attempt < 100; ++attempt) {
    int status = -1;
    run("xdotool getdisplaygeometry >/dev/null 2>&1", &status);
    if (status == 0) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
}

VirtualDisplay::~VirtualDisplay() {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
}

std::string VirtualDisplay::run(const std::string& command, int* status) const {
  const std::string line = "DISPLAY=" + name_ + " " + command;
  FILE* pipe = popen(line.c_str(), "r");
  std::string out;
  if (!pipe) return out;
  std::array<char, 256> chunk;
  while (size_t n = fread(chunk.data(), 1, chunk.size(), pipe)) out.append(chunk.data(), n);
  const int result = pclose(pipe);
  if (status) *status = result;
  return out;
}

std::string VirtualDisplay::waitForWindow(const std::string& title, int seconds) const {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (std::chrono::steady_clock::now() < deadline) {
    std::string id = run("xdotool search --name '^" + title + "$' 2>/dev/null");
    if (!id.empty()) return id.substr(0, id.find('\n'));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return "";
}
