// `qtmovie info`: what a movie holds, as text or as ffprobe-shaped JSON.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>

#include "Commands.h"
#include "MovieOpening.h"
#include "MovieSummary.h"
#include "Output.h"
#include "ProbeJson.h"

namespace qtmovie {
namespace {

struct InfoOptions {
  std::string movie;
  bool json = false;
};

void runInfo(const InfoOptions& o) {
  const auto movie = parseMovie(o.movie);
  auto reader = openMovie(o.movie, 3);
  MovieSummary summary = summarise(*reader);
  summary.userData = userDataTexts(movie->userData);
  const std::string text =
      o.json ? probeJson(o.movie, std::filesystem::file_size(o.movie), *movie, summary) : summaryText(o.movie, summary);
  std::fputs(text.c_str(), output());
}

}  // namespace

void addInfoCommand(CLI::App& root) {
  auto o = std::make_shared<InfoOptions>();
  CLI::App* cmd = root.add_subcommand(
      "info",
      "Size, frames, rate, timecode, codec, sound, metadata and user data of a movie. --json prints "
      "ffprobe's -show_format -show_streams layout, with the reader's fields under \"qtmovie\".");
  cmd->add_option("movie", o->movie, "the movie")->required();
  cmd->add_flag("--json", o->json, "JSON instead of text");
  cmd->callback([o] { runInfo(*o); });
}

}  // namespace qtmovie
