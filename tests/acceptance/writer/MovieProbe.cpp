#include "MovieProbe.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace WriterAcceptance {

std::string run(const std::string& command, bool withStandardError) {
  const std::string full = command + (withStandardError ? " 2>&1" : " 2>/dev/null");
  std::string output;
  if (FILE* pipe = popen(full.c_str(), "r")) {
    std::array<char, 4096> chunk{};
    while (std::size_t n = fread(chunk.data(), 1, chunk.size(), pipe)) output.append(chunk.data(), n);
    pclose(pipe);
  }
  return output;
}

std::map<std::string, std::string> probe(const std::string& path, const std::string& select,
                                         const std::string& entries) {
  std::string command = std::string(VQT_FFPROBE) + " -v error";
  if (!select.empty()) command += " -select_streams " + select;
  command += " -show_entries " + entries + " -of default=noprint_wrappers=1 '" + path + "'";
  std::map<std::string, std::string> values;
  std::istringstream lines(run(command));
  for (std::string line; std::getline(lines, line);) {
    const auto equals = line.find('=');
    if (equals != std::string::npos) values[line.substr(0, equals)] = line.substr(equals + 1);
  }
  return values;
}

std::string decodeErrors(const std::string& path) {
  return run(std::string(VQT_FFMPEG) + " -v error -nostdin -i '" + path + "' -f null -", true);
}

std::vector<std::string> topLevelAtoms(const std::string& path) {
  std::vector<std::string> atoms;
  std::ifstream file(path, std::ios::binary);
  file.seekg(0, std::ios::end);
  const auto size = static_cast<std::uint64_t>(file.tellg());
  std::uint64_t offset = 0;
  while (offset + 8 <= size) {
    file.seekg(static_cast<std::streamoff>(offset));
    unsigned char header[16] = {};
    file.read(reinterpret_cast<char*>(header), 16);
    std::uint64_t length = (std::uint64_t{header[0]} << 24) | (header[1] << 16) | (header[2] << 8) | header[3];
    if (length == 1) {
      length = 0;
      for (int i = 8; i < 16; ++i) length = (length << 8) | header[i];
    } else if (length == 0) {
      length = size - offset;
    }
    atoms.emplace_back(reinterpret_cast<char*>(header + 4), 4);
    if (length < 8) break;
    offset += length;
  }
  return atoms;
}

bool fileContains(const std::string& path, const std::string& bytes) {
  std::ifstream file(path, std::ios::binary);
  const std::string contents((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  return contents.find(bytes) != std::string::npos;
}

std::string scratchFolder(const std::string& name) {
  const auto folder = std::filesystem::path(VQT_WRITER_SCRATCH) / name;
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder);
  return folder.string();
}

std::vector<float> testFrame(int width, int height, int frame) {
  std::vector<float> pixels(static_cast<std::size_t>(width) * height * 4);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      float* p = &pixels[(static_cast<std::size_t>(y) * width + x) * 4];
      p[0] = static_cast<float>((x * 4 + frame * 8) % 256) / 255.0f;   // B
      p[1] = static_cast<float>((y * 4 + frame * 4) % 256) / 255.0f;   // G
      p[2] = static_cast<float>((x + y + frame * 16) % 256) / 255.0f;  // R
      p[3] = 1.0f;
    }
  return pixels;
}

}  // namespace WriterAcceptance
