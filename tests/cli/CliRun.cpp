#include "CliRun.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace cli {
namespace {

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace

Outcome shell(const std::string& command) {
  // Each test case is its own process and CTest runs them side by side: one name per process and call.
  static int calls = 0;
  const std::string base = scratch("runs") + "/" + std::to_string(getpid()) + "-" + std::to_string(++calls);
  const int status = std::system(("( " + command + " ) >'" + base + ".out' 2>'" + base + ".err' </dev/null").c_str());
  Outcome outcome;
  outcome.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  outcome.out = slurp(base + ".out");
  outcome.err = slurp(base + ".err");
  std::filesystem::remove(base + ".out");
  std::filesystem::remove(base + ".err");
  return outcome;
}

Outcome qtmovie(const std::string& args) { return shell(std::string("'") + VQT_QTMOVIE + "' " + args); }

std::string fixture(const std::string& name) { return std::string(VQT_CLI_FIXTURES) + "/" + name; }

std::string scratch(const std::string& name) {
  const std::string folder = std::string(VQT_CLI_SCRATCH) + "/" + name;
  std::filesystem::create_directories(folder);
  return folder;
}

std::string jsonValue(const std::string& json, const std::string& key) {
  const std::string marker = "\"" + key + "\":";
  const auto at = json.find(marker);
  if (at == std::string::npos) return "<missing>";
  auto begin = at + marker.size();
  if (json[begin] == '"') {
    std::string value;
    for (auto i = begin + 1; i < json.size() && json[i] != '"'; ++i) {
      if (json[i] == '\\') ++i;
      value += json[i];
    }
    return value;
  }
  const auto end = json.find_first_of(",}]", begin);
  return json.substr(begin, end - begin);
}

std::string topLevelKeys(const std::string& json) {
  std::string keys;
  int depth = 0;
  bool inString = false;
  std::string current;
  for (std::size_t i = 0; i < json.size(); ++i) {
    const char c = json[i];
    if (inString) {
      if (c == '\\') {
        current += json[++i];
      } else if (c == '"') {
        inString = false;
        if (depth == 1 && i + 1 < json.size() && json[i + 1] == ':') keys += (keys.empty() ? "" : ",") + current;
      } else {
        current += c;
      }
    } else if (c == '"') {
      inString = true;
      current.clear();
    } else if (c == '{' || c == '[') {
      ++depth;
    } else if (c == '}' || c == ']') {
      --depth;
    }
  }
  return keys;
}

std::string jsonQuery(const std::string& json, const std::string& expression) {
  static int calls = 0;
  const std::string file = scratch("runs") + "/" + std::to_string(getpid()) + "-q" + std::to_string(++calls) + ".json";
  std::ofstream(file, std::ios::binary) << json;
  const std::string script =
      "import json,sys\n"
      "try:\n"
      "  d=json.loads(open(sys.argv[1],'rb').read().decode('utf-8'))\n"
      "except Exception as e:\n"
      "  print('<invalid JSON: %s>' % e); sys.exit(0)\n"
      "v=eval(sys.argv[2])\n"
      "print(v if isinstance(v,str) else json.dumps(v,ensure_ascii=False))\n";
  std::ofstream(file + ".py") << script;
  Outcome outcome = shell("python3 '" + file + ".py' '" + file + "' \"" + expression + "\"");
  std::filesystem::remove(file);
  std::filesystem::remove(file + ".py");
  std::string value = outcome.exitCode == 0 ? outcome.out : "<error: " + outcome.err + ">";
  while (!value.empty() && value.back() == '\n') value.pop_back();
  return value;
}

std::string probeJson(const std::string& path) {
  return shell(std::string(VQT_FFPROBE) + " -v error -show_format -show_streams -of json '" + path + "'").out;
}

std::string probe(const std::string& path, const std::string& stream, const std::string& entry) {
  const Outcome outcome = shell(std::string(VQT_FFPROBE) + " -v error -select_streams " + stream +
                                " -show_entries stream=" + entry + " -of default=nw=1:nk=1 '" + path + "'");
  std::string value = outcome.out;
  while (!value.empty() && (value.back() == '\n' || value.back() == '\r')) value.pop_back();
  return value;
}

}  // namespace cli
