// Runs of samples through one decoder, without decoding a sample twice.
//
// A caller asks for a picture by handing over every sample from the sync
// sample before it up to the picture's own sample, then calling finish().
// When the next request starts at a sync sample the decoder has gone through
// since its last restart (or continues right after the last sample), the
// samples already decoded are skipped and their pictures come from a small
// cache; the result is identical to decoding afresh. (With open GOPs the kept
// decoder shows leading pictures correctly where a fresh one cannot.)
//
// Given a source of the stream's samples, a request that continues near the
// previous one also feeds the samples after it, so that a reordering or
// frame-threaded decoder hands out the wanted picture without being drained
// and keeps decoding the next ones on its threads while the caller converts.
// Their pictures wait in the cache until asked for; only asked-for pictures
// are ever handed out, and they are the ones decoding afresh would give.
//
// Every picture of a long-GOP stream that comes out is also kept in a picture
// cache bounded in bytes (least recently used first out): a request whose
// picture is held there is answered without decoding anything, so stepping
// backwards or jumping about a group already decoded costs no decoding.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "vqt/codecs/Decoder.h"
#include "vqt/codecs/PictureCache.h"

namespace vqt::codecs {

class DecodeSequence {
 public:
  explicit DecodeSequence(std::unique_ptr<Decoder> decoder);

  // Adds one sample of the current request. `data` must stay valid until finish(),
  // which does the decoding: only then is it known whether any is needed.
  // `display` false: decode it, but never hand out its picture.
  Status add(std::int64_t sampleNumber, std::span<const std::uint8_t> data, bool display);

  // Ends the request: the pictures of its displayed samples, in display order.
  // A displayed sample whose picture could not be made is left out.
  Status finish(std::vector<Picture>& pictures);

  // Reads sample `number` of the stream into `bytes`; false when there is none.
  using SampleSource = std::function<bool(std::int64_t number, std::vector<std::uint8_t>& bytes)>;
  // Lets finish() read ahead; an empty source stops it. Samples read ahead are
  // checked against the requests' own bytes, as every decoded sample is.
  void setSampleSource(SampleSource source) { source_ = std::move(source); }

  // Bound of the picture cache in bytes; 0 turns it off. Starts at defaultPictureCacheBytes().
  void setPictureCacheBytes(std::size_t bytes) { held_.setCapacity(bytes); }
  const PictureCache& pictureCache() const { return held_; }

  Decoder& decoder() { return *decoder_; }
  std::uint64_t samplesDecoded() const { return decoder_->samplesDecoded(); }

 private:
  struct Sample {
    std::int64_t number;
    std::uint64_t digest;
    std::span<const std::uint8_t> data;
    bool display;
  };
  enum class Mode { fresh, replay, append };

  Status feed(const Sample& sample);
  void decodeRequest();
  Status restartWithRequest();
  void keep(std::vector<Picture>& pictures);
  const Picture* cached(const Sample& sample);
  bool missingShown();
  void forgetChangedSamples();
  bool coveredByRun() const;
  bool answerFromHeld(std::vector<Picture>& pictures);
  void trimCache();
  bool continuesPrevious() const;
  void readAhead();

  std::unique_ptr<Decoder> decoder_;
  std::vector<std::pair<std::int64_t, std::uint64_t>> run_;  // fed since the last restart
  std::deque<Picture> cache_;                                // pictures of the current run the next requests may want
  PictureCache held_{defaultPictureCacheBytes()};
  // Digest of every sample fed since the picture cache was last emptied: a
  // request whose earlier samples differ from these changes what held pictures
  // were made from, so they are all forgotten.
  std::unordered_map<std::int64_t, std::uint64_t> fedDigests_;
  std::vector<Sample> request_;
  Mode mode_ = Mode::fresh;
  std::size_t replayIndex_ = 0;
  std::uint64_t lastEmittedOrder_ = 0;
  SampleSource source_;
  std::vector<std::uint8_t> aheadBytes_;
  std::int64_t previousWanted_ = 0;  // last sample of the previous request, 0 before the first
  std::int64_t heldAhead_ = -1;      // next sample to read ahead, found already held
};

}  // namespace vqt::codecs
