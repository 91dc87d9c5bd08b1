#include "MovieOpening.h"

#include <filesystem>

#include "Errors.h"

namespace qtmovie {

std::unique_ptr<Vantor::QuickTime::QuickTimeCodecReader> openMovie(const std::string& path, int mode) {
  // The reader's result does not say why a file failed; a missing file is the common case.
  if (!std::filesystem::is_regular_file(path)) throw Failure(path + ": no such file");
  auto reader = std::make_unique<Vantor::QuickTime::QuickTimeCodecReader>();
  const int result = reader->open(path, mode);
  if (result == 3) throw Failure(path + ": not a movie the reader can open");
  if (result == 1 && mode == 2) throw Failure(path + ": its sound cannot be read");
  return reader;
}

}  // namespace qtmovie
