#include "BoundedRun.h"

#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace Vantor::QuickTime::Reliability {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

void limitChild(unsigned seconds, std::uint64_t addressSpace) {
  if (addressSpace != 0 && addressSpaceLimitApplies()) {
    const rlimit limit{addressSpace, addressSpace};
    setrlimit(RLIMIT_AS, &limit);
  }
  alarm(seconds);  // kept across exec; SIGALRM's default action ends the child
}

// Reads both pipes to their ends, then reaps the child with its resource use.
BoundedRun collect(pid_t child, int outFd, int errFd) {
  BoundedRun run;
  pollfd fds[2] = {{outFd, POLLIN, 0}, {errFd, POLLIN, 0}};
  std::string* sinks[2] = {&run.output, &run.errors};
  int open = 2;
  char buffer[4096];
  while (open > 0) {
    if (poll(fds, 2, -1) < 0) break;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
      const ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        sinks[i]->append(buffer, static_cast<std::size_t>(n));
      } else {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      }
    }
  }
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  run.peakKilobytes = usage.ru_maxrss;
  if (WIFSIGNALED(status)) {
    run.signal = WTERMSIG(status);
    run.end = run.signal == SIGALRM ? RunEnd::TimedOut : RunEnd::Signalled;
  } else {
    run.exitCode = WEXITSTATUS(status);
  }
  return run;
}

}  // namespace

bool addressSpaceLimitApplies() { return !kSanitized; }

BoundedRun runProgram(const std::vector<std::string>& argv, unsigned seconds, std::uint64_t addressSpace) {
  int out[2], err[2];
  if (pipe(out) != 0) return {RunEnd::Signalled, 0, SIGABRT, {}, "no pipe", 0};
  if (pipe(err) != 0) {
    close(out[0]);
    close(out[1]);
    return {RunEnd::Signalled, 0, SIGABRT, {}, "no pipe", 0};
  }
  std::vector<char*> args;
  for (const auto& word : argv) args.push_back(const_cast<char*>(word.c_str()));
  args.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    close(out[0]);
    close(err[0]);
    close(out[1]);
    close(err[1]);
    limitChild(seconds, addressSpace);
    execv(args[0], args.data());
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  return collect(child, out[0], err[0]);
}

BoundedRun runInChild(const std::function<std::string()>& work, unsigned seconds, std::uint64_t addressSpace) {
  int out[2], err[2];
  if (pipe(out) != 0) return {RunEnd::Signalled, 0, SIGABRT, {}, "no pipe", 0};
  if (pipe(err) != 0) {
    close(out[0]);
    close(out[1]);
    return {RunEnd::Signalled, 0, SIGABRT, {}, "no pipe", 0};
  }
  const pid_t child = fork();
  if (child == 0) {
    close(out[0]);
    close(err[0]);
    dup2(err[1], STDOUT_FILENO);  // the library's messages, kept apart from the result
    dup2(err[1], STDERR_FILENO);
    limitChild(seconds, addressSpace);
    const std::string text = work();
    std::fflush(stdout);
    std::size_t written = 0;
    while (written < text.size()) {
      const ssize_t n = ::write(out[1], text.data() + written, text.size() - written);
      if (n <= 0) _exit(1);
      written += static_cast<std::size_t>(n);
    }
    _exit(0);
  }
  close(out[1]);
  close(err[1]);
  return collect(child, out[0], err[0]);
}

}  // namespace Vantor::QuickTime::Reliability
