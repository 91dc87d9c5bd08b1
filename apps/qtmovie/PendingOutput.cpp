#include "PendingOutput.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "Errors.h"

namespace qtmovie {

PendingOutput::PendingOutput(std::string destination) : destination_(std::move(destination)) {
  const std::filesystem::path target(destination_);
  // Hidden, unique per process and keeping the extension, which some writers look at.
  const std::string name =
      "." + target.stem().string() + ".partial-" + std::to_string(getpid()) + target.extension().string();
  temporary_ = (target.parent_path() / name).string();
  // Refused here, naming the destination, rather than later naming the temporary file.
  const std::string folder = target.parent_path().empty() ? "." : target.parent_path().string();
  if (access(folder.c_str(), W_OK) != 0) throw WriteFailure("cannot create " + destination_);
}

PendingOutput::~PendingOutput() {
  if (!committed_) std::remove(temporary_.c_str());
}

void PendingOutput::commit() {
  if (std::rename(temporary_.c_str(), destination_.c_str()) != 0) throw WriteFailure("cannot create " + destination_);
  committed_ = true;
}

}  // namespace qtmovie
