#include "HostTestSupport.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

extern char** environ;

std::string makeTempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "vqt-host-XXXXXX").string();
  return mkdtemp(pattern.data());
}

void writeFile(const std::string& path, const std::string& text, bool executable) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path) << text;
  if (executable) chmod(path.c_str(), 0755);
}

std::string makeBundle(const std::string& root, const std::string& name, const std::string& id) {
  const std::string bundle = root + "/" + name + ".app";
  std::filesystem::create_directories(bundle + "/Contents/MacOS");
  std::filesystem::create_directories(bundle + "/Contents/Resources");
  writeFile(bundle + "/Contents/Info.plist",
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
            "  <key>CFBundleExecutable</key>\n  <string>" +
                name +
                "</string>\n"
                "  <key>CFBundleIdentifier</key>\n  <string>" +
                id + "</string>\n</dict>\n</plist>\n");
  return bundle;
}

void copyExecutable(const std::string& from, const std::string& to) {
  std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
  chmod(to.c_str(), 0755);
}

RunResult runProgram(const std::string& path, const std::vector<std::string>& args) {
  const std::string dir = makeTempDir();
  const std::string outPath = dir + "/out", errPath = dir + "/err";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  std::vector<char*> argv{const_cast<char*>(path.c_str())};
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  RunResult result;
  pid_t pid = 0;
  if (posix_spawn(&pid, path.c_str(), &actions, nullptr, argv.data(), environ) == 0) {
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  }
  posix_spawn_file_actions_destroy(&actions);
  std::stringstream out, err;
  out << std::ifstream(outPath).rdbuf();
  err << std::ifstream(errPath).rdbuf();
  result.out = out.str();
  result.err = err.str();
  std::filesystem::remove_all(dir);
  return result;
}
