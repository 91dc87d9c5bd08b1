// Where the host application's bundle lives: its contents directory, against
// which paths beginning with ".." (the settings tool, the settings file) are
// resolved. An installed library finds its bundle from where it was loaded, or
// from the folder named by the VANTOR_QUICKTIME_BUNDLE environment variable.
#pragma once

#include <vantor/Export.h>

#include <string>

namespace Vantor {

// The identifier in the host bundle's Contents/Info.plist.
#define kHostBundleIdentifier "org.vantor.QuickTimeHost"

// The host bundle's contents directory ("/path/Host.app/Contents"). When no
// bundle carries the host identifier and the loaded bundles do not single one
// out, it lists the candidates on standard error and aborts: it never returns "".
VANTOR_EXPORT std::string bundleContentsPath();

// `path` with a leading ".." replaced by bundleContentsPath(); other paths unchanged.
VANTOR_EXPORT std::string resolveBundleRelativePath(const std::string& path);

}  // namespace Vantor
