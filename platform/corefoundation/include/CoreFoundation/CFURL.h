// File URLs: a POSIX path with a directory flag.
#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFURL* CFURLRef;

enum CFURLPathStyle : CFIndex {
  kCFURLPOSIXPathStyle = 0,
  kCFURLHFSPathStyle = 1,
  kCFURLWindowsPathStyle = 2,
};

CFTypeID CFURLGetTypeID();
// Only POSIX paths are supported; a relative path is taken against the current directory.
CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef alloc, CFStringRef filePath, CFURLPathStyle pathStyle,
                                       Boolean isDirectory);
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef alloc, const UInt8* buffer, CFIndex bufLen,
                                                 Boolean isDirectory);
CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle);
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer, CFIndex maxBufLen);
Boolean CFURLHasDirectoryPath(CFURLRef anURL);
