#include <vantor/host/ChildProcess.h>

#include <vantor/host/BundleLocation.h>

#include <crt_externs.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "Diagnostics.h"

namespace Vantor {

namespace {

// Writes with SIGPIPE held back, so a child that has gone away shows up as
// -1/EPIPE from write instead of killing the host process.
ssize_t writeWithoutSigpipe(int fd, const void* buffer, size_t length) {
  sigset_t pipeOnly, previous;
  sigemptyset(&pipeOnly);
  sigaddset(&pipeOnly, SIGPIPE);
  sigset_t pending;
  sigpending(&pending);
  const bool alreadyPending = sigismember(&pending, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipeOnly, &previous);
  const ssize_t result = ::write(fd, buffer, length);
  const int savedErrno = errno;
  if (result < 0 && savedErrno == EPIPE && !alreadyPending) {
    const timespec noWait{0, 0};
    sigtimedwait(&pipeOnly, nullptr, &noWait);
  }
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  errno = savedErrno;
  return result;
}

// In the forked child, just before execve: standard input, output and error
// survive exec (dup2 clears close-on-exec, but a pipe end that already was 0 or
// 1 kept it), and every other descriptor of the host, whoever opened it, is
// closed. Only system calls, so it is safe between fork and execve.
void keepOnlyStandardStreams() {
  for (int fd = 0; fd <= 2; ++fd) {
    const int flags = fcntl(fd, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC)) fcntl(fd, F_SETFD, flags & ~FD_CLOEXEC);
  }
  if (close_range(3, ~0u, 0) == 0) return;
  // Kernels before 5.9: close what the descriptor limit allows.
  const long limit = sysconf(_SC_OPEN_MAX);
  for (long fd = 3; fd < (limit > 0 ? limit : 1024); ++fd) ::close(static_cast<int>(fd));
}

}  // namespace

ChildProcess::~ChildProcess() {
  if (outPipe[0] != -1) ::close(outPipe[0]);
  if (inPipe[1] != -1) ::close(inPipe[1]);
}

int ChildProcess::launch(std::string& path, std::vector<char*>& args, bool usePipes) {
  // Close-on-exec from the start: a child started later, by this channel or
  // any other, must not inherit these ends, or a reader here would never see
  // end of file while that other child lives.
  if (usePipes) {
    if (pipe2(outPipe, O_CLOEXEC) != 0 || pipe2(inPipe, O_CLOEXEC) != 0) {
      diagnosticPerror(LogLevel::kError, "Cannot create pipes");
      abort();
    }
  }

  // The program name is the last component with its "/". A path without "/"
  // has no such part; the whole path is used then, so the child still gets a name.
  const size_t slash = path.rfind('/');
  const std::string programName = slash == std::string::npos ? path : path.substr(slash);
  args.insert(args.begin(), strdup(programName.c_str()));
  args.push_back(nullptr);

  if (path.compare(0, 2, "..") == 0) path.replace(0, 2, bundleContentsPath());

  // Everything the child needs is computed before fork: between fork and
  // execve the child only moves descriptors.
  const char* file = path.c_str();
  char** environment = *_NSGetEnviron();

  pid = fork();
  if (pid == 0) {
    if (usePipes) {
      ::close(outPipe[0]);
      ::close(inPipe[1]);
      dup2(inPipe[0], 0);
      ::close(inPipe[0]);
      dup2(outPipe[1], 1);
      ::close(outPipe[1]);
    }
    keepOnlyStandardStreams();
    execve(file, args.data(), environment);
    const int execErrno = errno;
    // The failure report uses write(2), which is safe in a forked child.
    ssize_t ignored = ::write(2, file, strlen(file));
    ignored = ::write(2, "\n", 1);
    (void)ignored;
    errno = execErrno;
    // perror itself, not the host's log: this is the forked child, which must
    // run none of the host's code (its callback included) before ending.
    perror("Failed to launch child");
    _exit(127);
  }
  if (pid == -1) {
    diagnosticPerror(LogLevel::kError, "Could not fork for child");
    exit(1);
  }
  if (usePipes) {
    ::close(outPipe[1]);
    outPipe[1] = -1;
    ::close(inPipe[0]);
    inPipe[0] = -1;
  }
  return 0;
}

int ChildProcess::writeString(const std::string& text) { return write(text.c_str(), text.length() + 1); }

int ChildProcess::write(const void* buffer, size_t length) {
  if (inPipe[1] == -1) {
    diagnosticPerror(LogLevel::kError, "Could not write to stdin on child process");
    return 0;
  }
  return static_cast<int>(writeWithoutSigpipe(inPipe[1], buffer, length));
}

int ChildProcess::read(void* buffer, size_t length) {
  if (outPipe[0] == -1) {
    diagnosticPerror(LogLevel::kError, "Could not read from stdout on child process");
    return 0;
  }
  return static_cast<int>(::read(outPipe[0], buffer, length));
}

int ChildProcess::closeInput() {
  const int result = ::close(inPipe[1]);
  inPipe[1] = -1;
  return result;
}

bool ChildProcess::terminate() {
  // Without a child (pid 0 would signal our whole process group) there is nothing to stop.
  if (pid > 0 && kill(pid, SIGTERM) == 0) return true;
  if (pid <= 0) errno = ESRCH;
  diagnosticPerror(LogLevel::kError, "Could not terminate sub process");
  return false;
}

bool ChildProcess::waitForExit() {
  if (pid <= 0) return false;
  int status = 0;
  return waitpid(pid, &status, 0) == pid;
}

bool ChildProcess::isRunning() {
  if (pid <= 0) return false;
  int status = 0;
  return waitpid(pid, &status, WNOHANG) == 0;
}

// The command starts at the last separator of either kind ("/" or "\"), the
// separator included, or with the whole path when it has none.
std::string ChildProcess::describeCommand(const std::string& path, const std::vector<char*>& args) {
  const size_t separator = path.find_last_of("/\\");
  std::string command = separator == std::string::npos ? path : path.substr(separator);
  for (const char* arg : args) {
    if (!arg) break;
    const std::string text = arg;
    command += " ";
    if (text.find_first_of(" \t") != std::string::npos)
      command += "\"" + text + "\"";
    else
      command += text;
  }
  return command;
}

}  // namespace Vantor
