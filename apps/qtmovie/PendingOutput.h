// A sound file written under a temporary name in the destination folder and
// renamed into place only when the command succeeds, so a failed or
// interrupted run leaves no broken file behind. (Movies need none of this:
// the movie writer stages its own output.)
#pragma once

#include <string>

namespace qtmovie {

class PendingOutput {
 public:
  // Throws WriteFailure when the destination folder cannot be written.
  explicit PendingOutput(std::string destination);
  ~PendingOutput();  // removes the temporary file unless commit() succeeded
  PendingOutput(const PendingOutput&) = delete;
  PendingOutput& operator=(const PendingOutput&) = delete;

  // Where to write until commit(); same folder and extension as the destination.
  const std::string& path() const { return temporary_; }
  // Renames the temporary file onto the destination; throws WriteFailure.
  void commit();

 private:
  std::string destination_;
  std::string temporary_;
  bool committed_ = false;
};

}  // namespace qtmovie
