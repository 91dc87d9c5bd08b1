// The version of the shared library, for programs that want to report it.
extern "C" const char* VantorQuickTimeVersion() { return VQT_VERSION; }
