// Fuzzes the container engine: opens a movie from the input bytes, walks every
// sample table query, edit mapping, metadata item and user data item, dumps
// and re-writes the atom tree. Any crash, leak, overflow or hang is a finding.
#include "vqt/container/Movie.h"
#include "vqt/container/MovieBuilder.h"
#include "vqt/container/Timecode.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <sstream>

using namespace vqt::container;

namespace {

// Enough samples to reach every table run of a seed; bounded so that each
// input stays fast however many samples it claims.
constexpr std::uint32_t kMaxSamplesWalked = 4096;
constexpr std::uint32_t kMaxStepsWalked = 4096;

void walkSamples(const Movie& movie, const Media& media) {
  const SampleTable& table = media.samples;
  const std::uint32_t count = std::min(table.sampleCount(), kMaxSamplesWalked);
  std::vector<std::uint8_t> buffer;
  for (std::uint32_t sample = 1; sample <= count + 1; ++sample) {
    std::int64_t time = 0, duration = 0;
    if (table.decodeTime(sample, time, duration) == Error::none) {
      std::uint32_t back = 0;
      (void)table.sampleAtDecodeTime(time, back);
    }
    if (table.displayTime(sample, time, duration) == Error::none) {
      std::uint32_t back = 0;
      (void)table.sampleAtDisplayTime(time, back);
      (void)table.displayBoundaryAfter(time, false);
      (void)table.displayBoundaryBefore(time, true);
    }
    (void)table.compositionOffset(sample);
    (void)table.isSync(sample);
    (void)table.syncAtOrBefore(sample);
    (void)table.syncAtOrAfter(sample);
    (void)table.dependencyFlags(sample);
    SampleLocation where;
    if (table.location(sample, where) == Error::none && where.size <= (1u << 20)) {
      buffer.resize(where.size);
      (void)movie.readSampleData(where.offset, buffer);
      if (where.descriptionIndex >= 1 && where.descriptionIndex <= media.descriptions.size()) {
        const SampleEntry* entry = media.descriptions[where.descriptionIndex - 1];
        (void)entry->findExtension('pasp');
      }
    }
  }
  for (std::int64_t probe :
       {std::int64_t(-1), std::int64_t(0), table.decodeDuration() / 2, table.decodeDuration(), table.displayEnd()}) {
    std::uint32_t sample = 0;
    (void)table.sampleAtDecodeTime(probe, sample);
    (void)table.sampleAtDisplayTime(probe, sample);
  }
}

void walkTrack(const Track& track) {
  std::uint32_t steps = 0;
  for (auto t = track.nextSampleChange(0, true, true); t && steps < kMaxStepsWalked; ++steps) {
    (void)track.mediaTimeAt(*t);
    const auto next = track.nextSampleChange(*t, true, false);
    if (next && *next <= *t) __builtin_trap();  // stepping must always move forward
    t = next;
  }
  steps = 0;
  const auto end = static_cast<std::int64_t>(std::min<std::uint64_t>(track.duration, INT64_MAX / 2));
  for (auto t = track.nextSampleChange(end, false, true); t && steps < kMaxStepsWalked; ++steps) {
    const auto previous = track.nextSampleChange(*t, false, false);
    if (previous && *previous >= *t) __builtin_trap();
    t = previous;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::unique_ptr<Movie> movie;
  auto source = std::make_shared<MemorySource>(std::span<const std::uint8_t>(data, size));
  if (Movie::open(source, movie) != Error::none) return 0;
  for (const auto& track : movie->tracks) {
    walkSamples(*movie, track->media);
    walkTrack(*track);
    for (const auto* entry : track->media.descriptions) {
      if (const auto* tc = dynamic_cast<const TimecodeSampleEntry*>(entry)) {
        const auto fields = timecodeFromFrameNumber(123456, tc->flags, tc->numberOfFrames);
        (void)formatTimecode(fields, tc->flags);
      }
      for (const auto& extension : entry->extensions) (void)userDataText(extension.payload, 0);
    }
  }
  for (const auto& item : movie->metadata) (void)item.value.size();
  for (const auto& item : movie->userData) (void)userDataText(item.payload, std::nullopt);
  std::ostringstream text;
  Dumper dumper(text);
  ByteWriter rewritten;
  for (const auto& atom : movie->atoms()) {
    atom->dump(dumper);
    atom->write(rewritten);
  }
  // The editable form of whatever was accepted, written as a new header and
  // read back over the same data: the writer must make what the reader takes.
  MovieBuilder builder;
  if (MovieBuilder::fromMovie(*movie, builder) == Error::none) {
    std::unique_ptr<Movie> again;
    if (Movie::fromMovieAtom(writeMovieAtom(builder), source, again) != Error::none) __builtin_trap();
    if (again->tracks.size() != movie->tracks.size()) __builtin_trap();
    for (std::size_t i = 0; i < again->tracks.size(); ++i)
      if (again->tracks[i]->media.samples.sampleCount() != movie->tracks[i]->media.samples.sampleCount())
        __builtin_trap();
  }
  return 0;
}
