// Offers of read-ahead sources by GetMediaSample2 and the reads a session
// makes through them (see vqt/movies/ReadAheadSource.h).
#include "vqt/movies/ReadAheadSource.h"

#include <array>

#include "MovieState.h"

using namespace vqt::movies;

namespace {

struct Offer {
  Media media = nullptr;
  UInt32 descriptionIndex = 0;
  SInt64 sample = 0;
  ByteCount size = 0;
};

// The latest offers on this thread: enough for every sample a client fetches
// before it hands them on (a reader fetches one at a time).
constexpr std::size_t kRemembered = 32;
struct Recent {
  std::array<Offer, kRemembered> offers;
  std::size_t next = 0;
};
Recent& recent() {
  thread_local Recent offered;
  return offered;
}

}  // namespace

void VqtOfferReadAhead(Media media, UInt32 descriptionIndex, SInt64 sample, ByteCount size) {
  Recent& r = recent();
  r.offers[r.next] = Offer{media, descriptionIndex, sample, size};
  r.next = (r.next + 1) % kRemembered;
}

VqtReadAheadSource VqtReadAheadFor(SInt64 sample, ByteCount size) {
  const Recent& r = recent();
  // Newest first, so that of two media offering the same sample number the
  // one read last wins.
  for (std::size_t i = 1; i <= kRemembered; ++i) {
    const Offer& o = r.offers[(r.next + kRemembered - i) % kRemembered];
    if (o.media != nullptr && o.sample == sample && o.size == size)
      return VqtReadAheadSource(o.media, o.descriptionIndex, sample + 1);
  }
  return {};
}

bool VqtReadAheadSource::read(SInt64 sampleNumber, std::vector<UInt8>& bytes) const {
  auto* media = reinterpret_cast<MediaObject*>(media_);
  if (!media || !isLive(media) || !media->model || !media->track || !media->track->movie) return false;
  const MovieObject& movie = *media->track->movie;
  // Bringing an edited movie up to date is for the Movie Toolbox calls to do.
  if (movie.modelStale || !movie.model) return false;
  const engine::SampleTable& table = media->model->samples;
  if (sampleNumber < 1 || sampleNumber > static_cast<SInt64>(table.sampleCount())) return false;
  engine::SampleLocation where;
  if (table.location(static_cast<std::uint32_t>(sampleNumber), where) != engine::Error::none) return false;
  if (where.descriptionIndex != descriptionIndex_) return false;
  const std::uint64_t available = movie.model->source().size();
  if (where.offset > available || where.size > available - where.offset) return false;
  bytes.resize(where.size);
  return movie.model->readSampleData(where.offset, std::span(bytes.data(), bytes.size())) == engine::Error::none;
}
