// Every command answers --help, and every failure is one line on standard
// error with a non-zero exit: 2 for a wrong command line, 1 for a failed operation.
// The README's codec table is the catalogue qtmovie lists.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include "CliRun.h"

namespace {

void expectOneErrorLine(const cli::Outcome& outcome, int exitCode, const std::string& mention) {
  EXPECT_EQ(outcome.exitCode, exitCode) << outcome.err;
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  EXPECT_NE(outcome.err.find(mention), std::string::npos) << outcome.err;
  EXPECT_EQ(outcome.out, "");
}

}  // namespace

TEST(CommandLine, EveryCommandHasHelp) {
  for (const char* command : {"info", "frame", "audio", "encode", "codecs"}) {
    const auto outcome = cli::qtmovie(std::string(command) + " --help");
    EXPECT_EQ(outcome.exitCode, 0) << command;
    EXPECT_EQ(outcome.out.rfind(std::string("usage: qtmovie ") + command, 0), 0u) << outcome.out;
  }
  EXPECT_EQ(cli::qtmovie("--help").exitCode, 0);
  EXPECT_EQ(cli::qtmovie("").exitCode, 2);
}

TEST(CommandLine, FailuresAreOneLineAndNonZero) {
  const std::string movie = cli::fixture("prores.mov"), folder = cli::scratch("errors");
  expectOneErrorLine(cli::qtmovie("bogus"), 2, "unknown command");
  expectOneErrorLine(cli::qtmovie("info /no/such.mov"), 1, "no such file");
  expectOneErrorLine(cli::qtmovie("info '" + movie + "' --jsn"), 2, "unknown option --jsn");
  cli::shell("echo not a movie > '" + folder + "/text.mov'");
  expectOneErrorLine(cli::qtmovie("info '" + folder + "/text.mov'"), 1, "not a movie");
  expectOneErrorLine(cli::qtmovie("frame '" + movie + "' 13 -o '" + folder + "/x.png'"), 2, "from 1 to 12");
  expectOneErrorLine(cli::qtmovie("frame '" + movie + "' 0 -o '" + folder + "/x.png'"), 2, "frame number");
  expectOneErrorLine(cli::qtmovie("frame '" + movie + "' 1 -o '" + folder + "/x.bmp'"), 1, "unknown image type");
  expectOneErrorLine(cli::qtmovie("frame '" + movie + "' 1 -o /no/such/dir/x.png"), 1, "cannot open");
  expectOneErrorLine(cli::qtmovie("audio '" + movie + "' -o '" + folder + "/x.wav'"), 1, "no sound");
  expectOneErrorLine(cli::qtmovie("encode -o '" + folder + "/x.mov' --pattern 2 --codec zzzz"), 2, "no codec");
  expectOneErrorLine(cli::qtmovie("encode -o '" + folder + "/x.mov' --pattern 2 --quality 9"), 2, "--quality");
  expectOneErrorLine(cli::qtmovie("encode -o '" + folder + "/x.mov' --pattern 2 --timecode 1:2"), 2, "HH:MM:SS:FF");
  expectOneErrorLine(cli::qtmovie("encode -o '" + folder + "/x.mov'"), 2, "--pattern");
  expectOneErrorLine(cli::qtmovie("encode --pattern 2"), 2, "-o OUT.mov");
}

TEST(CommandLine, CodecsListsReadAndWriteAbilityAsTheReadmeTableDoes) {
  std::ifstream readme(VQT_README);
  const std::string text{std::istreambuf_iterator<char>(readme), std::istreambuf_iterator<char>()};
  const auto codecs = cli::qtmovie("codecs");
  ASSERT_EQ(codecs.exitCode, 0) << codecs.err;
  EXPECT_NE(codecs.out.find("\napch  yes   yes    "), std::string::npos) << codecs.out;
  std::istringstream listing(codecs.out);
  std::string line;
  std::getline(listing, line);
  EXPECT_EQ(line, "type  read  write  name");
  int rows = 0;
  while (std::getline(listing, line)) {
    auto trim = [](std::string s) { return s.erase(s.find_last_not_of(' ') + 1); };
    const std::string row = "| `" + line.substr(0, 4) + "` | " + line.substr(19) + " | " + trim(line.substr(6, 4)) +
                            " | " + trim(line.substr(12, 5)) + " |\n";
    EXPECT_NE(text.find(row), std::string::npos) << "README lacks: " << row;
    ++rows;
  }
  EXPECT_GT(rows, 0);
}
