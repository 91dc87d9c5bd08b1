#include <cstdio>

#include "Arguments.h"
#include "Commands.h"
#include "Errors.h"
#include "Output.h"
#include "ImageFiles.h"
#include "MovieOpening.h"

namespace qtmovie {

int runFrame(const Words& words) {
  const Arguments args(words, {{"-o"}, {}});
  if (args.wantsHelp()) {
    printHelp(
        "usage: qtmovie frame FILE N -o OUT\n"
        "Decodes frame N (the first frame is 1) and writes it to OUT:\n"
        "  .png  16-bit RGBA\n"
        "  .exr  half-float RGBA (OpenEXR)\n"
        "  .f32  raw float RGBA, width x height x 4 floats, rows top first");
    return 0;
  }
  if (args.positional().size() != 2) throw UsageError("expects a movie file and a frame number");
  if (!args.has("-o")) throw UsageError("-o OUT is required");
  auto reader = openMovie(args.positional()[0], 1);
  const int frames = reader->getFrameCount();
  if (frames < 1) throw Failure(args.positional()[0] + ": has no video frames");
  const int frame = parseInt(args.positional()[1], "the frame number", 1, frames);

  Image image;
  int channels = 0, timeScale = 0, duration = 0, timecode = 0;
  float aspect = 1.0f;
  reader->getVideoInfo(&image.width, &image.height, &channels, &aspect, &timeScale, &duration, &timecode);
  image.rgba.assign(static_cast<std::size_t>(image.width) * image.height * 4, 0.0f);
  if (const int result = reader->decodeFrame(frame, image.rgba.data()); result != 0)
    throw Failure("frame " + std::to_string(frame) + " could not be decoded" +
                  (result == 2 ? " (its pixel format has no conversion)" : ""));
  writeImage(args.value("-o"), image);
  return 0;
}

}  // namespace qtmovie
