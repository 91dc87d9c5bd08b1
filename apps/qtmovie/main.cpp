// qtmovie: inspect, extract from and write QuickTime movies from a shell,
// through the public reader and writer of the vantor_quicktime library.
#include <cstdio>
#include <cstring>
#include <exception>

#include "Commands.h"
#include "Errors.h"
#include "Output.h"

namespace {

constexpr const char* kUsage =
    "usage: qtmovie COMMAND [ARGS...]\n"
    "\n"
    "commands:\n"
    "  info FILE [--json]        what the movie holds\n"
    "  frame FILE N -o OUT       frame N (from 1) as .png (16-bit RGBA) or .f32 (raw floats)\n"
    "  audio FILE -o OUT.wav     the sound as 32-bit float WAV\n"
    "  encode -o OUT.mov ...     a movie from PNG frames or a test pattern\n"
    "  codecs                    the codec catalogue\n"
    "\n"
    "'qtmovie COMMAND --help' describes each command.\n";

struct Command {
  const char* name;
  int (*run)(const qtmovie::Words&);
};

constexpr Command kCommands[] = {{"info", qtmovie::runInfo},
                                 {"frame", qtmovie::runFrame},
                                 {"audio", qtmovie::runAudio},
                                 {"encode", qtmovie::runEncode},
                                 {"codecs", qtmovie::runCodecs}};

}  // namespace

int main(int argc, char** argv) {
  qtmovie::divertLibraryOutput();
  if (argc < 2) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
    std::fputs(kUsage, qtmovie::output());
    return 0;
  }
  const qtmovie::Words words(argv + 2, argv + argc);
  for (const Command& command : kCommands) {
    if (std::strcmp(argv[1], command.name) != 0) continue;
    try {
      return command.run(words);
    } catch (const qtmovie::UsageError& error) {
      std::fprintf(stderr, "qtmovie %s: %s (see 'qtmovie %s --help')\n", command.name, error.what(), command.name);
      return 2;
    } catch (const std::exception& error) {
      std::fprintf(stderr, "qtmovie %s: error: %s\n", command.name, error.what());
      return 1;
    }
  }
  std::fprintf(stderr, "qtmovie: unknown command '%s' (see 'qtmovie --help')\n", argv[1]);
  return 2;
}
