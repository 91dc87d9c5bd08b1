#include "ProbeJson.h"

#include <cstdio>
#include <cstdlib>
#include <numeric>

#include "Json.h"

namespace qtmovie {
namespace {

using namespace vqt::container;

// ffprobe's codec names for the sample description formats we meet; other
// formats show their four characters.
struct CodecName {
  const char* format;
  const char* name;
};
constexpr CodecName kCodecNames[] = {
    {"avc1", "h264"},      {"hvc1", "hevc"},      {"hev1", "hevc"},      {"apch", "prores"},    {"apcn", "prores"},
    {"apcs", "prores"},    {"apco", "prores"},    {"ap4h", "prores"},    {"ap4x", "prores"},    {"mp4v", "mpeg4"},
    {"jpeg", "mjpeg"},     {"png ", "png"},       {"raw ", "rawvideo"},  {"2vuy", "rawvideo"},  {"v210", "v210"},
    {"AVdn", "dnxhd"},     {"rle ", "qtrle"},     {"dvc ", "dvvideo"},   {"dvcp", "dvvideo"},   {"mp4a", "aac"},
    {".mp3", "mp3"},       {"sowt", "pcm_s16le"}, {"twos", "pcm_s16be"}, {"in24", "pcm_s24be"}, {"in32", "pcm_s32be"},
    {"fl32", "pcm_f32be"}, {"fl64", "pcm_f64be"}, {"alac", "alac"},      {"ulaw", "pcm_mulaw"}, {"alaw", "pcm_alaw"},
};

// Empty for a format with no decoder name (a timecode track), which ffprobe leaves out.
std::string codecName(const std::string& format) {
  for (const CodecName& entry : kCodecNames)
    if (format == entry.format) return entry.name;
  return {};
}

std::string fraction(long long numerator, long long denominator) {
  if (denominator == 0) return "0/0";
  const long long common = std::gcd(numerator, denominator);
  return std::to_string(numerator / common) + "/" + std::to_string(denominator / common);
}

std::string seconds(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6f", value);
  return text;
}

// Four characters as text; the copyright sign that starts QuickTime's text user data types
// is Mac Roman 0xA9, shown as "\u00a9".
std::string fourcc(FourCC code) {
  const std::uint8_t bytes[4] = {static_cast<std::uint8_t>(code >> 24), static_cast<std::uint8_t>(code >> 16),
                                 static_cast<std::uint8_t>(code >> 8), static_cast<std::uint8_t>(code)};
  return asUtf8(bytes);
}

// ffprobe's tag names for the user data items it knows; the others keep their type.
struct TagName {
  FourCC type;
  const char* name;
};
constexpr TagName kTagNames[] = {
    {0xA96E616D, "title"},       {0xA9646179, "date"},     {0xA9746F6F, "encoder"},   {0xA9737772, "encoder"},
    {0xA9415254, "artist"},      {0xA9636D74, "comment"},  {0xA9616C62, "album"},     {0xA9677561, "genre"},
    {0xA9646573, "description"}, {0xA9777274, "composer"}, {0xA9636F70, "copyright"}, {0xA9786D6C, "location"},
};

std::vector<std::pair<std::string, std::string>> probeTags(const std::vector<UserDataItem>& items) {
  auto texts = userDataTexts(items);
  for (auto& [key, value] : texts)
    for (const TagName& tag : kTagNames)
      if (key == fourcc(tag.type)) key = tag.name;
  return texts;
}

void readerFields(JsonWriter& json, const MovieSummary& s, bool video) {
  json.beginObject("qtmovie");
  if (video) {
    json.field("frames", static_cast<long long>(s.frames));
    json.field("time_scale", static_cast<long long>(s.timeScale));
    json.field("frame_duration", static_cast<long long>(s.frameDuration));
    json.field("pixel_aspect", static_cast<double>(s.pixelAspect));
    for (const auto& [key, value] : s.description)
      json.field(key, asUtf8(std::span(reinterpret_cast<const std::uint8_t*>(value.data()), value.size())));
  } else {
    json.field("channels", static_cast<long long>(s.audioChannels));
    json.field("sample_rate", static_cast<long long>(s.audioSampleRate));
    json.field("samples", static_cast<long long>(s.audioSamples));
  }
  json.endObject();
}

void tags(JsonWriter& json, const std::vector<std::pair<std::string, std::string>>& items) {
  if (items.empty()) return;
  json.beginObject("tags");
  for (const auto& [key, value] : items) json.field(key, value);
  json.endObject();
}

}  // namespace

std::string asUtf8(std::span<const std::uint8_t> bytes) {
  std::string out;
  for (std::size_t i = 0; i < bytes.size();) {
    const std::uint8_t lead = bytes[i];
    std::size_t length = lead < 0x80           ? 1
                         : (lead >> 5) == 0x6  ? 2
                         : (lead >> 4) == 0xE  ? 3
                         : (lead >> 3) == 0x1E ? 4
                                               : 0;
    bool valid = length > 0 && i + length <= bytes.size() && lead != 0xC0 && lead != 0xC1 && lead <= 0xF4;
    for (std::size_t k = 1; valid && k < length; ++k) valid = (bytes[i + k] & 0xC0) == 0x80;
    if (valid && length == 3) {
      const unsigned code = ((lead & 0x0Fu) << 12) | ((bytes[i + 1] & 0x3Fu) << 6);
      valid = code >= 0x800 && (code < 0xD800 || code > 0xDFFF);
    }
    if (valid && length == 4) {
      const unsigned code = ((lead & 0x07u) << 18) | ((bytes[i + 1] & 0x3Fu) << 12);
      valid = code >= 0x10000 && code <= 0x10FFFF;
    }
    if (valid) {
      out.append(reinterpret_cast<const char*>(bytes.data() + i), length);
      i += length;
    } else {
      out += static_cast<char>(0xC0 | (lead >> 6));
      out += static_cast<char>(0x80 | (lead & 0x3F));
      ++i;
    }
  }
  return out;
}

std::vector<std::pair<std::string, std::string>> userDataTexts(const std::vector<UserDataItem>& items) {
  std::vector<std::pair<std::string, std::string>> texts;
  for (const UserDataItem& item : items) {
    // Only international-text items ('\xa9' types and 'name') are text; the rest are binary.
    if ((item.type >> 24) != 0xA9 && item.type != 'name') continue;
    const auto text = userDataText(item.payload, std::nullopt);
    if (!text) continue;
    texts.emplace_back(fourcc(item.type), asUtf8(*text));
  }
  return texts;
}

std::string probeJson(const std::string& path, std::uint64_t fileSize, const Movie& movie, const MovieSummary& s) {
  JsonWriter json;
  json.beginObject();
  json.beginArray("streams");
  int index = 0;
  bool videoDone = false, soundDone = false;
  for (const auto& track : movie.tracks) {
    const Media& media = track->media;
    const char* type = media.handlerType == 'vide' ? "video" : media.handlerType == 'soun' ? "audio" : "data";
    json.beginObject();
    json.field("index", static_cast<long long>(index++));
    const SampleEntry* entry = media.descriptions.empty() ? nullptr : media.descriptions.front();
    const std::string format = entry ? fourcc(entry->type()) : "";
    if (const std::string name = codecName(format); !name.empty()) json.field("codec_name", name);
    json.field("codec_type", type);
    json.field("codec_tag_string", format);
    char tag[16];
    std::snprintf(tag, sizeof tag, "0x%08x", entry ? static_cast<unsigned>(__builtin_bswap32(entry->type())) : 0u);
    json.field("codec_tag", tag);
    const auto samples = static_cast<long long>(media.samples.sampleCount());
    std::string frameRate = "0/0", averageRate = "0/0";  // what ffprobe gives a stream without frames
    if (const auto* visual = dynamic_cast<const VisualSampleEntry*>(entry)) {
      json.field("width", static_cast<long long>(visual->width));
      json.field("height", static_cast<long long>(visual->height));
      std::int64_t start = 0, duration = 0;
      if (samples > 0 && media.samples.decodeTime(1, start, duration) == Error::none && duration > 0) {
        frameRate = fraction(media.timeScale, duration);
        averageRate =
            fraction(samples * static_cast<long long>(media.timeScale), static_cast<long long>(media.duration));
      }
    }
    json.field("r_frame_rate", frameRate);
    json.field("avg_frame_rate", averageRate);
    if (const auto* sound = dynamic_cast<const SoundSampleEntry*>(entry)) {
      json.field("sample_rate", std::to_string(static_cast<long long>(sound->effectiveSampleRate())));
      json.field("channels", static_cast<long long>(sound->effectiveChannels()));
    }
    json.field("time_base", fraction(1, media.timeScale));
    json.field("duration_ts", static_cast<long long>(media.duration));
    json.field("duration", seconds(media.timeScale ? double(media.duration) / media.timeScale : 0.0));
    json.field("nb_frames", std::to_string(samples));
    auto trackTags = probeTags(track->userData);
    if (media.handlerType == 'vide' && !videoDone) {
      if (auto tc = s.description.find("timecode"); tc != s.description.end())
        trackTags.emplace_back("timecode", tc->second);
    }
    tags(json, trackTags);
    if (media.handlerType == 'vide' && !videoDone && s.hasVideo) readerFields(json, s, true), videoDone = true;
    if (media.handlerType == 'soun' && !soundDone && s.hasAudio) readerFields(json, s, false), soundDone = true;
    json.endObject();
  }
  json.endArray();

  json.beginObject("format");
  json.field("filename", asUtf8(std::span(reinterpret_cast<const std::uint8_t*>(path.data()), path.size())));
  json.field("nb_streams", static_cast<long long>(movie.tracks.size()));
  json.field("format_name", "mov,mp4,m4a,3gp,3g2,mj2");
  json.field("duration", seconds(movie.timeScale ? double(movie.duration) / movie.timeScale : 0.0));
  json.field("size", std::to_string(fileSize));
  auto formatTags = probeTags(movie.userData);
  for (const MetadataItem& item : s.metadata) formatTags.emplace_back(item.key, item.value);
  tags(json, formatTags);
  json.endObject();

  json.beginObject("qtmovie");
  summaryFields(json, s);
  json.endObject();
  json.endObject();
  return json.text() + "\n";
}

}  // namespace qtmovie
