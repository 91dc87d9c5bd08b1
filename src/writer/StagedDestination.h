// Where a movie is written until it is whole: temporary files in the
// destination's folder, one of which replaces the destination with a single
// rename, so the destination only ever holds a complete movie or what it held.
#pragma once

#include <string>
#include <vector>

namespace Vantor::QuickTime {

class StagedDestination {
 public:
  enum class Result { ok, isFolder, noFolder, cannotCreate, cannotSync, cannotRename };

  StagedDestination() = default;
  StagedDestination(const StagedDestination&) = delete;
  StagedDestination& operator=(const StagedDestination&) = delete;
  // Every temporary file not yet moved into place is removed.
  ~StagedDestination();

  // Refuses a destination that is a folder, removes the temporary files that
  // writers killed earlier left for this destination, and makes the first
  // temporary file (temporaryPath()).
  Result begin(const std::string& destination);
  // Another temporary file beside the first (for a flattened copy); its path.
  Result addTemporary(std::string& path);
  // Flushes `temporary` to the disk, renames it over the destination, flushes
  // the folder, then removes the other temporary files.
  Result commit(const std::string& temporary);
  // Removes every temporary file; the destination is left as it was.
  void abandon();

  bool active() const { return !files_.empty(); }
  const std::string& destination() const { return destination_; }
  const std::string& temporaryPath() const;

  // The temporary files of `destination` whose writer is gone: no process
  // holds their lock. Exposed for the writer's tests.
  static std::vector<std::string> staleTemporaries(const std::string& destination);

 private:
  struct File {
    std::string path;
    int fd = -1;  // holds an exclusive lock for as long as the file is ours
  };
  static int createLocked(const std::string& folder, const std::string& name);

  std::string destination_;
  std::vector<File> files_;
};

const char* describe(StagedDestination::Result result);

}  // namespace Vantor::QuickTime
