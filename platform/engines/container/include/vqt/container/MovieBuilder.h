// The editable form of a movie that the writing calls work on: tracks with
// edit lists and media whose samples are runs in one data file, plus user
// data and 'mdta' metadata. It turns into a 'moov' atom with writeMovieAtom;
// the reading model is then made from those bytes, so what is written and
// what is read back go through one parser.
#pragma once

#include "vqt/container/Movie.h"

#include <cstdint>
#include <vector>

namespace vqt::container {

// `count` consecutive samples of equal size and duration, stored back to
// back from `offset` (a video frame is a run of one; a block of PCM frames
// is one run).
struct SampleRun {
  std::uint64_t offset = 0;
  std::uint32_t size = 0;  // of each sample
  std::uint32_t count = 1;
  std::uint32_t duration = 0;  // of each sample, media time scale
  std::int32_t displayOffset = 0;
  std::uint32_t description = 1;  // 1-based
  bool sync = true;
  std::uint8_t dependency = 0;  // 'sdtp' byte
};

struct BuiltMedia {
  FourCC handlerType = 0;
  std::uint32_t timeScale = 600;
  std::uint16_t language = 0;
  std::vector<std::vector<std::uint8_t>> descriptions;  // whole 'stsd' entries
  std::vector<SampleRun> runs;  // grown only by append (offsets may be moved), which keeps the totals
  std::vector<UserDataItem> userData;

  std::uint64_t duration() const { return totalDuration_; }  // sum of sample durations
  std::uint64_t sampleCount() const { return totalSamples_; }
  // The 1-based index of an identical entry, adding it when new.
  std::uint32_t addDescription(std::vector<std::uint8_t> entry);
  // Appends, merging into the last run when it continues it exactly.
  void append(const SampleRun& run);

 private:
  std::uint64_t totalDuration_ = 0, totalSamples_ = 0;
};

struct BuiltEdit {
  std::uint64_t duration = 0;  // movie time scale
  std::int64_t mediaTime = 0;  // media time scale; -1 for empty time
  std::int32_t rate = 0x10000;
};

struct BuiltTrack {
  std::uint32_t id = 0;
  bool enabled = true;
  std::int16_t layer = 0, alternateGroup = 0, volume = 0;
  std::uint32_t width = 0, height = 0;  // 16.16 fixed
  Matrix matrix = kIdentityMatrix;
  std::vector<BuiltEdit> edits;
  std::vector<std::pair<FourCC, std::vector<std::uint32_t>>> references;
  std::vector<UserDataItem> userData;
  BuiltMedia media;

  std::uint64_t duration() const;  // movie time scale

  // Inserts `duration` (movie scale) of media from `mediaTime` at `trackStart`,
  // pushing later edits back; a start past the end is reached with empty
  // time. -1 as start appends. mediaTime -1 inserts empty time.
  void insertEdit(std::int64_t trackStart, std::uint64_t duration, std::int64_t mediaTime, std::int32_t rate,
                  std::uint32_t movieTimeScale);
  // Removes [start, start + duration) and pulls later edits forward.
  void deleteTime(std::uint64_t start, std::uint64_t duration, std::uint32_t movieTimeScale);
};

class MovieBuilder {
 public:
  std::uint32_t timeScale = 600;
  std::uint32_t nextTrackId = 1;
  std::vector<BuiltTrack> tracks;
  std::vector<UserDataItem> userData;
  std::vector<MetadataItem> metadata;

  std::uint64_t duration() const;
  BuiltTrack& addTrack();
  // The editable form of a movie that was read (sample offsets stay those of its file).
  static Error fromMovie(const Movie& movie, MovieBuilder& out);
};

// The 'moov' atom of `movie`: 'mvhd', a 'trak' per track (edit list,
// references, media with handler, media header and sample tables), user data
// and 'mdta' metadata. Chunk offsets switch to 'co64' when any is past 4 GiB.
std::vector<std::uint8_t> writeMovieAtom(const MovieBuilder& movie);

// Media time `value` in `from` units converted to `to` units, rounded to nearest.
std::uint64_t rescaleTime(std::uint64_t value, std::uint32_t from, std::uint32_t to);

}  // namespace vqt::container
