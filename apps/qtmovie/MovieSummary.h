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
  std::vector<std::pair<std::string, std::string>> userData;  // movie-level text items, valid UTF-8
  bool hasTimecode() const { return description.count("timecode") != 0; }
};

class JsonWriter;

// Keys and values are made valid UTF-8; a movie without video keeps no video fields.
MovieSummary summarise(Vantor::QuickTime::QuickTimeCodecReader& reader);
// The flat fields of the summary into an open JSON object.
void summaryFields(JsonWriter& json, const MovieSummary& summary);
std::string summaryText(const std::string& path, const MovieSummary& summary);

}  // namespace qtmovie
