// Writing a movie file as it grows: sample data is appended to an open
// 'mdat' as it arrives, and each header update appends a new 'moov' after
// the data, then turns the previous one into 'free'. At every moment after
// the first header the file holds a complete movie.
#pragma once

#include "vqt/container/ByteSource.h"
#include "vqt/container/Error.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vqt::container {

struct WrittenFile;  // the descriptor and the end of the data, shared with readers

// errno of a failed write or create as an engine error.
Error errorFromErrno(int code);
// Writes all of `bytes` at `offset`, retrying short writes.
Error writeFully(int fd, std::uint64_t offset, std::span<const std::uint8_t> bytes);
// Opens a new file for writing; `replace` truncates an existing one. The
// default action of SIGXFSZ (end the process) is turned into "ignore" so that
// reaching a file-size limit is a write error (EFBIG) like a full disk.
Error createFile(const std::string& path, bool replace, int& fd);

// The 'ftyp' of the movie files we write: QuickTime brand, version 2005.03.
std::vector<std::uint8_t> movieFileType();

// The header of an 'mdat' holding `payloadSize` bytes, for the 16 bytes of a
// 'wide' + 'mdat' pair: an 8-byte header in the second half (`offset` 8), or
// a 64-bit size over the whole pair (`offset` 0) when the atom passes 4 GiB.
struct MediaDataHeader {
  std::vector<std::uint8_t> bytes;
  std::uint64_t offset = 0;
};
MediaDataHeader mediaDataHeader(std::uint64_t payloadSize);

class MovieFileWriter {
 public:
  static Error create(const std::string& path, bool replace, std::unique_ptr<MovieFileWriter>& out);
  ~MovieFileWriter();
  MovieFileWriter(const MovieFileWriter&) = delete;
  MovieFileWriter& operator=(const MovieFileWriter&) = delete;

  // Appends sample bytes; `offset` receives where they start in the file.
  // A failed append leaves the file's movie as it was.
  Error appendMediaData(std::span<const std::uint8_t> bytes, std::uint64_t& offset);
  // Closes the open 'mdat' (64-bit size past 4 GiB), appends `movieAtom`,
  // frees the previous header and cuts anything after the new one.
  Error writeMovieAtom(std::span<const std::uint8_t> movieAtom);
  // Sample data written so far; stays readable after the writer is gone.
  std::shared_ptr<const ByteSource> dataSource() const;

  const std::string& path() const { return path_; }
  Error firstError() const { return firstError_; }
  bool hasMovieAtom() const { return movieAtomAt_ != 0; }

 private:
  MovieFileWriter(std::string path, std::shared_ptr<WrittenFile> file)
      : path_(std::move(path)), file_(std::move(file)) {}
  Error note(Error error);
  Error closeMediaData();

  std::string path_;
  std::shared_ptr<WrittenFile> file_;
  std::uint64_t mediaDataAt_ = 0;  // header of the open 'mdat'; 0 when none is open
  std::uint64_t movieAtomAt_ = 0;  // the current header; 0 before the first
  Error firstError_ = Error::none;
};

}  // namespace vqt::container
