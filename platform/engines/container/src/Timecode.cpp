#include "vqt/container/Timecode.h"

#include <cstdio>

namespace vqt::container {

namespace {
std::uint32_t droppedPerMinute(std::uint32_t framesPerSecond) {
  // 2 labels at 30 fps, 4 at 60: one fifteenth of the nominal rate, rounded.
  return (framesPerSecond * 2 + 15) / 30;
}
}  // namespace

TimecodeFields timecodeFromFrameNumber(std::int64_t frame, std::uint32_t flags, std::uint32_t framesPerSecond) {
  TimecodeFields fields;
  if (framesPerSecond == 0) return fields;
  if (frame < 0) {
    fields.negative = true;
    frame = -frame;
  }
  const std::int64_t fps = framesPerSecond;
  if ((flags & TimecodeFlags::dropFrame) != 0) {
    const std::int64_t drop = droppedPerMinute(framesPerSecond);
    const std::int64_t perTenMinutes = fps * 600 - drop * 9;
    const std::int64_t perMinute = fps * 60 - drop;
    const std::int64_t tens = frame / perTenMinutes;
    const std::int64_t rest = frame % perTenMinutes;
    frame += drop * 9 * tens;
    if (rest > drop) frame += drop * ((rest - drop) / perMinute);
  }
  std::int64_t hours = frame / (fps * 3600);
  if ((flags & TimecodeFlags::max24Hour) != 0) hours %= 24;
  fields.hours = static_cast<std::uint8_t>(hours % 256);
  fields.minutes = static_cast<std::uint8_t>(frame / (fps * 60) % 60);
  fields.seconds = static_cast<std::uint8_t>(frame / fps % 60);
  fields.frames = static_cast<std::uint8_t>(frame % fps);
  return fields;
}

std::int64_t frameNumberFromTimecode(const TimecodeFields& fields, std::uint32_t flags, std::uint32_t framesPerSecond) {
  const std::int64_t fps = framesPerSecond;
  const std::int64_t totalMinutes = std::int64_t(fields.hours) * 60 + fields.minutes;
  std::int64_t frame = (totalMinutes * 60 + fields.seconds) * fps + fields.frames;
  if ((flags & TimecodeFlags::dropFrame) != 0)
    frame -= std::int64_t(droppedPerMinute(framesPerSecond)) * (totalMinutes - totalMinutes / 10);
  return fields.negative ? -frame : frame;
}

std::string formatTimecode(const TimecodeFields& fields, std::uint32_t flags) {
  char text[32];
  const char separator = (flags & TimecodeFlags::dropFrame) != 0 ? ';' : ':';
  std::snprintf(text, sizeof text, "%s%02u:%02u:%02u%c%02u", fields.negative ? "-" : "", fields.hours, fields.minutes,
                fields.seconds, separator, fields.frames);
  return text;
}

}  // namespace vqt::container
