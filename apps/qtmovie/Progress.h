// A one-line progress bar on standard error, drawn only when standard error is
// a terminal so that logs and pipes stay clean.
#pragma once

#include <string>

namespace qtmovie {

class Progress {
 public:
  Progress(std::string label, int total);
  ~Progress();
  void update(int done);

 private:
  std::string label_;
  int total_;
  bool enabled_;
};

}  // namespace qtmovie
