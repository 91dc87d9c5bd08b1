// The read-ahead contract between the Movie Toolbox's sample reads and a
// decompression session. GetMediaSample2, whenever it hands out one whole
// sample, offers it on the calling thread: which media, which sample, how many
// bytes. A session given a frame whose number and size match a recent offer
// takes that source: it then knows the media its frames come from and the next
// sample it will be asked for, and reads that one and the following ones itself.
#pragma once

#include <QuickTime/Movies.h>

#include <vector>

class VqtReadAheadSource {
 public:
  VqtReadAheadSource() = default;
  VqtReadAheadSource(Media media, UInt32 descriptionIndex, SInt64 nextSample)
      : media_(media), descriptionIndex_(descriptionIndex), nextSample_(nextSample) {}

  explicit operator bool() const { return media_ != nullptr; }
  Media media() const { return media_; }
  // The sample the session will be asked for after the one it was offered with.
  SInt64 nextSample() const { return nextSample_; }
  // Same media and sample description: switching between such sources keeps
  // what was read ahead.
  bool sameStream(const VqtReadAheadSource& other) const {
    return media_ == other.media_ && descriptionIndex_ == other.descriptionIndex_;
  }

  // Sample `sampleNumber` of the media into `bytes`, whole; false past the last
  // sample, for a sample of another sample description, when the media was
  // disposed of or its movie has edits not yet brought up to date, or when the
  // data cannot be read. The Movie Toolbox error state is left as it is.
  bool read(SInt64 sampleNumber, std::vector<UInt8>& bytes) const;

 private:
  Media media_ = nullptr;
  UInt32 descriptionIndex_ = 0;
  SInt64 nextSample_ = 0;
};

// The Movie Toolbox's side: sample `sample` of `media` was just handed out on
// this thread as `size` bytes.
void VqtOfferReadAhead(Media media, UInt32 descriptionIndex, SInt64 sample, ByteCount size);

// The session's side: the source for a frame numbered `sample` of `size`
// bytes, from the latest matching offer on this thread among the last few;
// empty when there is none. Only a hint: the bytes may come from elsewhere, so
// the session checks what it reads ahead against the bytes it is given.
VqtReadAheadSource VqtReadAheadFor(SInt64 sample, ByteCount size);
