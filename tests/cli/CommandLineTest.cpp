// Every command answers --help, --version names the codec library in use, and
// every failure is one line on standard error with the documented exit code:
// 1 for a wrong command line, 2 for an unreadable input, 3 for an output that
// cannot be written. The README's codec table is the catalogue qtmovie lists.
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

TEST(CommandLine, EveryCommandHasHelpAndTheToolHasAVersion) {
  for (const char* command : {"info", "frame", "frames", "audio", "encode", "codecs", "atoms"}) {
    const auto outcome = cli::qtmovie(std::string(command) + " --help");
    EXPECT_EQ(outcome.exitCode, 0) << command;
    EXPECT_NE(outcome.out.find(std::string("Usage: qtmovie ") + command), std::string::npos) << outcome.out;
  }
  const auto help = cli::qtmovie("--help");
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_NE(help.out.find("1 usage, 2 unreadable input, 3 write failure, 130 interrupted"), std::string::npos);
  const auto version = cli::qtmovie("--version");
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_NE(version.out.find("libavcodec "), std::string::npos) << version.out;
  EXPECT_EQ(cli::qtmovie("").exitCode, 1);
}

TEST(CommandLine, FailuresAreOneLineWithTheDocumentedExitCode) {
  const std::string movie = cli::fixture("prores.mov"), folder = cli::scratch("errors");
  // 1: the command line is wrong, and the message names what.
  expectOneErrorLine(cli::qtmovie("bogus"), 1, "bogus");
  expectOneErrorLine(cli::qtmovie("--bogus"), 1, "--bogus");
  expectOneErrorLine(cli::qtmovie("info '" + movie + "' --jsn"), 1, "--jsn");
  expectOneErrorLine(cli::qtmovie("frame '" + movie + "' 13 -o '" + folder + "/x.png'"), 1, "from 1 to 12");
  expectOneErrorLine(cli::qtmovie("frame '" + movie + "' 1 -o '" + folder + "/x.bmp'"), 1, "unknown image type");
  expectOneErrorLine(cli::qtmovie("frames '" + movie + "' -o '" + folder + "/x.png'"), 1, "%d pattern");
  expectOneErrorLine(cli::qtmovie("frames '" + movie + "' -o '" + folder + "/x%d.png' --range 5:20"), 1, "--range");
  expectOneErrorLine(cli::qtmovie("audio '" + movie + "' -o '" + folder + "/x.mp3'"), 1, ".flac");
  expectOneErrorLine(cli::qtmovie("encode -o '" + folder + "/x.mov' --pattern 2 --codec zzzz"), 1, "no codec");
  expectOneErrorLine(cli::qtmovie("encode -o '" + folder + "/x.mov' --pattern 2 --quality 9"), 1, "--quality");
  expectOneErrorLine(cli::qtmovie("encode -o '" + folder + "/x.mov' --pattern 2 --fps 12.345"), 1, "--fps");
  expectOneErrorLine(cli::qtmovie("encode -o '" + folder + "/x.mov' --pattern 2 --fps 0/1"), 1, "--fps");
  expectOneErrorLine(cli::qtmovie("encode -o '" + folder + "/x.mov' --pattern 2 --timecode 1:2"), 1, "HH:MM:SS:FF");
  expectOneErrorLine(cli::qtmovie("encode -o '" + folder + "/x.mov'"), 1, "--pattern");
  expectOneErrorLine(cli::qtmovie("encode --pattern 2"), 1, "--output");
  // 2: an input that cannot be read, with the reason when the file is a movie we cannot use.
  expectOneErrorLine(cli::qtmovie("info /no/such.mov"), 2, "no such file");
  cli::shell("echo not a movie > '" + folder + "/text.mov'");
  expectOneErrorLine(cli::qtmovie("info '" + folder + "/text.mov'"), 2, "not a movie");
  expectOneErrorLine(cli::qtmovie("audio '" + movie + "' -o '" + folder + "/x.wav'"), 2, "no sound");
  expectOneErrorLine(cli::qtmovie("encode -o '" + folder + "/x.mov' '" + folder + "/none_%04d.png'"), 2, "no file");
  // 3: an output that cannot be written.
  expectOneErrorLine(cli::qtmovie("frame '" + movie + "' 1 -o /no/such/dir/x.png"), 3, "cannot create");
  expectOneErrorLine(cli::qtmovie("encode -o /no/such/dir/x.mov --pattern 2 --size 32x32"), 3, "cannot create");
  expectOneErrorLine(cli::qtmovie("audio '" + cli::fixture("h264-tone.mov") + "' -o /no/such/dir/x.wav"), 3,
                     "cannot create /no/such/dir/x.wav");
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
