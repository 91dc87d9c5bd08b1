// Reading a movie: its size and frame count, one frame as float RGBA, and its
// metadata. Build against the installed library (see examples/CMakeLists.txt).
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <cstdio>
#include <vector>

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: read_movie FILE.mov\n"), 2;
  Vantor::QuickTime::QuickTimeCodecReader reader;
  if (reader.open(argv[1], 1) != 0) return std::fprintf(stderr, "cannot open %s\n", argv[1]), 1;

  int width = 0, height = 0, channels = 0, timeScale = 0, frameDuration = 0, timecode = 0;
  float pixelAspect = 1.0f;
  reader.getVideoInfo(&width, &height, &channels, &pixelAspect, &timeScale, &frameDuration, &timecode);
  std::vector<float> rgba(static_cast<size_t>(width) * height * 4);  // rows top first
  if (reader.decodeFrame(1, rgba.data()) != 0)
    return std::fprintf(stderr, "cannot decode frame 1\n"), 1;  // frames count from 1

  std::printf("%dx%d, %d frames, %d/%d, first pixel %.3f %.3f %.3f\n", width, height, reader.getFrameCount(), timeScale,
              frameDuration, rgba[0], rgba[1], rgba[2]);
  return 0;
}
