#include "vqt/container/Error.h"

namespace vqt::container {

const char* describe(Error error) {
  switch (error) {
    case Error::none:
      return "no error";
    case Error::ioError:
      return "the file could not be read";
    case Error::truncated:
      return "a structure runs past the end of its atom";
    case Error::badAtomSize:
      return "an atom size does not fit its parent";
    case Error::nestingTooDeep:
      return "atoms are nested too deeply";
    case Error::tableTooLarge:
      return "a table claims more entries than its atom holds";
    case Error::badTable:
      return "a sample table contradicts itself";
    case Error::noMovieAtom:
      return "no movie atom";
    case Error::fragmentedMovie:
      return "fragmented movies are not supported";
    case Error::externalDataReference:
      return "media data is in another file";
    case Error::unsupportedCompression:
      return "the movie header is compressed with an unknown method";
    case Error::decompressionFailed:
      return "the compressed movie header is damaged";
    case Error::badSampleNumber:
      return "no such sample";
    case Error::badTime:
      return "the time is outside the media";
    case Error::notFound:
      return "not found";
    case Error::bufferTooSmall:
      return "the buffer is too small";
    case Error::badDescription:
      return "no such sample description";
    case Error::writeFailed:
      return "the file could not be written";
    case Error::diskFull:
      return "the volume is full";
    case Error::fileTooLarge:
      return "the file-size limit was reached";
    case Error::cannotCreate:
      return "the file's folder does not exist";
    case Error::accessDenied:
      return "the file may not be written";
    case Error::alreadyExists:
      return "the file already exists";
  }
  return "unknown error";
}

}  // namespace vqt::container
