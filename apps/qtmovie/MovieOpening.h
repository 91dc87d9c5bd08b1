// Opening a movie for reading, shared by the commands: a reader that has the
// movie open, the container engine's model of the same file, or a Failure
// that names the file and says what is wrong with it.
#pragma once

#include <vantor/quicktime/QuickTimeCodecReader.h>
#include <vqt/container/Movie.h>

#include <memory>
#include <string>

namespace qtmovie {

// mode as the reader's open: 1 video, 2 audio, 3 both.
std::unique_ptr<Vantor::QuickTime::QuickTimeCodecReader> openMovie(const std::string& path, int mode);
// The file as the container engine parses it; a Failure naming the reason
// (fragmented, no movie atom, damaged tables, ...) when it cannot.
std::unique_ptr<vqt::container::Movie> parseMovie(const std::string& path);

// An image the size of the movie's frames, ready for decodeFrame.
struct Image;
Image frameImage(Vantor::QuickTime::QuickTimeCodecReader& reader);

}  // namespace qtmovie
