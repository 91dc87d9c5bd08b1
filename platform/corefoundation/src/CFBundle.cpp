// Bundles of this process. A bundle is a directory holding Contents/Info.plist;
// the process's bundles are found by walking up from the main executable and
// from every loaded shared object to the nearest such directory, plus those
// opened with CFBundleCreate or VqtCFBundleRegister. Bundle objects belong to
// the process and live until it ends (CFBundleCreate's reference is one more
// retain of the same object, and releasing it never frees the bundle).
#include <CoreFoundation/CFBundle.h>
#include <CoreFoundation/CFString.h>

#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "CFObject.h"
#include "CFURLPrivate.h"
#include "InfoPlist.h"

struct __CFBundle : __CFObject {
  static constexpr CFTypeID kTypeID = kVqtBundleTypeID;
  __CFBundle(std::string p, const std::string& id, std::string exe)
      : __CFObject(kTypeID, true),
        path(std::move(p)),
        identifier(id.empty() ? nullptr : CFStringCreateWithCString(nullptr, id.c_str(), kCFStringEncodingUTF8)),
        executable(std::move(exe)) {}
  ~__CFBundle() override {
    if (identifier) CFRelease(identifier);
  }
  const std::string path;
  const CFStringRef identifier;  // null when the bundle has none
  const std::string executable;
};

namespace {

struct Registry {
  std::mutex mutex;
  std::vector<std::unique_ptr<__CFBundle>> bundles;  // in the order they were found
  CFMutableArrayRef all = nullptr;                   // what CFBundleGetAllBundles hands out
};

Registry& registry() {
  static Registry instance;
  return instance;
}

bool isFile(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

std::string parentOf(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  if (slash == std::string::npos || slash == 0) return "/";
  return path.substr(0, slash);
}

// The nearest directory at or above `directory` that holds Contents/Info.plist.
std::string enclosingBundle(std::string directory) {
  while (!directory.empty()) {
    if (isFile(directory + "/Contents/Info.plist")) return directory;
    if (directory == "/") break;
    directory = parentOf(directory);
  }
  return std::string();
}

std::string mainExecutablePath() {
  std::string buffer(4096, '\0');
  const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
  if (length <= 0) return std::string();
  buffer.resize(length);
  return buffer;
}

std::vector<std::string> loadedObjectPaths() {
  std::vector<std::string> paths;
  if (std::string exe = mainExecutablePath(); !exe.empty()) paths.push_back(exe);
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* data) {
        if (info->dlpi_name && info->dlpi_name[0] == '/')
          static_cast<std::vector<std::string>*>(data)->push_back(info->dlpi_name);
        return 0;
      },
      &paths);
  return paths;
}

// Requires the registry lock.
__CFBundle* findByPath(Registry& r, const std::string& path) {
  for (auto& bundle : r.bundles)
    if (bundle->path == path) return bundle.get();
  return nullptr;
}

// Requires the registry lock.
__CFBundle* add(Registry& r, const std::string& path, const std::string& identifier, const std::string& executable) {
  if (__CFBundle* existing = findByPath(r, path)) return existing;
  r.bundles.push_back(std::make_unique<__CFBundle>(path, identifier, executable));
  return r.bundles.back().get();
}

// Requires the registry lock.
__CFBundle* openBundleAt(Registry& r, const std::string& path) {
  if (__CFBundle* existing = findByPath(r, path)) return existing;
  const auto plist = vqtReadInfoPlistStrings(path + "/Contents/Info.plist");
  auto value = [&](const char* key) {
    auto it = plist.find(key);
    return it == plist.end() ? std::string() : it->second;
  };
  return add(r, path, value("CFBundleIdentifier"), value("CFBundleExecutable"));
}

// Finds the bundles of the executable and the loaded shared objects. Objects
// loaded since the last call are picked up, so the scan runs on every lookup.
void discover(Registry& r) {
  for (const std::string& object : loadedObjectPaths()) {
    const std::string bundle = enclosingBundle(parentOf(object));
    if (!bundle.empty()) openBundleAt(r, bundle);
  }
}

}  // namespace

CFTypeID CFBundleGetTypeID() { return kVqtBundleTypeID; }

CFBundleRef CFBundleGetMainBundle() {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  const std::string exe = mainExecutablePath();
  if (exe.empty()) return nullptr;
  const std::string bundle = enclosingBundle(parentOf(exe));
  if (!bundle.empty()) return openBundleAt(r, bundle);
  // Like Core Foundation, an executable outside any bundle has its own folder
  // as main bundle; that folder is not a bundle and is not among all bundles.
  static std::unique_ptr<__CFBundle> looseMain = std::make_unique<__CFBundle>(parentOf(exe), "", "");
  return looseMain.get();
}

CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef bundleID) {
  if (!bundleID) return nullptr;
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  discover(r);
  for (auto& bundle : r.bundles)
    if (bundle->identifier && CFEqual(bundle->identifier, bundleID)) return bundle.get();
  return nullptr;
}

CFArrayRef CFBundleGetAllBundles() {
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  discover(r);
  // The array belongs to the process (Get rule); refresh it in place.
  if (!r.all) r.all = CFArrayCreateMutable(nullptr, 0, nullptr);
  CFArrayRemoveAllValues(r.all);
  for (auto& bundle : r.bundles) CFArrayAppendValue(r.all, bundle.get());
  return r.all;
}

CFBundleRef CFBundleCreate(CFAllocatorRef, CFURLRef bundleURL) {
  const std::string path = VqtCFURLGetPOSIXPath(bundleURL);
  if (path.empty()) return nullptr;
  struct stat info;
  if (stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return nullptr;
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  return openBundleAt(r, path);
}

CFBundleRef VqtCFBundleRegister(const char* posixPath, const char* identifier) {
  if (!posixPath || posixPath[0] != '/') return nullptr;
  std::string path = posixPath;
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  return add(r, path, identifier ? identifier : "", "");
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle) {
  const __CFBundle* b = vqtCFCast<__CFBundle>(bundle);
  return b ? VqtCFURLCreateWithPOSIXPath(b->path, true) : nullptr;
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle) {
  const __CFBundle* b = vqtCFCast<__CFBundle>(bundle);
  return b ? VqtCFURLCreateWithPOSIXPath(b->path + "/Contents/Resources", true) : nullptr;
}

CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle) {
  const __CFBundle* b = vqtCFCast<__CFBundle>(bundle);
  if (!b || b->executable.empty()) return nullptr;
  return VqtCFURLCreateWithPOSIXPath(b->path + "/Contents/MacOS/" + b->executable, false);
}

CFStringRef CFBundleGetIdentifier(CFBundleRef bundle) {
  const __CFBundle* b = vqtCFCast<__CFBundle>(bundle);
  return b ? b->identifier : nullptr;
}
