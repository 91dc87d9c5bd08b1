#include "MovieOpening.h"

#include <filesystem>

#include "Errors.h"
#include "ImageFiles.h"

namespace qtmovie {

std::unique_ptr<Vantor::QuickTime::QuickTimeCodecReader> openMovie(const std::string& path, int mode) {
  // The reader's result does not say why a file failed: the engine's parse does.
  parseMovie(path);
  auto reader = std::make_unique<Vantor::QuickTime::QuickTimeCodecReader>();
  const int result = reader->open(path, mode);
  if (result == 3) throw Failure(path + ": not a movie the reader can open");
  if (result == 1 && mode == 2) throw Failure(path + ": its sound cannot be read");
  return reader;
}

std::unique_ptr<vqt::container::Movie> parseMovie(const std::string& path) {
  if (!std::filesystem::is_regular_file(path)) throw Failure(path + ": no such file");
  vqt::container::Error error = vqt::container::Error::none;
  auto source = vqt::container::FileSource::open(path, error);
  if (!source) throw Failure(path + ": cannot be read (" + vqt::container::describe(error) + ")");
  std::unique_ptr<vqt::container::Movie> movie;
  error = vqt::container::Movie::open(source, movie);
  if (error != vqt::container::Error::none)
    throw Failure(path + ": not a movie qtmovie can read (" + vqt::container::describe(error) + ")");
  return movie;
}

Image frameImage(Vantor::QuickTime::QuickTimeCodecReader& reader) {
  Image image;
  int channels = 0, timeScale = 0, duration = 0, timecode = 0;
  float aspect = 1.0f;
  reader.getVideoInfo(&image.width, &image.height, &channels, &aspect, &timeScale, &duration, &timecode);
  image.rgba.assign(static_cast<std::size_t>(image.width) * image.height * 4, 0.0f);
  return image;
}

}  // namespace qtmovie
