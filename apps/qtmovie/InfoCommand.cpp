#include <cstdio>

#include "Arguments.h"
#include "Commands.h"
#include "Errors.h"
#include "Output.h"
#include "MovieOpening.h"
#include "MovieSummary.h"

namespace qtmovie {

int runInfo(const Words& words) {
  const Arguments args(words, {{}, {"--json"}});
  if (args.wantsHelp()) {
    printHelp(
        "usage: qtmovie info FILE [--json]\n"
        "Prints the size, frame count, rate, pixel aspect, start timecode frame, stream description,\n"
        "metadata and sound format of FILE; --json prints one JSON object instead.");
    return 0;
  }
  if (args.positional().size() != 1) throw UsageError("expects one movie file");
  const std::string& path = args.positional()[0];
  auto reader = openMovie(path, 3);
  const MovieSummary summary = summarise(*reader);
  const std::string text = args.has("--json") ? summaryJson(summary) : summaryText(path, summary);
  std::fputs(text.c_str(), output());
  return 0;
}

}  // namespace qtmovie
