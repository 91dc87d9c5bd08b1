// The qtmovie commands. Each adds its subcommand, with its options and --help,
// to the root parser; the subcommand's callback runs it and throws UsageError,
// Failure, WriteFailure or Interrupted, which main turns into one line and an
// exit code.
#pragma once

namespace CLI {
class App;
}

namespace qtmovie {

void addInfoCommand(CLI::App& root);
void addFrameCommand(CLI::App& root);
void addFramesCommand(CLI::App& root);
void addAudioCommand(CLI::App& root);
void addEncodeCommand(CLI::App& root);
void addCodecsCommand(CLI::App& root);
void addAtomsCommand(CLI::App& root);

// "library 0.1.0, libavcodec 59.37.100, ..." for --version.
const char* versionText();

}  // namespace qtmovie
