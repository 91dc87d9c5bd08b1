#include "vqt/codecs/DecodeSequence.h"

#include <algorithm>
#include <cstring>

namespace vqt::codecs {
namespace {

// Decoded pictures kept for later requests: enough for the reordering depth of
// common long-GOP streams plus the pictures one request brings out. An
// intra-only stream never needs an earlier picture again.
constexpr std::size_t kCacheLimit = 16;
constexpr std::size_t kIntraCacheLimit = 2;

// Reading ahead: the decoder is kept fed this many samples past the wanted
// one, so its frame threads have the next pictures to work on while the
// caller converts this one; if the wanted picture is still held back, more
// are fed, up to kMostAhead past it, before the decoder is made to hand it
// out. Both stay well inside the cache (pictures waiting to be asked for).
constexpr std::int64_t kKeepAhead = 6;
constexpr std::int64_t kMostAhead = 12;
// A request whose wanted sample lies this close to the previous one's is
// taken as reading on (display order moves around within the reordering
// depth); others, random access, are not read ahead of.
constexpr std::int64_t kContinuationDistance = 16;

// Digests of fed samples remembered for the picture cache; past this many (a
// very long movie) they and the cache start afresh rather than grow on.
constexpr std::size_t kMostFedDigests = std::size_t{1} << 18;

// FNV-1a over 64-bit words: tells a sample that was decoded before from a new one.
std::uint64_t digestOf(std::span<const std::uint8_t> data) {
  std::uint64_t hash = 1469598103934665603ull ^ data.size();
  std::size_t i = 0;
  for (; i + 8 <= data.size(); i += 8) {
    std::uint64_t word;
    std::memcpy(&word, data.data() + i, 8);
    hash = (hash ^ word) * 1099511628211ull;
  }
  for (; i < data.size(); ++i) hash = (hash ^ data[i]) * 1099511628211ull;
  return hash;
}

}  // namespace

DecodeSequence::DecodeSequence(std::unique_ptr<Decoder> decoder) : decoder_(std::move(decoder)) {}

Status DecodeSequence::add(std::int64_t sampleNumber, std::span<const std::uint8_t> data, bool display) {
  request_.push_back({sampleNumber, digestOf(data), data, display});
  return Status::ok;
}

// Goes through the request's samples, skipping those the decoder went through already.
void DecodeSequence::decodeRequest() {
  if (request_.empty()) return;
  // A request starts at a sync sample. If the decoder went through it since
  // its last restart, its state already holds everything from there on.
  const Sample& first = request_.front();
  const std::pair<std::int64_t, std::uint64_t> firstKey{first.number, first.digest};
  if (const auto start = std::find(run_.begin(), run_.end(), firstKey); start != run_.end()) {
    run_.erase(run_.begin(), start);
    mode_ = Mode::replay;
    replayIndex_ = 0;
  } else if (!run_.empty() && decoder_->canContinue() && first.number == run_.back().first + 1) {
    mode_ = Mode::append;
  } else {
    decoder_->restart();
    run_.clear();
    cache_.clear();
    mode_ = Mode::fresh;
  }
  for (const Sample& sample : request_) {
    if (mode_ == Mode::replay) {
      if (replayIndex_ < run_.size()) {
        if (run_[replayIndex_] == std::pair{sample.number, sample.digest}) {
          ++replayIndex_;
          continue;  // decoded by an earlier request
        }
        restartWithRequest();
        return;
      }
      if (!decoder_->canContinue()) {
        restartWithRequest();
        return;
      }
      mode_ = Mode::append;
    }
    // A sample that fails shows as a missing picture at the end of the request.
    feed(sample);
  }
}

Status DecodeSequence::feed(const Sample& sample) {
  std::vector<Picture> out;
  const Status status = decoder_->send(sample.data, sample.number, out);
  run_.emplace_back(sample.number, sample.digest);
  if (fedDigests_.size() >= kMostFedDigests) {
    held_.clear();
    fedDigests_.clear();
  }
  fedDigests_[sample.number] = sample.digest;
  heldAhead_ = -1;
  keep(out);
  return status;
}

// The request no longer matches what the decoder holds: decode all of it again.
Status DecodeSequence::restartWithRequest() {
  decoder_->restart();
  run_.clear();
  cache_.clear();
  mode_ = Mode::fresh;
  Status result = Status::ok;
  for (const Sample& sample : request_) {
    const Status s = feed(sample);
    if (s != Status::ok) result = s;
  }
  return result;
}

void DecodeSequence::keep(std::vector<Picture>& pictures) {
  for (Picture& picture : pictures) {
    // An intra-only picture costs one sample's decoding in any order: not worth the memory.
    if (!decoder_->isIntraOnly() && held_.capacity() > 0) {
      const auto fed =
          std::find_if(run_.rbegin(), run_.rend(), [&](const auto& s) { return s.first == picture.sampleId(); });
      if (fed != run_.rend()) held_.insert({fed->first, fed->second}, picture);
    }
    std::erase_if(cache_, [&](const Picture& p) { return p.sampleId() == picture.sampleId(); });
    cache_.push_back(std::move(picture));
  }
  trimCache();
}

void DecodeSequence::trimCache() {
  // Drop the earliest pictures in display order, but never one the current request shows.
  const std::size_t limit = decoder_->isIntraOnly() ? kIntraCacheLimit : kCacheLimit;
  while (cache_.size() > limit) {
    auto victim = cache_.end();
    for (auto it = cache_.begin(); it != cache_.end(); ++it) {
      const bool wanted = std::any_of(request_.begin(), request_.end(),
                                      [&](const Sample& s) { return s.display && s.number == it->sampleId(); });
      if (!wanted && (victim == cache_.end() || it->outputOrder() < victim->outputOrder())) victim = it;
    }
    if (victim == cache_.end()) break;
    cache_.erase(victim);
  }
}

const Picture* DecodeSequence::cached(const Sample& sample) {
  for (const Picture& picture : cache_) {
    if (picture.sampleId() == sample.number) return &picture;
  }
  return held_.find({sample.number, sample.digest});
}

bool DecodeSequence::missingShown() {
  return std::any_of(request_.begin(), request_.end(), [&](const Sample& s) { return s.display && !cached(s); });
}

void DecodeSequence::forgetChangedSamples() {
  for (const Sample& sample : request_) {
    const auto fed = fedDigests_.find(sample.number);
    if (fed != fedDigests_.end() && fed->second != sample.digest) {
      held_.clear();
      fedDigests_.clear();
      return;
    }
  }
}

// Every sample of the request went through the decoder in its current run.
bool DecodeSequence::coveredByRun() const {
  if (request_.empty()) return false;
  const auto start = std::find(run_.begin(), run_.end(), std::pair{request_.front().number, request_.front().digest});
  if (static_cast<std::size_t>(run_.end() - start) < request_.size()) return false;
  return std::equal(request_.begin(), request_.end(), start, [](const Sample& s, const auto& fed) {
    return fed == std::pair{s.number, s.digest};
  });
}

// A request for one picture the cache holds, which the decoder would have to
// decode again: handed out as it is, the decoder left where it stands (a later
// request may still continue its run). A request the run already covers goes
// the usual way, which keeps reading ahead.
bool DecodeSequence::answerFromHeld(std::vector<Picture>& pictures) {
  if (held_.size() == 0 || coveredByRun()) return false;
  const Sample* shown = nullptr;
  for (const Sample& sample : request_) {
    if (!sample.display) continue;
    // Several shown pictures from different runs have no common display order here.
    if (shown != nullptr) return false;
    shown = &sample;
  }
  if (shown == nullptr) return false;
  const Picture* picture = held_.find({shown->number, shown->digest});
  if (picture == nullptr) return false;
  pictures.push_back(*picture);
  return true;
}

bool DecodeSequence::continuesPrevious() const {
  if (request_.empty()) return false;
  const std::int64_t wanted = request_.back().number;
  // The first picture of a sync sample is where reading from the start begins.
  if (previousWanted_ == 0 || request_.size() == 1) return true;
  return wanted >= previousWanted_ - kContinuationDistance && wanted <= previousWanted_ + kContinuationDistance;
}

void DecodeSequence::readAhead() {
  if (!source_ || request_.empty() || decoder_->isIntraOnly() || !continuesPrevious()) return;
  const std::int64_t wanted = request_.back().number;
  while (!run_.empty() && decoder_->canContinue()) {
    const std::int64_t next = run_.back().first + 1;
    const bool fedEnough = next > wanted + kKeepAhead;
    if ((fedEnough && !missingShown()) || next > wanted + kMostAhead) return;
    if (next == heldAhead_) return;
    if (!source_(next, aheadBytes_)) return;
    // Pictures from here on were decoded before (going backwards): no use decoding them again.
    const std::uint64_t digest = digestOf(aheadBytes_);
    if (held_.contains({next, digest})) {
      heldAhead_ = next;
      return;
    }
    // A sample that fails to decode is left for the request that asks for it.
    if (feed({next, digest, aheadBytes_, false}) != Status::ok) return;
  }
}

Status DecodeSequence::finish(std::vector<Picture>& pictures) {
  forgetChangedSamples();
  if (answerFromHeld(pictures)) {
    previousWanted_ = request_.back().number;
    request_.clear();
    return Status::ok;
  }
  decodeRequest();
  auto missing = [&] { return missingShown(); };
  readAhead();
  Status status = Status::ok;
  if (missing()) {
    std::vector<Picture> out;
    status = decoder_->releaseHeldPictures(out);
    keep(out);
  }
  if (missing() && mode_ != Mode::fresh) {
    // A picture left the cache, or a drain lost it: decode the request afresh once.
    status = restartWithRequest();
    std::vector<Picture> out;
    if (Status s = decoder_->releaseHeldPictures(out); s != Status::ok) status = s;
    keep(out);
  }
  std::vector<Picture> shown;
  for (const Sample& sample : request_) {
    if (const Picture* picture = sample.display ? cached(sample) : nullptr) shown.push_back(*picture);
  }
  std::sort(shown.begin(), shown.end(),
            [](const Picture& a, const Picture& b) { return a.outputOrder() < b.outputOrder(); });
  for (Picture& picture : shown) {
    lastEmittedOrder_ = std::max(lastEmittedOrder_, picture.outputOrder());
    pictures.push_back(std::move(picture));
  }
  if (!request_.empty()) previousWanted_ = request_.back().number;
  request_.clear();
  trimCache();
  return status;
}

}  // namespace vqt::codecs
