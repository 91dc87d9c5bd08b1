// qtmovie: inspect, extract from and write QuickTime movies from a shell,
// through the public reader and writer of the vantor_quicktime library.
//
// Arguments are parsed by CLI11 (Debian's libcli11-dev, header only): it has
// subcommands with their own --help and options, and names the bad option in
// its errors, which cxxopts would leave to us to build on top of it.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <sstream>

#include "Commands.h"
#include "Errors.h"
#include "Interrupt.h"
#include "Output.h"

namespace {

constexpr const char* kFooter =
    "Exit codes: 0 ok, 1 usage, 2 unreadable input, 3 write failure, 130 interrupted.\n"
    "'qtmovie COMMAND --help' describes each command.";

void reportError(const char* what) { std::fprintf(stderr, "qtmovie: %s\n", what); }

}  // namespace

int main(int argc, char** argv) {
  qtmovie::divertLibraryOutput();
  qtmovie::installStopHandlers();

  CLI::App app("Inspect, extract from and write QuickTime movies.", "qtmovie");
  app.footer(kFooter);
  app.require_subcommand(1);
  app.set_version_flag("--version", [] { return std::string(qtmovie::versionText()); });
  qtmovie::addInfoCommand(app);
  qtmovie::addFrameCommand(app);
  qtmovie::addFramesCommand(app);
  qtmovie::addAudioCommand(app);
  qtmovie::addEncodeCommand(app);
  qtmovie::addCodecsCommand(app);
  qtmovie::addAtomsCommand(app);

  // CLI11 would only say that a subcommand is required; name the word it did not know.
  const std::string first = argc > 1 ? argv[1] : "";
  const auto known = app.get_subcommands([&](CLI::App* command) { return command->get_name() == first; });
  if (!first.empty() && first[0] != '-' && known.empty()) {
    std::fprintf(stderr, "qtmovie: unknown command '%s' (see 'qtmovie --help')\n", argv[1]);
    return qtmovie::kExitUsage;
  }
  if (!first.empty() && first[0] == '-' && first != "-h" && first != "--help" && first != "--version") {
    std::fprintf(stderr, "qtmovie: unknown option '%s' (see 'qtmovie --help')\n", argv[1]);
    return qtmovie::kExitUsage;
  }
  try {
    app.parse(argc, argv);
    return qtmovie::kExitOk;
  } catch (const CLI::ParseError& error) {
    // Help and --version are "errors" with exit code 0; they go to qtmovie's own stdout.
    std::ostringstream out, err;
    const int code = app.exit(error, out, err);
    std::fputs(out.str().c_str(), qtmovie::output());
    if (code == 0) return qtmovie::kExitOk;
    // CLI11 prints the message and a pointer to --help on two lines; keep the first.
    std::string message = err.str();
    message = message.substr(0, message.find('\n'));
    // Point at the help of the command being parsed, when there is one.
    std::string help = "qtmovie";
    for (const CLI::App* command : app.get_subcommands()) help += " " + command->get_name();
    std::fprintf(stderr, "qtmovie: %s (see '%s --help')\n", message.c_str(), help.c_str());
    return qtmovie::kExitUsage;
  } catch (const qtmovie::UsageError& error) {
    reportError(error.what());
    return qtmovie::kExitUsage;
  } catch (const qtmovie::WriteFailure& error) {
    reportError(error.what());
    return qtmovie::kExitWrite;
  } catch (const qtmovie::Interrupted&) {
    return qtmovie::kExitInterrupted;
  } catch (const std::exception& error) {
    reportError(error.what());
    return qtmovie::stopRequested() ? qtmovie::kExitInterrupted : qtmovie::kExitInput;
  }
}
