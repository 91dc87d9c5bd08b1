// `qtmovie codecs`: the writer's codec catalogue and what the reader decodes.
#include <CLI/CLI.hpp>

#include <cstdio>

#include "CodecCatalogue.h"
#include "Commands.h"
#include "Output.h"

namespace qtmovie {

void addCodecsCommand(CLI::App& root) {
  CLI::App* cmd = root.add_subcommand(
      "codecs", "List the codec catalogue: four-character type, whether qtmovie can read and write it, and its name.");
  cmd->callback([] {
    Vantor::QuickTime::QuickTimeCodecWriter writer;
    std::fputs("type  read  write  name\n", output());
    for (const CodecEntry& entry : codecCatalogue(writer))
      std::fprintf(output(), "%-4s  %-4s  %-5s  %s\n", entry.type.c_str(), readerDecodes(entry.type) ? "yes" : "no",
                   "yes", entry.name.c_str());
  });
}

}  // namespace qtmovie
