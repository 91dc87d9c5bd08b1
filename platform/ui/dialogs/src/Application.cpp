#include "Application.h"

#include "DisplayProbe.h"

#include <QApplication>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace vqt::dialogs {

namespace {

std::vector<std::string> processArguments() {
  std::ifstream file("/proc/self/cmdline", std::ios::binary);
  const std::string all{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  std::vector<std::string> arguments;
  std::size_t start = 0;
  while (start < all.size()) {
    const std::size_t end = all.find('\0', start);
    arguments.push_back(all.substr(start, end == std::string::npos ? std::string::npos : end - start));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  if (arguments.empty()) arguments.push_back("vqt-dialogs");
  return arguments;
}

}  // namespace

bool ensureWidgetApplication() {
  if (QCoreApplication::instance()) {
    // A console or GUI-only application object cannot host widgets.
    return qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr;
  }
  const DisplayChoice display = probeDisplay(DisplayEnvironment::fromProcess());
  if (!display.available) return false;

  // QApplication keeps references to argc and argv for its whole life, and destroying it
  // during static destruction is unsafe, so all of it is deliberately never freed.
  static std::vector<std::string> arguments;
  static std::vector<char*> argv;
  static int argc = 0;
  arguments = processArguments();
  arguments.insert(arguments.end(), display.extraArguments.begin(), display.extraArguments.end());
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  argc = int(arguments.size());
  new QApplication(argc, argv.data());
  // Qt holds its own connection now; the probe's may go.
  return true;
}

}  // namespace vqt::dialogs
