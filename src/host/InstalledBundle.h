// Where an installed library finds its host bundle: from its own location at
// run time (or the folder an environment variable names), registered with the
// platform's bundles under the host identifier when the library is loaded.
#pragma once

#include <string>
#include <vector>

namespace Vantor {

// Names the host bundle (the Host.app folder) for hosts that ship it somewhere
// other than beside the library; when set, nothing else is looked at.
inline constexpr const char* kHostBundleVariable = "VANTOR_QUICKTIME_BUNDLE";

struct InstalledBundleSearch {
  std::string bundle;                 // the host bundle found, "" when none
  std::vector<std::string> lookedAt;  // every folder tried, in order
};

// Pure: the folders to try for a library loaded from `libraryPath` (as the
// loader names it, possibly through a symbolic link) with `overridePath` the
// variable's value (null or empty when unset), and the first that is a bundle.
// `bundleFromLibraryDir` is the install layout's bundle relative to the folder
// holding the library's links ("vantor/Host.app").
InstalledBundleSearch findInstalledHostBundle(const char* overridePath, const std::string& libraryPath,
                                              const std::string& bundleFromLibraryDir);

// Runs the search for this library once per process and registers the bundle
// found under the host identifier; returns that search.
const InstalledBundleSearch& registerInstalledHostBundle();

}  // namespace Vantor
