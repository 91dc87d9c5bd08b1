// URL helpers shared inside the Core Foundation subset.
#pragma once

#include <CoreFoundation/CFURL.h>

#include <string>

CFURLRef VqtCFURLCreateWithPOSIXPath(const std::string& path, bool isDirectory);
std::string VqtCFURLGetPOSIXPath(CFURLRef url);
