// Opening a movie for reading, shared by the info, frame and audio commands:
// a reader that has the movie open, or a Failure naming the file.
#pragma once

#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <memory>
#include <string>

namespace qtmovie {

// mode as the reader's open: 1 video, 2 audio, 3 both.
std::unique_ptr<Vantor::QuickTime::QuickTimeCodecReader> openMovie(const std::string& path, int mode);

}  // namespace qtmovie
