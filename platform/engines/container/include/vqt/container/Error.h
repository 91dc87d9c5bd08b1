// Result codes of the container engine. The engine never throws across its
// interface; every failure is one of these values, and the Movie Toolbox layer
// maps them to QuickTime result codes in a single table.
#pragma once

namespace vqt::container {

enum class Error {
  none = 0,
  ioError,                 // the byte source could not be read
  truncated,               // a structure runs past the end of its atom or file
  badAtomSize,             // an atom size smaller than its header or larger than its parent
  nestingTooDeep,          // containers nested deeper than the engine accepts
  tableTooLarge,           // an entry count the remaining bytes cannot hold
  badTable,                // a sample table that contradicts itself
  noMovieAtom,             // no 'moov' (or 'cmov') found
  fragmentedMovie,         // 'moof'/'mvex' fragments: not supported
  externalDataReference,   // media data lives in another file
  unsupportedCompression,  // a compressed movie header in a format other than zlib
  decompressionFailed,     // the zlib stream of a compressed header is damaged
  badSampleNumber,         // a sample number outside 1..count
  badTime,                 // a time outside the media or track
  notFound,                // the item asked for does not exist
  bufferTooSmall,          // the caller's buffer cannot hold the data
  badDescription,          // a sample description index that does not exist
  writeFailed,             // the file could not be written (other than the two below)
  diskFull,                // no space left on the volume
  fileTooLarge,            // the process's file-size limit was reached
  cannotCreate,            // the file could not be created: its folder does not exist
  accessDenied,            // the file or its folder may not be written
  alreadyExists,           // the file exists and replacing it was not asked for
};

// A short English description of the error, for diagnostics and dumps.
const char* describe(Error error);

}  // namespace vqt::container
