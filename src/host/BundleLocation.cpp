#include <vantor/host/BundleLocation.h>

#include <cstdlib>
#include <iostream>
#include <vector>

#include "BundlePaths.h"
#include "InstalledBundle.h"

namespace Vantor {

std::string toStdString(CFStringRef text) {
  if (const char* direct = CFStringGetCStringPtr(text, kCFStringEncodingUTF8)) return direct;
  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
  // A length too large to encode (kCFNotFound) leaves nothing to convert into.
  if (size <= 0) return std::string();
  std::vector<char> buffer(static_cast<size_t>(size));
  std::string result;
  if (CFStringGetCString(text, buffer.data(), size, kCFStringEncodingUTF8)) result = buffer.data();
  return result;
}

std::string bundlePath(CFBundleRef bundle) {
  CFURLRef url = CFBundleCopyBundleURL(bundle);
  if (!url) return "";
  CFStringRef path = CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle);
  CFRelease(url);
  if (!path) return "";
  std::string result = toStdString(path);
  CFRelease(path);
  return result;
}

std::string bundleContentsPath() {
  // Normally done when the library was loaded; here for programs that link it
  // statically, before the identifier is looked up.
  const InstalledBundleSearch& installed = registerInstalledHostBundle();
  CFBundleRef bundle = CFBundleGetBundleWithIdentifier(CFSTR(kHostBundleIdentifier));
  const std::string path = bundle ? bundlePath(bundle) : "";
  if (!path.empty() && path != "/") return path + "/Contents";

  std::vector<std::string> candidates;
  CFArrayRef bundles = CFBundleGetAllBundles();
  for (CFIndex i = 0; i < CFArrayGetCount(bundles); ++i) {
    const std::string candidate =
        bundlePath(static_cast<CFBundleRef>(const_cast<void*>(CFArrayGetValueAtIndex(bundles, i))));
    if (candidate.empty() || candidate == "/") continue;
    if (candidate.compare(0, 8, "/System/") == 0 || candidate.compare(0, 9, "/Library/") == 0) continue;
    candidates.push_back(candidate);
  }
  if (candidates.size() == 1) return candidates.front() + "/Contents";

  // Always on standard error, never through the host's log: the process
  // aborts next and these lines are all it leaves behind.
  std::cerr << "Don't know our bundle, possibilities:" << std::endl;
  for (const std::string& candidate : candidates) std::cerr << candidate << std::endl;
  // After the candidates, so the lines above read as always: where the
  // installed bundle was looked for, and how to name it instead.
  for (const std::string& folder : installed.lookedAt)
    std::cerr << "looked for the installed host bundle at " << folder << std::endl;
  std::cerr << "set " << kHostBundleVariable << " to the host bundle's folder (Host.app)" << std::endl;
  std::abort();
}

std::string resolveBundleRelativePath(const std::string& path) {
  if (path.compare(0, 2, "..") != 0) return path;
  return bundleContentsPath() + path.substr(2);
}

}  // namespace Vantor
