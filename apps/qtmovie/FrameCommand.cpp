// `qtmovie frame`: one decoded frame to an image file.
#include <CLI/CLI.hpp>

#include "Commands.h"
#include "Errors.h"
#include "ImageFiles.h"
#include "MovieOpening.h"

namespace qtmovie {
namespace {

struct FrameOptions {
  std::string movie, output;
  int frame = 0;
};

void runFrame(const FrameOptions& o) {
  checkImageType(o.output);
  auto reader = openMovie(o.movie, 1);
  const int frames = reader->getFrameCount();
  if (frames < 1) throw Failure(o.movie + ": has no video frames");
  if (o.frame < 1 || o.frame > frames)
    throw UsageError("the frame number must be from 1 to " + std::to_string(frames) + ", not " +
                     std::to_string(o.frame));
  Image image = frameImage(*reader);
  if (const int result = reader->decodeFrame(o.frame, image.rgba.data()); result != 0)
    throw Failure("frame " + std::to_string(o.frame) + " could not be decoded" +
                  (result == 2 ? " (its pixel format has no conversion)" : ""));
  writeImage(o.output, image);
}

}  // namespace

void addFrameCommand(CLI::App& root) {
  auto o = std::make_shared<FrameOptions>();
  CLI::App* cmd = root.add_subcommand("frame",
                                      "Decode frame N (the first is 1) to .png (16-bit RGBA), .exr "
                                      "(half-float RGBA) or .f32 (raw float RGBA, rows top first).");
  cmd->add_option("movie", o->movie, "the movie")->required();
  cmd->add_option("number", o->frame, "the frame number, from 1")->required();
  cmd->add_option("-o,--output", o->output, "OUT.png, OUT.exr or OUT.f32")->required();
  cmd->callback([o] { runFrame(*o); });
}

}  // namespace qtmovie
