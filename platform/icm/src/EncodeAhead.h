// A compression session's second thread: it runs one frame's layout and
// encoding while the caller prepares the next frame. At most one job is in
// flight, so the memory held stays one source frame, and jobs run in the
// order they were given.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

class EncodeAhead {
 public:
  EncodeAhead() = default;
  ~EncodeAhead();
  EncodeAhead(const EncodeAhead&) = delete;
  EncodeAhead& operator=(const EncodeAhead&) = delete;

  // Waits for the job in flight to finish, then hands `job` to the thread
  // (started on first use). Returns false, running nothing, when the thread
  // cannot be started: the caller then does the work itself.
  bool submit(std::function<void()> job);
  // Returns once no job is in flight. What the finished job wrote is then
  // visible to the caller.
  void wait();

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<std::function<void()>> job_;  // in flight: queued or running
  bool stopping_ = false;
  std::thread thread_;
};
