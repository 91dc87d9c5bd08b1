// The Core Foundation side of the bundle location: a bundle's POSIX path and
// the UTF-8 bytes of a string. Private: the public headers carry no platform types.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>

namespace Vantor {

// The bundle's own POSIX path (without "/Contents"), or "" when it has none.
std::string bundlePath(CFBundleRef bundle);

// The UTF-8 bytes of `text` ("" when it cannot be converted).
std::string toStdString(CFStringRef text);

}  // namespace Vantor
