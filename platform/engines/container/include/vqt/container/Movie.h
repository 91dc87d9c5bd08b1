// The movie model the Movie Toolbox layer works on: a movie with its tracks,
// each track's edits and media, each media's sample table and sample
// descriptions, user data and QuickTime ('mdta') metadata. Built from the atom
// tree of a byte source; the atom tree stays owned by the movie.
#pragma once

#include "vqt/container/ByteSource.h"
#include "vqt/container/CompressedMovieAtom.h"
#include "vqt/container/EditAtoms.h"
#include "vqt/container/FileAtoms.h"
#include "vqt/container/MetadataAtoms.h"
#include "vqt/container/SampleEntries.h"
#include "vqt/container/SampleTable.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace vqt::container {

struct UserDataItem {
  FourCC type = 0;
  std::vector<std::uint8_t> payload;
};

struct MetadataItem {
  FourCC keyNamespace = 'mdta';
  std::vector<std::uint8_t> key;
  std::uint32_t dataType = 0;  // well-known type: 1 UTF-8, 21 signed, 22 unsigned, 23 float, 24 double, ...
  std::uint32_t locale = 0;
  std::vector<std::uint8_t> value;
};

class Media {
 public:
  FourCC handlerType = 0;
  FourCC handlerManufacturer = 0;
  std::vector<std::uint8_t> handlerName;  // as stored: Pascal or C string
  std::uint32_t timeScale = 0;
  std::uint64_t duration = 0;
  std::uint16_t language = 0;
  SampleTable samples;
  std::vector<const SampleEntry*> descriptions;  // in 'stsd' order; index 1 is the first
  std::vector<UserDataItem> userData;
};

struct Edit {
  std::uint64_t trackStart = 0;  // movie time scale
  std::uint64_t duration = 0;    // movie time scale
  std::int64_t mediaTime = 0;    // media time scale; -1 when empty
  std::int32_t rate = 0x10000;   // 16.16
};

class Track {
 public:
  std::uint32_t id = 0;
  bool enabled = true;
  std::int16_t layer = 0, volume = 0, alternateGroup = 0;
  std::uint32_t width = 0, height = 0;  // 16.16 fixed
  Matrix matrix = kIdentityMatrix;
  std::uint32_t movieTimeScale = 600;
  std::uint64_t duration = 0;  // movie time scale: the end of the last edit
  std::vector<Edit> edits;
  Media media;
  std::vector<std::pair<FourCC, std::vector<std::uint32_t>>> references;
  std::vector<UserDataItem> userData;

  // Track time (movie scale) to media time; -1 inside an empty edit or
  // outside the track.
  std::int64_t mediaTimeAt(std::int64_t trackTime) const;
  // Where the displayed sample changes: the next time after `time` (or the
  // last before it when searching backward); `inclusive` lets `time` itself
  // count. Edit boundaries that show media count as changes.
  std::optional<std::int64_t> nextSampleChange(std::int64_t time, bool forward, bool inclusive) const;
};

class Movie {
 public:
  // Parses the source; fails on no movie atom, external data and damaged
  // tables. The samples of movie fragments join their tracks' tables, so a
  // fragmented movie reads like any other. Media data is only read on demand.
  static Error open(std::shared_ptr<const ByteSource> source, std::unique_ptr<Movie>& out);
  // A movie from its 'moov' bytes alone, its sample offsets pointing into
  // `data` (a file being written, a sound file presented as a movie).
  static Error fromMovieAtom(std::span<const std::uint8_t> movieAtomBytes, std::shared_ptr<const ByteSource> data,
                             std::unique_ptr<Movie>& out);

  std::uint32_t timeScale = 600;
  std::uint64_t duration = 0;
  std::vector<std::unique_ptr<Track>> tracks;
  std::vector<UserDataItem> userData;
  std::vector<MetadataItem> metadata;

  const Atom* movieAtom() const { return movieAtom_; }
  const std::vector<std::unique_ptr<Atom>>& atoms() const { return atoms_; }
  const ByteSource& source() const { return *source_; }
  const std::shared_ptr<const ByteSource>& sharedSource() const { return source_; }
  Error readSampleData(std::uint64_t offset, std::span<std::uint8_t> out) const;

 private:
  static Error finishOpening(std::unique_ptr<Movie> movie, std::unique_ptr<Movie>& out);
  // Calls `visit(type, offset, size)` for each top-level atom, reading headers only.
  static Error walkTopLevel(const ByteSource& source,
                            const std::function<Error(FourCC, std::uint64_t, std::uint64_t)>& visit);
  Error readFragments(const Atom& moov, const std::vector<const Atom*>& traks);
  bool fragmented_ = false;  // a 'moof' was seen at the top level
  std::shared_ptr<const ByteSource> source_;
  std::vector<std::unique_ptr<Atom>> atoms_;  // top-level atoms other than media data
  const Atom* movieAtom_ = nullptr;
};

// Texts of QuickTime's international-text user data items ('name', '(c)nam',
// ...): a 16-bit length, a 16-bit language code, then the text. Returns the
// text of the entry with `language`, or of the first entry when none matches.
std::optional<std::vector<std::uint8_t>> userDataText(std::span<const std::uint8_t> payload,
                                                      std::optional<std::uint16_t> language);

}  // namespace vqt::container
