#include "Progress.h"

#include <unistd.h>

#include <cstdio>

namespace qtmovie {

Progress::Progress(std::string label, int total)
    : label_(std::move(label)), total_(total), enabled_(isatty(STDERR_FILENO) != 0 && total > 0) {}

Progress::~Progress() {
  if (enabled_) std::fputs("\n", stderr);
}

void Progress::update(int done) {
  if (!enabled_) return;
  constexpr int kWidth = 40;
  const int filled = done * kWidth / total_;
  std::string bar(static_cast<std::size_t>(filled), '#');
  bar.resize(kWidth, '.');
  std::fprintf(stderr, "\r%s [%s] %d/%d", label_.c_str(), bar.c_str(), done, total_);
  std::fflush(stderr);
}

}  // namespace qtmovie
