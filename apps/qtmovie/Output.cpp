#include "Output.h"

#include <fcntl.h>
#include <unistd.h>

namespace qtmovie {
namespace {
std::FILE* userStream = stdout;
}

void divertLibraryOutput() {
  std::fflush(stdout);
  const int copy = dup(STDOUT_FILENO);
  const int null = open("/dev/null", O_WRONLY);
  if (copy < 0 || null < 0) return;  // keep writing to stdout as it is
  std::FILE* stream = fdopen(copy, "w");
  if (stream == nullptr) return;
  dup2(null, STDOUT_FILENO);
  close(null);
  userStream = stream;
}

std::FILE* output() { return userStream; }

}  // namespace qtmovie
