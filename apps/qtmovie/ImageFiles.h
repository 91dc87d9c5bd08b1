// Still images in and out of qtmovie: frames are float RGBA, rows top first.
// PNG is read at any depth and written as 16-bit RGBA; EXR is half-float RGBA;
// .f32 is the raw floats.
#pragma once

#include <string>
#include <vector>

namespace qtmovie {

struct Image {
  int width = 0;
  int height = 0;
  std::vector<float> rgba;  // width x height x 4, rows top first
};

// Throws UsageError unless the extension is one writeImage knows, so a command can
// refuse a bad output name before it does any work.
void checkImageType(const std::string& path);
// Chooses the format from the extension (.png, .exr or .f32); throws Failure.
void writeImage(const std::string& path, const Image& image);
// Reads a PNG (8 or 16 bits, any colour type) into floats; throws Failure.
Image readPng(const std::string& path);
// .exr through OpenEXR, anything else as PNG; throws Failure.
Image readImage(const std::string& path);

}  // namespace qtmovie
