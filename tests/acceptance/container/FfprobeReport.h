// What ffprobe says about a file: stream fields, tags and packet rows, read
// from its text output so the tests can compare our answers with an
// independent reader.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace vqt::acceptance {

struct PacketRow {
  long long pts = 0, dts = 0, duration = 0, size = 0;
  bool keyframe = false;
};

// Runs ffprobe with `arguments` and returns its standard output.
std::string runFfprobe(const std::string& arguments);

// key=value lines ("-of default=nw=1") of one stream ("v:0", "a:0", "d:0"),
// tags included under their "TAG:" names.
std::map<std::string, std::string> streamFields(const std::string& file, const std::string& stream);
std::map<std::string, std::string> formatFields(const std::string& file);
std::vector<PacketRow> packets(const std::string& file, const std::string& stream);

}  // namespace vqt::acceptance
