// The host's side of the channel to a child process: start an executable with
// its standard input and output on pipes, send it a request, read its reply,
// and stop or reap it. Paths beginning with ".." are taken inside the host bundle.
#pragma once

#include <vantor/Export.h>

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace Vantor {

class VANTOR_EXPORT ChildProcess {
 public:
  ChildProcess() = default;
  // Closes the parent's pipe ends; does not signal or wait for the child.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Starts `path` with `args`. `args` gains the program name in front and a
  // null pointer at the end; a leading ".." of `path` is replaced in place by
  // the bundle's contents directory. Returns 0 in the parent.
  int launch(std::string& path, std::vector<char*>& args, bool usePipes);

  // Writes `text` and its terminating NUL byte to the child's standard input.
  int writeString(const std::string& text);
  int write(const void* buffer, size_t length);
  // Reads at most `length` bytes of the child's standard output (0 at its end).
  int read(void* buffer, size_t length);
  // Closes the child's standard input, so it sees end of file.
  int closeInput();

  bool terminate();
  bool waitForExit();
  bool isRunning();

  static std::string describeCommand(const std::string& path, const std::vector<char*>& args);

  pid_t processId() const { return pid; }

 private:
  pid_t pid = 0;
  int outPipe[2] = {-1, -1};  // [0] the parent's read end, [1] the child's standard output
  int inPipe[2] = {-1, -1};   // [0] the child's standard input, [1] the parent's write end
};

}  // namespace Vantor
