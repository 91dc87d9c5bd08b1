// What the outside tools say about a written movie: ffprobe's key=value
// entries for a stream or the container, whether ffmpeg decodes it cleanly,
// the order of its top-level atoms, and test frames and scratch paths.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace WriterAcceptance {

// Runs a shell command; its standard output (standard error too when asked).
std::string run(const std::string& command, bool withStandardError = false);

// ffprobe -show_entries `entries` for `select` ("v:0", "a:0", "d:0" or "" for
// the format), as key -> value ("TAG:timecode" for tags).
std::map<std::string, std::string> probe(const std::string& path, const std::string& select,
                                         const std::string& entries);
// ffmpeg's error output when decoding every frame (empty when clean).
std::string decodeErrors(const std::string& path);
// Four-character types of the file's top-level atoms in order.
std::vector<std::string> topLevelAtoms(const std::string& path);
bool fileContains(const std::string& path, const std::string& bytes);

// A fresh folder under the build tree for one test.
std::string scratchFolder(const std::string& name);

// width x height B, G, R, A floats: a gradient that moves with `frame`, in
// steps of 1/255 so 8-bit codecs can hold it exactly.
std::vector<float> testFrame(int width, int height, int frame);

}  // namespace WriterAcceptance
