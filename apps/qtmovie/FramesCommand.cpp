// `qtmovie frames`: many frames from one open of the movie. Frames are decoded
// in increasing order, so the reader can carry on from the previous frame
// instead of seeking back to a key frame each time, and images are written on
// other threads while the next frames decode.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <future>
#include <thread>
#include <vector>

#include "Commands.h"
#include "Errors.h"
#include "ImageFiles.h"
#include "Interrupt.h"
#include "MovieOpening.h"
#include "Progress.h"
#include "Sequences.h"

namespace qtmovie {
namespace {

constexpr std::size_t kMaxWrites = 8;

struct FramesOptions {
  std::string movie, output, range;
  int every = 1;
};

struct Range {
  int first = 1, last = 0;
};

// "A:B" (inclusive, from 1), "A:", ":B" or "A"; the movie's frames when empty.
Range parseRange(const std::string& text, int frames) {
  Range range{1, frames};
  if (text.empty()) return range;
  const auto colon = text.find(':');
  auto number = [&](const std::string& part, int fallback) {
    if (part.empty()) return fallback;
    if (part.size() > 9 || part.find_first_not_of("0123456789") != std::string::npos)
      throw UsageError("--range must be A:B with frame numbers from 1, not '" + text + "'");
    return std::stoi(part);
  };
  range.first = number(text.substr(0, colon), 1);
  range.last = colon == std::string::npos ? range.first : number(text.substr(colon + 1), frames);
  if (range.first < 1 || range.last > frames || range.first > range.last)
    throw UsageError("--range " + text + " is outside the movie's frames 1 to " + std::to_string(frames));
  return range;
}

void runFrames(const FramesOptions& o) {
  if (!isNumberPattern(o.output)) throw UsageError("-o needs a %d pattern such as out_%04d.png");
  checkImageType(o.output);
  auto reader = openMovie(o.movie, 1);
  const int frames = reader->getFrameCount();
  if (frames < 1) throw Failure(o.movie + ": has no video frames");
  const Range range = parseRange(o.range, frames);

  // One buffer per write in flight: compressing an image costs more than decoding a frame,
  // so several writes run while the reader moves on. Two per core keeps the cores busy
  // while some writes wait on the disk.
  const std::size_t slots = std::clamp<std::size_t>(2 * std::thread::hardware_concurrency(), 2, kMaxWrites);
  std::vector<Image> images(slots, frameImage(*reader));
  std::vector<std::future<void>> writes(slots);
  const int total = (range.last - range.first) / o.every + 1;
  Progress progress("frames", total);
  int done = 0;
  for (int frame = range.first; frame <= range.last; frame += o.every) {
    checkStop();
    const std::size_t slot = static_cast<std::size_t>(done) % slots;
    // The slot is free once its previous write has finished; get() rethrows that write's failure.
    if (writes[slot].valid()) writes[slot].get();
    Image& image = images[slot];
    if (const int result = reader->decodeFrame(frame, image.rgba.data()); result != 0)
      throw Failure("frame " + std::to_string(frame) + " could not be decoded" +
                    (result == 2 ? " (its pixel format has no conversion)" : ""));
    writes[slot] =
        std::async(std::launch::async, [&image, path = formatNumbered(o.output, frame)] { writeImage(path, image); });
    progress.update(++done);
  }
  for (auto& write : writes)
    if (write.valid()) write.get();
}

}  // namespace

void addFramesCommand(CLI::App& root) {
  auto o = std::make_shared<FramesOptions>();
  CLI::App* cmd = root.add_subcommand(
      "frames", "Decode many frames in one pass to numbered images; each file is numbered by its frame (from 1).");
  cmd->add_option("movie", o->movie, "the movie")->required();
  cmd->add_option("-o,--output", o->output, "a pattern such as out_%04d.png (.png, .exr or .f32)")->required();
  cmd->add_option("--range", o->range, "frames A:B, inclusive, from 1 (A: and :B leave an end open)");
  cmd->add_option("--every", o->every, "every Nth frame of the range")->check(CLI::Range(1, 1000000));
  cmd->callback([o] { runFrames(*o); });
}

}  // namespace qtmovie
