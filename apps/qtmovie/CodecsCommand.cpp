#include <cstdio>

#include "Arguments.h"
#include "CodecCatalogue.h"
#include "Commands.h"
#include "Errors.h"
#include "Output.h"

namespace qtmovie {

int runCodecs(const Words& words) {
  const Arguments args(words, {{}, {}});
  if (args.wantsHelp()) {
    printHelp(
        "usage: qtmovie codecs\n"
        "Lists the codec catalogue: four-character type, whether qtmovie can read and write it, and its name.");
    return 0;
  }
  if (!args.positional().empty()) throw UsageError("takes no arguments");
  Vantor::QuickTime::QuickTimeCodecWriter writer;
  std::fputs("type  read  write  name\n", output());
  for (const CodecEntry& entry : codecCatalogue(writer))
    std::fprintf(output(), "%-4s  %-4s  %-5s  %s\n", entry.type.c_str(), readerDecodes(entry.type) ? "yes" : "no",
                 "yes", entry.name.c_str());
  return 0;
}

}  // namespace qtmovie
