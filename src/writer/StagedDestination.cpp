// Temporary files named ".<destination name>.<random>.partial" in the
// destination's folder, each held under an exclusive flock while its writer
// lives: a file nobody holds was left by a killed writer and is removed by
// the next write to the same destination.
#include "StagedDestination.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <random>

namespace Vantor::QuickTime {
namespace {

constexpr const char* kSuffix = ".partial";

std::string folderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

std::string nameOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string prefixOf(const std::string& destination) { return "." + nameOf(destination) + "."; }

bool isTemporaryName(const std::string& name, const std::string& prefix) {
  const std::string suffix = kSuffix;
  return name.size() > prefix.size() + suffix.size() && name.compare(0, prefix.size(), prefix) == 0 &&
         name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0;
}

bool syncFolder(const std::string& folder) {
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool synced = ::fsync(fd) == 0;
  ::close(fd);
  return synced;
}

}  // namespace

const char* describe(StagedDestination::Result result) {
  switch (result) {
    case StagedDestination::Result::ok:
      return "ok";
    case StagedDestination::Result::isFolder:
      return "the destination is a folder";
    case StagedDestination::Result::noFolder:
      return "the destination's folder does not exist";
    case StagedDestination::Result::cannotCreate:
      return "cannot create a file in the destination's folder";
    case StagedDestination::Result::cannotSync:
      return "cannot flush the movie to the disk";
    case StagedDestination::Result::cannotRename:
      return "cannot move the movie into place";
  }
  return "unknown";
}

StagedDestination::~StagedDestination() { abandon(); }

const std::string& StagedDestination::temporaryPath() const {
  static const std::string none;
  return files_.empty() ? none : files_.front().path;
}

std::vector<std::string> StagedDestination::staleTemporaries(const std::string& destination) {
  std::vector<std::string> stale;
  const std::string folder = folderOf(destination);
  const std::string prefix = prefixOf(destination);
  DIR* listing = ::opendir(folder.c_str());
  if (listing == nullptr) return stale;
  while (const dirent* entry = ::readdir(listing)) {
    const std::string name = entry->d_name;
    if (!isTemporaryName(name, prefix)) continue;
    const std::string path = folder + "/" + name;
    const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) continue;
    struct stat info {};
    // A live writer holds the lock; only a regular file nobody holds is stale.
    if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && ::flock(fd, LOCK_EX | LOCK_NB) == 0) stale.push_back(path);
    ::close(fd);
  }
  ::closedir(listing);
  return stale;
}

StagedDestination::Result StagedDestination::begin(const std::string& destination) {
  abandon();
  struct stat info {};
  if (::stat(destination.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return Result::isFolder;
  if (!destination.empty() && destination.back() == '/') return Result::isFolder;
  const std::string folder = folderOf(destination);
  if (::stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return Result::noFolder;
  destination_ = destination;
  for (const std::string& path : staleTemporaries(destination)) ::unlink(path.c_str());
  std::string first;
  return addTemporary(first);
}

// A nameless file, locked, then given its name: another writer's cleanup can
// never see it unlocked. Where the file system has no nameless files, the
// file is named first and locked at once after.
int StagedDestination::createLocked(const std::string& folder, const std::string& name) {
  const std::string path = folder + "/" + name;
  int fd = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0644);
  if (fd >= 0) {
    ::flock(fd, LOCK_EX);
    const std::string self = "/proc/self/fd/" + std::to_string(fd);
    if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0) return fd;
    const int error = errno;
    ::close(fd);
    if (error != ENOENT && error != EPERM && error != EXDEV) {
      errno = error;
      return -1;
    }
  }
  fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (fd >= 0) ::flock(fd, LOCK_EX);
  return fd;
}

StagedDestination::Result StagedDestination::addTemporary(std::string& path) {
  static thread_local std::mt19937_64 random{std::random_device{}()};
  const std::string folder = folderOf(destination_);
  for (int attempt = 0; attempt < 16; ++attempt) {
    char tag[17];
    std::snprintf(tag, sizeof tag, "%016llx", static_cast<unsigned long long>(random()));
    const std::string name = prefixOf(destination_) + tag + kSuffix;
    const int fd = createLocked(folder, name);
    if (fd < 0) {
      if (errno == EEXIST) continue;
      return Result::cannotCreate;
    }
    files_.push_back({folder + "/" + name, fd});
    path = files_.back().path;
    return Result::ok;
  }
  return Result::cannotCreate;
}

StagedDestination::Result StagedDestination::commit(const std::string& temporary) {
  for (auto file = files_.begin(); file != files_.end(); ++file) {
    if (file->path != temporary) continue;
    if (::fsync(file->fd) != 0) return Result::cannotSync;
    if (::rename(file->path.c_str(), destination_.c_str()) != 0) return Result::cannotRename;
    ::close(file->fd);
    files_.erase(file);
    syncFolder(folderOf(destination_));
    abandon();
    return Result::ok;
  }
  return Result::cannotRename;
}

void StagedDestination::abandon() {
  for (File& file : files_) {
    ::unlink(file.path.c_str());
    ::close(file.fd);
  }
  files_.clear();
}

}  // namespace Vantor::QuickTime
