// The version of the shared library, for programs that want to report it.
#include <vantor/Version.h>

const char* VantorQuickTimeVersion() { return VQT_VERSION; }
