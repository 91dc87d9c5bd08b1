// Bundles: a directory holding Contents/Info.plist, Contents/MacOS and
// Contents/Resources. The bundles of a process are those that contain its main
// executable or one of its loaded shared objects, plus any created explicitly.
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFURL.h>

typedef struct __CFBundle* CFBundleRef;

CFTypeID CFBundleGetTypeID();
// Get rule: the result belongs to the process; do not release it.
CFBundleRef CFBundleGetMainBundle();
CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef bundleID);
CFArrayRef CFBundleGetAllBundles();
// Create rule: opens the bundle at `bundleURL` (reading its Info.plist) and adds it to the process's bundles.
CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef bundleURL);
CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);
CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle);
CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle);
CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);

// Adds a bundle to the process's bundles with the given identifier without
// reading anything from disk: for hosts whose files are not laid out as a
// bundle, and for checking lookup rules against paths that do not exist here.
CFBundleRef VqtCFBundleRegister(const char* posixPath, const char* identifier);
