// File URLs keep an absolute POSIX path; a relative path is made absolute
// against the current directory when the URL is created.
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>

#include <unistd.h>

#include <cstring>
#include <new>
#include <string>

#include "CFObject.h"
#include "CFURLPrivate.h"

struct __CFURL : __CFObject {
  static constexpr CFTypeID kTypeID = kVqtURLTypeID;
  __CFURL(std::string p, bool dir) : __CFObject(kTypeID), path(std::move(p)), isDirectory(dir) {}
  bool equals(const __CFObject& other) const override {
    auto& o = static_cast<const __CFURL&>(other);
    return path == o.path && isDirectory == o.isDirectory;
  }
  CFHashCode hash() const override { return std::hash<std::string>{}(path); }
  const std::string path;  // absolute, no trailing "/" except for the root
  const bool isDirectory;
};

namespace {

std::string absolutePath(std::string path) {
  if (path.empty()) return path;
  if (path[0] != '/') {
    char cwd[4096];
    if (!getcwd(cwd, sizeof cwd)) return std::string();
    std::string base = cwd;
    if (base.back() != '/') base += '/';
    path = base + path;
  }
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

CFURLRef VqtCFURLCreateWithPOSIXPath(const std::string& path, bool isDirectory) {
  std::string absolute = absolutePath(path);
  if (absolute.empty()) return nullptr;
  return new (std::nothrow) __CFURL(std::move(absolute), isDirectory);
}

std::string VqtCFURLGetPOSIXPath(CFURLRef url) {
  const __CFURL* u = vqtCFCast<__CFURL>(url);
  return u ? u->path : std::string();
}

CFTypeID CFURLGetTypeID() { return kVqtURLTypeID; }

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef, CFStringRef filePath, CFURLPathStyle pathStyle,
                                       Boolean isDirectory) {
  if (pathStyle != kCFURLPOSIXPathStyle) return nullptr;
  const char* text = CFStringGetCStringPtr(filePath, kCFStringEncodingUTF8);
  if (!text) return nullptr;
  return VqtCFURLCreateWithPOSIXPath(text, isDirectory);
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* buffer, CFIndex bufLen,
                                                 Boolean isDirectory) {
  if (!buffer || bufLen <= 0) return nullptr;
  std::string path(reinterpret_cast<const char*>(buffer), bufLen);
  if (path.find('\0') != std::string::npos) path.resize(path.find('\0'));
  return VqtCFURLCreateWithPOSIXPath(path, isDirectory);
}

CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle) {
  const __CFURL* u = vqtCFCast<__CFURL>(anURL);
  if (!u || pathStyle != kCFURLPOSIXPathStyle) return nullptr;
  return CFStringCreateWithCString(nullptr, u->path.c_str(), kCFStringEncodingUTF8);
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean, UInt8* buffer, CFIndex maxBufLen) {
  const __CFURL* u = vqtCFCast<__CFURL>(url);
  if (!u || !buffer || maxBufLen <= 0 || CFIndex(u->path.size()) + 1 > maxBufLen) return false;
  std::memcpy(buffer, u->path.c_str(), u->path.size() + 1);
  return true;
}

Boolean CFURLHasDirectoryPath(CFURLRef anURL) {
  const __CFURL* u = vqtCFCast<__CFURL>(anURL);
  return u && u->isDirectory;
}
