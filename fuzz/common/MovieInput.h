// What the movie fuzzers share: the input written to a file the reader can
// open (on a memory file system where there is one, so one file per input
// stays cheap), and the reader's descriptive calls that every run makes.
#pragma once

#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <list>
#include <map>
#include <string>

namespace fuzzing {

// Writes the input to this process's file for `tag`; empty when it cannot.
inline std::string writeMovieInput(const char* tag, const std::uint8_t* data, std::size_t size) {
  static const std::string path = std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + "/vqt-" + tag +
                                  "-" + std::to_string(getpid()) + ".mov";
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return {};
  std::fwrite(data, 1, size, file);
  std::fclose(file);
  return path;
}

// The stream description and the metadata, as a host asks for them after opening.
inline void describe(Vantor::QuickTime::QuickTimeCodecReader& reader) {
  std::map<std::string, std::string> description;
  reader.getStreamDescription(description);
  std::list<Vantor::Property::Base*> metadata;
  reader.getMetadata(metadata);
  for (Vantor::Property::Base* item : metadata) delete item;
}

}  // namespace fuzzing
