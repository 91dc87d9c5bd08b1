#include "vqt/movies/SampleOrigins.h"

#include "MovieState.h"
#include "SampleOriginRecording.h"

#include <array>

namespace vqt::movies {
namespace {

struct Written {
  const void* data = nullptr;
  ByteCount size = 0;
  VqtMediaSampleOrigin origin;
};

// The latest buffers filled on this thread: enough for every sample a client
// fetches before it hands them on (a reader fetches one at a time).
constexpr std::size_t kRemembered = 32;
struct Recent {
  std::array<Written, kRemembered> entries;
  std::size_t next = 0;
};
Recent& recent() {
  thread_local Recent written;
  return written;
}

}  // namespace

void recordSampleOrigin(const void* data, ByteCount size, MediaObject* media, std::uint32_t sample,
                        std::uint32_t descriptionIndex) {
  Recent& r = recent();
  for (Written& w : r.entries) {
    if (w.data == data) w = Written{};  // that buffer now holds this sample
  }
  r.entries[r.next] = Written{data, size, {toRef(media), sample, descriptionIndex}};
  r.next = (r.next + 1) % kRemembered;
}

}  // namespace vqt::movies

using namespace vqt::movies;

bool VqtMediaSampleOriginOf(const void* data, ByteCount size, VqtMediaSampleOrigin* origin) {
  if (!data || !origin) return false;
  for (const Written& w : recent().entries) {
    if (w.data == data && w.size == size) {
      *origin = w.origin;
      return true;
    }
  }
  return false;
}

bool VqtMediaReadSample(const VqtMediaSampleOrigin& origin, SInt64 sampleNumber, std::vector<UInt8>& bytes) {
  auto* media = reinterpret_cast<MediaObject*>(origin.media);
  if (!media || !isLive(media) || !media->model || !media->track || !media->track->movie) return false;
  const MovieObject& movie = *media->track->movie;
  // Bringing an edited movie up to date is for the Movie Toolbox calls to do.
  if (movie.modelStale || !movie.model) return false;
  const engine::SampleTable& table = media->model->samples;
  if (sampleNumber < 1 || sampleNumber > static_cast<SInt64>(table.sampleCount())) return false;
  engine::SampleLocation where;
  if (table.location(static_cast<std::uint32_t>(sampleNumber), where) != engine::Error::none) return false;
  if (where.descriptionIndex != origin.descriptionIndex) return false;
  const std::uint64_t available = movie.model->source().size();
  if (where.offset > available || where.size > available - where.offset) return false;
  bytes.resize(where.size);
  return movie.model->readSampleData(where.offset, std::span(bytes.data(), bytes.size())) == engine::Error::none;
}
