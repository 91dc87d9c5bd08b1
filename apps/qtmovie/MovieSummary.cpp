#include "MovieSummary.h"

#include <vantor/property/Property.h>

#include <cstdio>
#include <cstdlib>
#include <list>
#include <sstream>

#include "Json.h"

namespace qtmovie {

using namespace Vantor;

MovieSummary summarise(QuickTime::QuickTimeCodecReader& reader) {
  MovieSummary s;
  int channels = 0;
  reader.getVideoInfo(&s.width, &s.height, &channels, &s.pixelAspect, &s.timeScale, &s.frameDuration,
                      &s.startTimecodeFrame);
  s.frames = reader.getFrameCount();
  s.hasVideo = reader.hasVideo();
  s.hasAudio = reader.hasAudio();
  if (s.hasAudio) {
    int bytesPerSample = 0, sampleBytes = 0;
    reader.getAudioFormat(&s.audioChannels, &s.audioSampleRate, &bytesPerSample, &sampleBytes);
    s.audioSamples = reader.getAudioSampleCount();
  }
  reader.getStreamDescription(s.description);

  std::list<Property::Base*> properties;
  reader.getMetadata(properties);
  for (Property::Base* property : properties) {
    const char* type = property->type == Property::kInt      ? "int"
                       : property->type == Property::kDouble ? "double"
                                                             : "string";
    s.metadata.push_back({property->name, type, property->size() ? property->toString(0) : ""});
    delete property;
  }
  return s;
}

std::string summaryJson(const MovieSummary& s) {
  JsonWriter json;
  json.beginObject();
  json.field("width", static_cast<long long>(s.width));
  json.field("height", static_cast<long long>(s.height));
  json.field("frames", static_cast<long long>(s.frames));
  json.field("time_scale", static_cast<long long>(s.timeScale));
  json.field("frame_duration", static_cast<long long>(s.frameDuration));
  json.field("pixel_aspect", static_cast<double>(s.pixelAspect));
  json.field("start_timecode_frame", static_cast<long long>(s.startTimecodeFrame));
  json.field("has_video", s.hasVideo);
  json.field("has_audio", s.hasAudio);
  json.field("audio_channels", static_cast<long long>(s.audioChannels));
  json.field("audio_sample_rate", static_cast<long long>(s.audioSampleRate));
  json.field("audio_samples", static_cast<long long>(s.audioSamples));
  json.beginObject("description");
  for (const auto& [key, value] : s.description) json.field(key, value);
  json.endObject();
  json.beginArray("metadata");
  for (const MetadataItem& item : s.metadata) {
    json.beginObject();
    json.field("key", item.key);
    json.field("type", item.type);
    if (item.type == "int")
      json.field("value", std::atoll(item.value.c_str()));
    else if (item.type == "double")
      json.field("value", std::atof(item.value.c_str()));
    else
      json.field("value", item.value);
    json.endObject();
  }
  json.endArray();
  json.endObject();
  return json.text() + "\n";
}

std::string summaryText(const std::string& path, const MovieSummary& s) {
  std::ostringstream out;
  out << path << "\n";
  if (s.hasVideo) {
    char rate[32];
    std::snprintf(rate, sizeof rate, "%.3f", s.frameDuration ? double(s.timeScale) / s.frameDuration : 0.0);
    out << "  video:     " << s.width << "x" << s.height << ", " << s.frames << " frames at " << rate << " fps ("
        << s.timeScale << "/" << s.frameDuration << "), pixel aspect " << s.pixelAspect << "\n"
        << "  timecode:  starts at frame " << s.startTimecodeFrame << "\n";
  } else {
    out << "  video:     none\n";
  }
  if (s.hasAudio)
    out << "  audio:     " << s.audioChannels << " channels at " << s.audioSampleRate << " Hz, " << s.audioSamples
        << " samples\n";
  else
    out << "  audio:     none\n";
  if (!s.description.empty()) out << "  stream:\n";
  for (const auto& [key, value] : s.description) out << "    " << key << ": " << value << "\n";
  if (!s.metadata.empty()) out << "  metadata:\n";
  for (const MetadataItem& item : s.metadata)
    out << "    " << item.key << " (" << item.type << "): " << item.value << "\n";
  return out.str();
}

}  // namespace qtmovie
