// Where the bytes of a media sample came from, for a decompression session
// that reads ahead: GetMediaSample2 remembers, per thread, which media and
// sample it last wrote into each buffer, and the following samples of that
// media can be read without touching the Movie Toolbox error state.
#pragma once

#include <QuickTime/Movies.h>

#include <vector>

struct VqtMediaSampleOrigin {
  Media media = nullptr;
  SInt64 sampleNumber = 0;
  UInt32 descriptionIndex = 0;
};

// The sample GetMediaSample2 last wrote, on this thread, as `size` bytes at
// `data`; false when no recent call did. Only a hint: the buffer may have been
// changed since, so a reader of the origin checks the bytes it is given.
bool VqtMediaSampleOriginOf(const void* data, ByteCount size, VqtMediaSampleOrigin* origin);

// Sample `sampleNumber` of the origin's media into `bytes`, whole; false past
// the last sample, for a sample of another sample description, when the media
// was disposed of or its movie has edits not yet brought up to date, or when
// the data cannot be read. The Movie Toolbox error state is left as it is.
bool VqtMediaReadSample(const VqtMediaSampleOrigin& origin, SInt64 sampleNumber, std::vector<UInt8>& bytes);
