// The compression session's encoding thread (see EncodeAhead.h).
#include "EncodeAhead.h"

#include <system_error>
#include <utility>

EncodeAhead::~EncodeAhead() {
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !job_.has_value(); });
    stopping_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

bool EncodeAhead::submit(std::function<void()> job) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return !job_.has_value(); });
  if (!thread_.joinable()) {
    try {
      thread_ = std::thread(&EncodeAhead::run, this);
    } catch (const std::system_error&) {
      return false;
    }
  }
  job_ = std::move(job);
  lock.unlock();
  changed_.notify_all();
  return true;
}

void EncodeAhead::wait() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return !job_.has_value(); });
}

void EncodeAhead::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return stopping_ || job_.has_value(); });
    if (!job_.has_value()) return;  // stopping, nothing left
    // The job stays in job_ while it runs: submit and wait see it in flight.
    lock.unlock();
    (*job_)();
    lock.lock();
    job_.reset();
    changed_.notify_all();
  }
}
