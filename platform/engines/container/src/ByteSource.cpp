#include "vqt/container/ByteSource.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vqt::container {

namespace {
bool rangeInside(std::uint64_t offset, std::uint64_t length, std::uint64_t size) {
  return offset <= size && length <= size - offset;
}
}  // namespace

Error ByteSource::readVector(std::uint64_t offset, std::uint64_t length, std::vector<std::uint8_t>& out) const {
  if (!rangeInside(offset, length, size())) return Error::truncated;
  out.resize(static_cast<std::size_t>(length));
  return read(offset, out) ? Error::none : Error::ioError;
}

std::shared_ptr<FileSource> FileSource::open(const std::string& path, Error& error) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    error = Error::notFound;
    return nullptr;
  }
  struct stat info {};
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    ::close(fd);
    error = Error::ioError;
    return nullptr;
  }
  error = Error::none;
  return std::shared_ptr<FileSource>(new FileSource(fd, static_cast<std::uint64_t>(info.st_size)));
}

FileSource::~FileSource() { ::close(fd_); }

bool FileSource::read(std::uint64_t offset, std::span<std::uint8_t> out) const {
  if (!rangeInside(offset, out.size(), size_)) return false;
  std::size_t done = 0;
  while (done < out.size()) {
    const ssize_t got = ::pread(fd_, out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    done += static_cast<std::size_t>(got);
  }
  return true;
}

bool MemorySource::read(std::uint64_t offset, std::span<std::uint8_t> out) const {
  if (!rangeInside(offset, out.size(), view_.size())) return false;
  if (!out.empty()) std::memcpy(out.data(), view_.data() + offset, out.size());
  return true;
}

SubRangeSource::SubRangeSource(std::shared_ptr<const ByteSource> parent, std::uint64_t offset, std::uint64_t length)
    : parent_(std::move(parent)) {
  const std::uint64_t parentSize = parent_->size();
  offset_ = offset < parentSize ? offset : parentSize;
  length_ = length < parentSize - offset_ ? length : parentSize - offset_;
}

bool SubRangeSource::read(std::uint64_t offset, std::span<std::uint8_t> out) const {
  if (!rangeInside(offset, out.size(), length_)) return false;
  return parent_->read(offset_ + offset, out);
}

}  // namespace vqt::container
