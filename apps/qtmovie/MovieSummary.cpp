#include "MovieSummary.h"

#include <vantor/property/Property.h>

#include <cstdio>
#include <cstdlib>
#include <list>
#include <sstream>

#include "Json.h"
#include "ProbeJson.h"

namespace qtmovie {

using namespace Vantor;

namespace {
std::string utf8(const std::string& text) {
  return asUtf8(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}
}  // namespace

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
  // Without video the reader reports its defaults (a size, a codec); they describe nothing.
  if (s.hasVideo) {
    std::map<std::string, std::string> description;
    reader.getStreamDescription(description);
    for (const auto& [key, value] : description) s.description.emplace(utf8(key), utf8(value));
  } else {
    s.width = s.height = s.frames = s.timeScale = s.frameDuration = s.startTimecodeFrame = 0;
  }

  std::list<Property::Base*> properties;
  reader.getMetadata(properties);
  for (Property::Base* property : properties) {
    const char* type = property->type == Property::kInt      ? "int"
                       : property->type == Property::kDouble ? "double"
                                                             : "string";
    s.metadata.push_back({utf8(property->name), type, utf8(property->size() ? property->toString(0) : "")});
    delete property;
  }
  return s;
}

void summaryFields(JsonWriter& json, const MovieSummary& s) {
  json.field("width", static_cast<long long>(s.width));
  json.field("height", static_cast<long long>(s.height));
  json.field("frames", static_cast<long long>(s.frames));
  json.field("time_scale", static_cast<long long>(s.timeScale));
  json.field("frame_duration", static_cast<long long>(s.frameDuration));
  json.field("pixel_aspect", static_cast<double>(s.pixelAspect));
  if (s.hasTimecode()) json.field("start_timecode_frame", static_cast<long long>(s.startTimecodeFrame));
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
  json.beginObject("user_data");
  for (const auto& [key, value] : s.userData) json.field(key, value);
  json.endObject();
}

std::string summaryText(const std::string& path, const MovieSummary& s) {
  std::ostringstream out;
  out << path << "\n";
  if (s.hasVideo) {
    char rate[32];
    std::snprintf(rate, sizeof rate, "%.3f", s.frameDuration ? double(s.timeScale) / s.frameDuration : 0.0);
    out << "  video:     " << s.width << "x" << s.height << ", " << s.frames << " frames at " << rate << " fps ("
        << s.timeScale << "/" << s.frameDuration << "), pixel aspect " << s.pixelAspect << "\n";
    if (s.hasTimecode())
      out << "  timecode:  " << s.description.at("timecode") << " (frame " << s.startTimecodeFrame << ")\n";
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
  if (!s.userData.empty()) out << "  user data:\n";
  for (const auto& [key, value] : s.userData) out << "    " << key << ": " << value << "\n";
  return out.str();
}

}  // namespace qtmovie
