#include "vqt/container/Flatten.h"

#include "vqt/container/MovieFileWriter.h"

#include <algorithm>
#include <unistd.h>

namespace vqt::container {

namespace {

struct RunRef {
  std::size_t track, run;
  std::uint64_t sourceOffset, bytes;
};

constexpr std::size_t kCopyBlock = std::size_t(4) << 20;

// Copies `refs` in order from `data` to `fd` at `at`, through one buffer.
Error copySamples(const std::vector<RunRef>& refs, const ByteSource& data, int fd, std::uint64_t at) {
  std::vector<std::uint8_t> buffer;
  buffer.reserve(kCopyBlock);
  auto flush = [&]() {
    Error error = writeFully(fd, at, buffer);
    at += buffer.size();
    buffer.clear();
    return error;
  };
  for (const auto& ref : refs) {
    std::uint64_t done = 0;
    while (done < ref.bytes) {
      const std::size_t room = kCopyBlock - buffer.size();
      const std::size_t take = static_cast<std::size_t>(std::min<std::uint64_t>(room, ref.bytes - done));
      const std::size_t filled = buffer.size();
      buffer.resize(filled + take);
      if (!data.read(ref.sourceOffset + done, std::span(buffer.data() + filled, take))) return Error::ioError;
      done += take;
      if (buffer.size() == kCopyBlock)
        if (Error error = flush(); error != Error::none) return error;
    }
  }
  return flush();
}

}  // namespace

Error flattenMovie(const MovieBuilder& movie, const ByteSource& data, const std::string& path, bool replace) {
  // Samples are laid out in the order they had in the source, which keeps
  // the tracks interleaved as they were written.
  std::vector<RunRef> refs;
  std::uint64_t total = 0;
  for (std::size_t t = 0; t < movie.tracks.size(); ++t) {
    const auto& runs = movie.tracks[t].media.runs;
    for (std::size_t r = 0; r < runs.size(); ++r) {
      const std::uint64_t bytes = std::uint64_t(runs[r].size) * runs[r].count;
      refs.push_back({t, r, runs[r].offset, bytes});
      total += bytes;
    }
  }
  std::stable_sort(refs.begin(), refs.end(),
                   [](const RunRef& a, const RunRef& b) { return a.sourceOffset < b.sourceOffset; });

  const auto fileType = movieFileType();
  // The same header as a growing file's 'mdat', without the 'wide' in front.
  const MediaDataHeader mdat = mediaDataHeader(total);
  const std::uint64_t mediaHeader = mdat.bytes.size();
  MovieBuilder flat = movie;
  std::vector<std::uint8_t> header;
  // The header's size depends on whether offsets need 64 bits, and the
  // offsets on the header's size: settle both in a few rounds.
  std::uint64_t dataStart = fileType.size() + mediaHeader;
  for (int round = 0; round < 4; ++round) {
    std::uint64_t next = dataStart;
    for (const auto& ref : refs) {
      flat.tracks[ref.track].media.runs[ref.run].offset = next;
      next += ref.bytes;
    }
    header = writeMovieAtom(flat);
    const std::uint64_t settled = fileType.size() + header.size() + mediaHeader;
    if (settled == dataStart) break;
    dataStart = settled;
  }

  int fd = -1;
  if (Error error = createFile(path, replace, fd); error != Error::none) return error;
  Error error = writeFully(fd, 0, fileType);
  if (error == Error::none) error = writeFully(fd, fileType.size(), header);
  if (error == Error::none) error = writeFully(fd, fileType.size() + header.size(), mdat.bytes);
  if (error == Error::none) error = copySamples(refs, data, fd, dataStart);
  if (::close(fd) != 0 && error == Error::none) error = Error::writeFailed;
  if (error != Error::none) ::unlink(path.c_str());
  return error;
}

}  // namespace vqt::container
