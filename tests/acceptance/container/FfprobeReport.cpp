#include "FfprobeReport.h"

#include <cstdio>
#include <memory>
#include <sstream>

namespace vqt::acceptance {

namespace {
std::map<std::string, std::string> keyValues(const std::string& text) {
  std::map<std::string, std::string> fields;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const auto equals = line.find('=');
    if (equals != std::string::npos) fields.emplace(line.substr(0, equals), line.substr(equals + 1));
  }
  return fields;
}
}  // namespace

std::string runFfprobe(const std::string& arguments) {
  const std::string command = std::string(VQT_FFPROBE) + " -v error " + arguments;
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::string output;
  if (!pipe) return output;
  char buffer[4096];
  while (std::size_t got = std::fread(buffer, 1, sizeof buffer, pipe.get())) output.append(buffer, got);
  return output;
}

std::map<std::string, std::string> streamFields(const std::string& file, const std::string& stream) {
  return keyValues(
      runFfprobe("-select_streams " + stream + " -show_entries stream:stream_tags -of default=nw=1 '" + file + "'"));
}

std::map<std::string, std::string> formatFields(const std::string& file) {
  return keyValues(runFfprobe("-show_entries format:format_tags -of default=nw=1 '" + file + "'"));
}

std::vector<PacketRow> packets(const std::string& file, const std::string& stream) {
  std::vector<PacketRow> rows;
  std::istringstream lines(runFfprobe("-select_streams " + stream +
                                      " -show_entries packet=pts,dts,duration,size,flags -of csv=p=0 '" + file + "'"));
  for (std::string line; std::getline(lines, line);) {
    PacketRow row;
    char flags[8] = {};
    if (std::sscanf(line.c_str(), "%lld,%lld,%lld,%lld,%7s", &row.pts, &row.dts, &row.duration, &row.size, flags) ==
        5) {
      row.keyframe = flags[0] == 'K';
      rows.push_back(row);
    }
  }
  return rows;
}

}  // namespace vqt::acceptance
