// The library registers its own host bundle when it is loaded, so that a host
// linked against an installed copy (through lib/, LD_LIBRARY_PATH or the
// system's library path) finds the settings tool and the settings file.
#include "InstalledBundle.h"

#include <vantor/host/BundleLocation.h>

#include <CoreFoundation/CFBundle.h>
#include <dlfcn.h>
#include <sys/stat.h>

#include <climits>
#include <cstdlib>

#ifndef VQT_BUNDLE_FROM_LIBDIR
#define VQT_BUNDLE_FROM_LIBDIR "vantor/Host.app"
#endif

namespace Vantor {

namespace {

bool isBundle(const std::string& folder) {
  struct stat info;
  return stat((folder + "/Contents/Info.plist").c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

std::string folderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool endsWith(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::string resolved(const std::string& path) {
  char buffer[PATH_MAX];
  return realpath(path.c_str(), buffer) ? std::string(buffer) : std::string();
}

void addOnce(std::vector<std::string>& list, const std::string& folder) {
  if (folder.empty()) return;
  for (const std::string& known : list)
    if (known == folder) return;
  list.push_back(folder);
}

// The loaded object this code is part of: the shared library, or the program
// itself when the library is linked in statically.
std::string ownObjectPath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&registerInstalledHostBundle), &info) == 0 || !info.dli_fname) return "";
  return info.dli_fname;
}

}  // namespace

InstalledBundleSearch findInstalledHostBundle(const char* overridePath, const std::string& libraryPath,
                                              const std::string& bundleFromLibraryDir) {
  InstalledBundleSearch search;
  if (overridePath && overridePath[0] != '\0') {
    // The bundle folder, or its Contents folder, which is what a host often has at hand.
    std::string folder = withoutTrailingSlashes(overridePath);
    if (endsWith(folder, "/Contents")) folder.resize(folder.size() - 9);
    search.lookedAt.push_back(folder);
  } else if (!libraryPath.empty()) {
    const std::string real = resolved(libraryPath);
    // Inside a bundle's Frameworks folder (the build tree, or the installed
    // bundle reached through the symbolic links in lib/).
    const std::string realFolder = folderOf(real);
    if (!real.empty() && endsWith(realFolder, "/Contents/Frameworks"))
      addOnce(search.lookedAt, folderOf(folderOf(realFolder)));
    // Beside the installed bundle: a copy of the library in the prefix's lib/.
    addOnce(search.lookedAt, folderOf(libraryPath) + "/" + bundleFromLibraryDir);
    if (!real.empty()) addOnce(search.lookedAt, realFolder + "/" + bundleFromLibraryDir);
  }
  for (const std::string& folder : search.lookedAt) {
    if (isBundle(folder)) {
      search.bundle = folder;
      break;
    }
  }
  return search;
}

const InstalledBundleSearch& registerInstalledHostBundle() {
  static const InstalledBundleSearch search = [] {
    InstalledBundleSearch found =
        findInstalledHostBundle(std::getenv(kHostBundleVariable), ownObjectPath(), VQT_BUNDLE_FROM_LIBDIR);
    if (!found.bundle.empty()) VqtCFBundleRegister(found.bundle.c_str(), kHostBundleIdentifier);
    return found;
  }();
  return search;
}

namespace {
// At load time, before any caller can ask Core Foundation for the host bundle.
[[maybe_unused]] const InstalledBundleSearch& registeredAtLoad = registerInstalledHostBundle();
}  // namespace

}  // namespace Vantor
