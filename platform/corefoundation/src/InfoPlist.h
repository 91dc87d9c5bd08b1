// Reads the top-level string entries of a bundle's Info.plist (XML form).
#pragma once

#include <map>
#include <string>

// Key -> string value for each <key>...</key><string>...</string> pair of the
// outermost dictionary. A missing, unreadable or oversized file gives no entries.
std::map<std::string, std::string> vqtReadInfoPlistStrings(const std::string& path);
