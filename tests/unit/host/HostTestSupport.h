// Temporary directories, bundle trees and process runs for the host tests.
#pragma once

#include <string>
#include <vector>

struct RunResult {
  int exitStatus = -1;  // when the program exited
  int signal = 0;       // when a signal ended it
  std::string out;
  std::string err;
};

std::string makeTempDir();
void writeFile(const std::string& path, const std::string& text, bool executable = false);
// Makes `root`/Name.app with Contents/Info.plist (identifier `id`), MacOS/ and Resources/.
std::string makeBundle(const std::string& root, const std::string& name, const std::string& id);
void copyExecutable(const std::string& from, const std::string& to);
RunResult runProgram(const std::string& path, const std::vector<std::string>& args);
