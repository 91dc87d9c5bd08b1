// Everything the reader reports about one movie, gathered once and printed
// either as text or as the JSON object of `qtmovie info --json`.
#pragma once

#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <map>
#include <string>
#include <vector>

namespace qtmovie {

struct MetadataItem {
  std::string key;
  std::string type;   // "int", "double" or "string"
  std::string value;  // as text; numbers are written unquoted in JSON
};

struct MovieSummary {
  int width = 0, height = 0, frames = 0;
  int timeScale = 0, frameDuration = 0, startTimecodeFrame = 0;
  float pixelAspect = 1.0f;
  bool hasVideo = false, hasAudio = false;
  int audioChannels = 0, audioSampleRate = 0;
  unsigned audioSamples = 0;  // sample frames times channels, as the reader counts
  std::map<std::string, std::string> description;
  std::vector<MetadataItem> metadata;
};

MovieSummary summarise(Vantor::QuickTime::QuickTimeCodecReader& reader);
std::string summaryJson(const MovieSummary& summary);
std::string summaryText(const std::string& path, const MovieSummary& summary);

}  // namespace qtmovie
