// What a host does with the installed library, one check per command:
//   bundle            print the host bundle's contents path; the settings tool must be there
//   settings 12|21    two settings-tool channels at once, closed first-then-second or the reverse
//   write OUT.mov     a short movie with a title
//   read MOVIE        its metadata, which the library traces on standard output by default
//   quiet MOVIE       the same with the library's messages taken over by a callback: nothing of
//                     the library's reaches standard output or error, the callback gets it all
#include <vantor/host/BundleLocation.h>
#include <vantor/Log.h>
#include <vantor/host/ChildProcess.h>
#include <vantor/property/Property.h>
#include <vantor/quicktime/QuickTimeCodecReader.h>
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

int fail(const char* what) {
  std::fprintf(stderr, "host_check: %s\n", what);
  return 1;
}

int bundle() {
  const std::string contents = Vantor::bundleContentsPath();
  if (access(Vantor::resolveBundleRelativePath("../MacOS/qtsettings").c_str(), X_OK) != 0)
    return fail("no settings tool in the bundle");
  std::printf("%s\n", contents.c_str());
  return 0;
}

// Each request is sent without a line end, so a tool reads until end of file:
// it answers only once its own channel is closed, whatever the other does.
int settings(const std::string& order) {
  Vantor::ChildProcess tools[2];
  std::vector<char*> args[2];
  for (int i = 0; i < 2; ++i) {
    std::string path = "../MacOS/qtsettings";
    tools[i].launch(path, args[i], true);
    const std::string request = "320 240 24 12 3 0";
    if (tools[i].write(request.data(), request.size()) != static_cast<int>(request.size())) return fail("write");
  }
  for (const char which : order) {
    Vantor::ChildProcess& tool = tools[which - '1'];
    tool.closeInput();
    std::string reply;
    char buffer[256];
    for (int n; (n = tool.read(buffer, sizeof buffer)) > 0;) reply.append(buffer, n);
    if (!tool.waitForExit()) return fail("wait");
    if (reply.rfind("24 12 3 ", 0) != 0 || reply.back() != '\n') return fail(("reply: " + reply).c_str());
    std::printf("tool %c: %s", which, reply.c_str());
  }
  for (auto& list : args) std::free(list[0]);
  return 0;
}

int write(const char* path) {
  Vantor::QuickTime::QuickTimeCodecWriter writer;
  writer.setCompressionSettings(64, 32, 24.0f, 1, 4, false, "");
  if (writer.openMovie(path, 1) != 0) return fail("open");
  std::vector<float> bgra(64 * 32 * 4, 0.5f);
  for (int frame = 0; frame < 3; ++frame)
    if (writer.encodeFrame(frame, bgra.data(), false) != 0) return fail("encode");
  writer.finishVideo();
  Vantor::Property::String title("title", 1);
  title.setValue("host check", 0);
  writer.setMetadata({&title});
  return writer.closeMovie(false) == 0 ? 0 : fail("close");
}

int read(const char* path) {
  Vantor::QuickTime::QuickTimeCodecReader reader;
  if (reader.open(path, 1) != 0) return fail("open");
  std::list<Vantor::Property::Base*> properties;
  reader.getMetadata(properties);
  for (auto* property : properties) delete property;
  return 0;
}

int quiet(const char* path) {
  std::string heard;
  Vantor::setLogCallback(
      [](Vantor::LogLevel, const char* message, void* context) { *static_cast<std::string*>(context) += message; },
      &heard);
  if (read(path) != 0) return 1;
  Vantor::setLogCallback(nullptr, nullptr);
  if (heard.find("host check") == std::string::npos) return fail(("callback heard: " + heard).c_str());
  std::printf("callback heard %zu bytes\n", heard.size());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  alarm(120);  // a tool waiting for an end of file that never comes must not hang the test
  const std::string command = argc > 1 ? argv[1] : "";
  if (command == "bundle") return bundle();
  if (command == "settings" && argc == 3) return settings(argv[2]);
  if (command == "write" && argc == 3) return write(argv[2]);
  if (command == "read" && argc == 3) return read(argv[2]);
  if (command == "quiet" && argc == 3) return quiet(argv[2]);
  return fail("usage: host_check bundle | settings 12|21 | write OUT.mov | read MOVIE | quiet MOVIE");
}
