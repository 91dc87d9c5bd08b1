// Prints bundleContentsPath() as seen from wherever this program was copied to.
// "--register PATH [ID]" adds a bundle first, as a host embedding the library might.
#include <CoreFoundation/CFBundle.h>
#include <vantor/host/BundleLocation.h>

#include <cstring>
#include <iostream>

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--register") == 0 && i + 1 < argc) {
      const char* path = argv[++i];
      const char* id = (i + 1 < argc && argv[i + 1][0] != '-') ? argv[++i] : nullptr;
      VqtCFBundleRegister(path, id);
    }
  }
  std::cout << Vantor::bundleContentsPath() << std::endl;
  return 0;
}
