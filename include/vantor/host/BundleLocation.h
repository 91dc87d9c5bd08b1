// Where the host application's bundle lives: its contents directory, against
// which paths beginning with ".." (the settings tool, the settings file) are
// resolved, and the conversions from Core Foundation values used on the way.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>

namespace Vantor {

// The identifier in the host bundle's Contents/Info.plist.
#define kHostBundleIdentifier "org.vantor.QuickTimeHost"

// The host bundle's contents directory ("/path/Host.app/Contents"). When no
// bundle carries the host identifier and the loaded bundles do not single one
// out, it lists the candidates on standard error and aborts: it never returns "".
std::string bundleContentsPath();

// The bundle's own POSIX path (without "/Contents"), or "" when it has none.
std::string bundlePath(CFBundleRef bundle);

// The UTF-8 bytes of `text` ("" when it cannot be converted).
std::string toStdString(CFStringRef text);

// `path` with a leading ".." replaced by bundleContentsPath(); other paths unchanged.
std::string resolveBundleRelativePath(const std::string& path);

}  // namespace Vantor
