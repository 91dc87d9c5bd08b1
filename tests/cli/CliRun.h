// Running qtmovie and ffprobe from the tests: exit code, standard output and
// standard error of one command, and the few JSON lookups the tests need.
#pragma once

#include <string>

namespace cli {

struct Outcome {
  int exitCode = -1;
  std::string out;
  std::string err;
};

// Runs `qtmovie ARGS` (ARGS already quoted for the shell).
Outcome qtmovie(const std::string& args);
Outcome shell(const std::string& command);

std::string fixture(const std::string& name);
// A fresh folder under the build tree for one test's outputs.
std::string scratch(const std::string& name);

// The text of `"key":` value in a flat JSON text: a number, true/false or a string without quotes.
std::string jsonValue(const std::string& json, const std::string& key);
// The keys of the outermost object, in order.
std::string topLevelKeys(const std::string& json);
// Parses `json` with Python's json module (strict UTF-8) and prints `expression` of it,
// `d` being the parsed document, e.g. jsonQuery(out, "d['format']['size']"). Strings come
// back bare, other values as JSON; a parse failure gives "<invalid JSON: ...>".
std::string jsonQuery(const std::string& json, const std::string& expression);
// ffprobe's own -show_format -show_streams JSON of a file.
std::string probeJson(const std::string& path);
// One ffprobe entry, e.g. probe(path, "v:0", "width").
std::string probe(const std::string& path, const std::string& stream, const std::string& entry);

}  // namespace cli
