// The message router behind <vantor/Log.h>: one process-wide level and
// callback. Messages are formatted only when they pass the level.
#include "Diagnostics.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

namespace Vantor {

namespace {

LogLevel levelFromEnvironment() {
  const char* text = std::getenv("VANTOR_QUICKTIME_LOG");
  if (!text) return LogLevel::kDebug;
  static const struct {
    const char* name;
    LogLevel level;
  } kNames[] = {{"silent", LogLevel::kSilent},
                {"error", LogLevel::kError},
                {"warning", LogLevel::kWarning},
                {"info", LogLevel::kInfo},
                {"debug", LogLevel::kDebug}};
  for (const auto& entry : kNames)
    if (std::strcmp(text, entry.name) == 0) return entry.level;
  return LogLevel::kDebug;  // an unknown word changes nothing
}

std::atomic<int>& currentLevel() {
  static std::atomic<int> level{static_cast<int>(levelFromEnvironment())};
  return level;
}

struct Route {
  std::mutex mutex;
  LogCallback callback = nullptr;
  void* context = nullptr;
};

Route& route() {
  static Route instance;
  return instance;
}

bool passes(LogLevel level) { return static_cast<int>(level) <= currentLevel().load(std::memory_order_relaxed); }

void deliver(LogLevel level, std::FILE* stream, const char* format, va_list arguments) {
  LogCallback callback;
  void* context;
  {
    Route& r = route();
    std::lock_guard<std::mutex> lock(r.mutex);
    callback = r.callback;
    context = r.context;
  }
  if (!callback) {
    std::vfprintf(stream, format, arguments);
    return;
  }
  va_list copy;
  va_copy(copy, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (length < 0) return;
  std::string text(static_cast<size_t>(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  callback(level, text.c_str(), context);
}

}  // namespace

void setLogLevel(LogLevel level) { currentLevel().store(static_cast<int>(level), std::memory_order_relaxed); }

LogLevel logLevel() { return static_cast<LogLevel>(currentLevel().load(std::memory_order_relaxed)); }

void setLogCallback(LogCallback callback, void* context) {
  Route& r = route();
  std::lock_guard<std::mutex> lock(r.mutex);
  r.callback = callback;
  r.context = callback ? context : nullptr;
}

void diagnostic(LogLevel level, const char* format, ...) {
  if (!passes(level)) return;
  va_list arguments;
  va_start(arguments, format);
  deliver(level, stdout, format, arguments);
  va_end(arguments);
}

void diagnosticError(LogLevel level, const char* format, ...) {
  if (!passes(level)) return;
  va_list arguments;
  va_start(arguments, format);
  deliver(level, stderr, format, arguments);
  va_end(arguments);
}

void diagnosticPerror(LogLevel level, const char* text) {
  const int saved = errno;
  if (!passes(level)) return;
  // Not perror itself: its text must be able to reach the callback too.
  diagnosticError(level, "%s: %s\n", text, std::strerror(saved));
  errno = saved;
}

}  // namespace Vantor
