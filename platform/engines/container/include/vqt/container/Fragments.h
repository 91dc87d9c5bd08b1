// Fragmented movies: the samples of every movie fragment ('moof') appended to
// the sample tables of their track, so that the rest of the engine reads a
// fragmented movie exactly like one whose tables are all in its 'moov'.
#pragma once

#include "vqt/container/FragmentAtoms.h"
#include "vqt/container/SampleTable.h"

#include <map>
#include <memory>

namespace vqt::container {

// The most samples the fragments of one movie may add, over all its tracks.
// The reading model costs about 20 bytes a sample (sizes, their prefix sums,
// the display order), so this keeps the worst case near 350 MB while still
// allowing over three days of 60 fps video or four days of 48 kHz AAC.
inline constexpr std::uint64_t kMaxFragmentSamples = std::uint64_t(1) << 24;

struct FragmentSample {
  std::uint64_t offset = 0;
  std::uint32_t size = 0;
  std::uint32_t duration = 0;
  std::int32_t compositionOffset = 0;
  std::uint32_t descriptionIndex = 1;
  bool sync = true;
  std::uint8_t dependency = 0;  // as an 'sdtp' byte
};

// One track's samples, added in decode order, kept as the sample table atoms
// an unfragmented file stores: run-length coded times and offsets, one chunk
// per stretch of samples that lie back to back with one description. For
// uncompressed sound (`pcmFrameBytes` not 0) every frame is a sample of
// constant size, as in a movie file.
class SampleTableAccumulator {
 public:
  explicit SampleTableAccumulator(std::uint32_t pcmFrameBytes = 0) : frameBytes_(pcmFrameBytes) {}
  void add(const FragmentSample& sample);
  // A fragment that starts after the end of the samples before it: the last
  // sample lasts until it, as it would in a file without fragments.
  void lengthenLast(std::uint64_t extra);
  std::uint64_t sampleCount() const { return count_; }
  std::uint64_t decodeEnd() const { return decodeEnd_; }
  // Closes the last chunk; the atoms point into this object.
  SampleTableAtoms finish();

 private:
  void addRun(const FragmentSample& sample, std::uint32_t count);
  void closeChunk();

  std::uint32_t frameBytes_;
  TimeToSampleAtom times_;
  CompositionOffsetAtom offsets_;
  SyncSampleAtom sync_;
  SampleToChunkAtom chunks_;
  SampleSizeAtom sizes_{'stsz'};
  ChunkOffsetAtom chunkOffsets_{'co64'};
  SampleDependencyAtom dependencies_;
  bool anyOffset_ = false, anyNonSync_ = false, anyDependency_ = false;
  std::uint64_t count_ = 0;
  std::uint64_t decodeEnd_ = 0;
  std::uint64_t chunkEnd_ = 0;
  std::uint32_t chunkSamples_ = 0;
  std::uint32_t chunkDescription_ = 0;
};

// Reads the movie fragments of one file in file order. Each track starts from
// the samples its 'moov' tables already list; fragments of unknown tracks are
// ignored. A sample that does not lie inside the file ends its track (a file
// cut short keeps every sample it still holds).
class FragmentReader {
 public:
  FragmentReader(const Atom& movieAtom, std::uint64_t fileSize);
  // `fromMovieAtom` must outlive the reader; it is copied on the track's first
  // fragment. `pcmFrameBytes`: the frame size of uncompressed sound, else 0.
  void addTrack(std::uint32_t trackId, const SampleTable& fromMovieAtom, std::uint32_t pcmFrameBytes);
  // `offset` is where the 'moof' starts in the file (the default data base).
  Error addMovieFragment(const Atom& moof, std::uint64_t offset);
  // The merged tables of a track that fragments added to, or null.
  SampleTableAccumulator* tablesOf(std::uint32_t trackId);

 private:
  struct TrackState {
    const SampleTable* fromMovieAtom = nullptr;
    const TrackExtendsAtom* defaults = nullptr;
    std::uint32_t pcmFrameBytes = 0;
    std::unique_ptr<SampleTableAccumulator> tables;
    bool ended = false;
  };
  Error addTrackFragment(const Atom& traf, const TrackFragmentHeaderAtom& header, TrackState& track,
                         std::uint64_t moofOffset, std::uint64_t& dataEnd);
  Error seed(TrackState& track);

  const Atom& movieAtom_;
  std::uint64_t fileSize_;
  std::uint64_t samplesAdded_ = 0;
  std::map<std::uint32_t, TrackState> tracks_;
};

}  // namespace vqt::container
