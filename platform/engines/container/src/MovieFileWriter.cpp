#include "vqt/container/MovieFileWriter.h"

#include "vqt/container/FileAtoms.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace vqt::container {

struct WrittenFile {
  int fd = -1;
  std::uint64_t end = 0;  // bytes of data that belong to the movie
  ~WrittenFile() {
    if (fd >= 0) ::close(fd);
  }
};

namespace {

class WrittenFileSource final : public ByteSource {
 public:
  explicit WrittenFileSource(std::shared_ptr<WrittenFile> file) : file_(std::move(file)) {}
  std::uint64_t size() const override { return file_->end; }
  bool read(std::uint64_t offset, std::span<std::uint8_t> out) const override {
    if (offset > file_->end || out.size() > file_->end - offset) return false;
    std::size_t done = 0;
    while (done < out.size()) {
      const ssize_t n = ::pread(file_->fd, out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) return false;
      done += static_cast<std::size_t>(n);
    }
    return true;
  }

 private:
  std::shared_ptr<WrittenFile> file_;
};

void ignoreFileSizeSignal() {
  struct sigaction current {};
  if (::sigaction(SIGXFSZ, nullptr, &current) == 0 && current.sa_handler == SIG_DFL) {
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    ::sigaction(SIGXFSZ, &ignore, nullptr);
  }
}

}  // namespace

std::vector<std::uint8_t> movieFileType() {
  FileTypeAtom fileType;
  fileType.majorBrand = 'qt  ';
  fileType.minorVersion = 0x20050300;
  fileType.compatibleBrands = {'qt  '};
  ByteWriter out;
  fileType.write(out);
  return out.take();
}

MediaDataHeader mediaDataHeader(std::uint64_t payloadSize) {
  ByteWriter header;
  if (payloadSize + 8 <= UINT32_MAX) {
    header.u32(static_cast<std::uint32_t>(payloadSize + 8));
    header.u32('mdat');
    return {header.take(), 8};
  }
  header.u32(1);
  header.u32('mdat');
  header.u64(payloadSize + 16);
  return {header.take(), 0};
}

Error errorFromErrno(int code) {
  switch (code) {
    case ENOSPC:
    case EDQUOT:
      return Error::diskFull;
    case EFBIG:
      return Error::fileTooLarge;
    case ENOENT:
    case ENOTDIR:
      return Error::cannotCreate;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
      return Error::accessDenied;
    case EEXIST:
      return Error::alreadyExists;
    default:
      return Error::writeFailed;
  }
}

Error writeFully(int fd, std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::pwrite(fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return errorFromErrno(errno);
    if (n == 0) return Error::writeFailed;
    done += static_cast<std::size_t>(n);
  }
  return Error::none;
}

Error createFile(const std::string& path, bool replace, int& fd) {
  ignoreFileSizeSignal();
  const int flags = O_RDWR | O_CREAT | O_CLOEXEC | (replace ? O_TRUNC : O_EXCL);
  fd = ::open(path.c_str(), flags, 0644);
  return fd < 0 ? errorFromErrno(errno) : Error::none;
}

Error MovieFileWriter::create(const std::string& path, bool replace, std::unique_ptr<MovieFileWriter>& out) {
  auto file = std::make_shared<WrittenFile>();
  if (Error error = createFile(path, replace, file->fd); error != Error::none) return error;
  const auto header = movieFileType();
  if (Error error = writeFully(file->fd, 0, header); error != Error::none) {
    ::unlink(path.c_str());
    return error;
  }
  file->end = header.size();
  out.reset(new MovieFileWriter(path, std::move(file)));
  return Error::none;
}

MovieFileWriter::~MovieFileWriter() = default;

Error MovieFileWriter::note(Error error) {
  if (error != Error::none && firstError_ == Error::none) firstError_ = error;
  return error;
}

std::shared_ptr<const ByteSource> MovieFileWriter::dataSource() const {
  return std::make_shared<WrittenFileSource>(file_);
}

Error MovieFileWriter::appendMediaData(std::span<const std::uint8_t> bytes, std::uint64_t& offset) {
  std::uint64_t end = file_->end;
  if (mediaDataAt_ == 0) {
    // 'wide' reserves room to widen the 'mdat' header to a 64-bit size.
    ByteWriter header;
    header.u32(8);
    header.u32('wide');
    header.u32(8);
    header.u32('mdat');
    if (Error error = writeFully(file_->fd, end, header.data()); error != Error::none) return note(error);
    mediaDataAt_ = end;
    end += header.size();
    file_->end = end;
  }
  if (Error error = writeFully(file_->fd, end, bytes); error != Error::none) return note(error);
  offset = end;
  file_->end = end + bytes.size();
  return Error::none;
}

Error MovieFileWriter::closeMediaData() {
  if (mediaDataAt_ == 0) return Error::none;
  const MediaDataHeader header = mediaDataHeader(file_->end - (mediaDataAt_ + 16));
  if (Error error = writeFully(file_->fd, mediaDataAt_ + header.offset, header.bytes); error != Error::none)
    return error;
  mediaDataAt_ = 0;
  return Error::none;
}

Error MovieFileWriter::writeMovieAtom(std::span<const std::uint8_t> movieAtom) {
  if (Error error = closeMediaData(); error != Error::none) return note(error);
  const std::uint64_t at = file_->end;
  if (Error error = writeFully(file_->fd, at, movieAtom); error != Error::none) {
    (void)::ftruncate(file_->fd, static_cast<off_t>(at));  // the previous header stays the movie
    return note(error);
  }
  if (movieAtomAt_ != 0) {
    static constexpr std::uint8_t kFree[4] = {'f', 'r', 'e', 'e'};
    if (Error error = writeFully(file_->fd, movieAtomAt_ + 4, kFree); error != Error::none) return note(error);
  }
  movieAtomAt_ = at;
  file_->end = at + movieAtom.size();
  // Bytes of failed appends may lie past the header; they are not part of the movie.
  if (::ftruncate(file_->fd, static_cast<off_t>(file_->end)) != 0) return note(errorFromErrno(errno));
  return Error::none;
}

}  // namespace vqt::container
