// Builds small movie files in memory from the engine's own atom classes, so
// tests can describe a movie by its tables and get the exact bytes.
#pragma once

#include "vqt/container/CompressedMovieAtom.h"
#include "vqt/container/EditAtoms.h"
#include "vqt/container/FileAtoms.h"
#include "vqt/container/MetadataAtoms.h"
#include "vqt/container/SampleEntries.h"
#include "vqt/container/SampleTableAtoms.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vqt::container::testing {

struct SyntheticTrack {
  FourCC handler = 'vide';
  FourCC format = 'avc1';
  std::uint32_t timeScale = 600;
  std::vector<std::uint32_t> durations;          // one per sample
  std::vector<std::int32_t> compositionOffsets;  // empty: no 'ctts'
  std::vector<std::uint32_t> sizes;              // one per sample
  std::uint32_t constantSize = 0;                // when set, 'stsz' stores this instead of `sizes`
  std::vector<std::uint32_t> syncSamples;        // empty: no 'stss' (all sync)
  std::uint32_t samplesPerChunk = 1;
  bool hasEditList = false;
  std::vector<EditListEntry> edits;
  std::vector<ExtensionAtom> extensions;  // of the sample description
  std::uint32_t dataReferenceFlags = DataReferenceAtom::kSelfContained;
  // Timecode description fields, for handler 'tmcd'.
  std::uint32_t timecodeFlags = 0, timecodeScale = 0, frameDuration = 0;
  std::uint8_t framesPerSecond = 0;
  std::vector<std::uint8_t> sampleBytes;  // replaces the generated fill when set
};

struct SyntheticMetadata {
  std::string key;
  std::uint32_t dataType = 1;
  std::vector<std::uint8_t> value;
};

struct SyntheticMovie {
  std::uint32_t timeScale = 600;
  std::vector<SyntheticTrack> tracks;
  std::vector<SyntheticMetadata> metadata;
  bool compressHeader = false;
};

// File bytes: 'ftyp', 'mdat' (sample i of every track filled with byte i & 0xFF),
// then 'moov'.
std::vector<std::uint8_t> buildMovieFile(const SyntheticMovie& movie);

// A complete atom: header and payload.
std::vector<std::uint8_t> atomBytes(FourCC type, const std::vector<std::uint8_t>& payload);
std::vector<std::uint8_t> operator+(std::vector<std::uint8_t> a, const std::vector<std::uint8_t>& b);
std::vector<std::uint8_t> be32(std::uint32_t v);

}  // namespace vqt::container::testing
