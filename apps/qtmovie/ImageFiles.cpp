#include "ImageFiles.h"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

#include "Errors.h"
#include "ExrFiles.h"

namespace qtmovie {
namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

File openFile(const std::string& path, const char* mode) {
  File file(std::fopen(path.c_str(), mode), &std::fclose);
  if (!file && mode[0] == 'w') throw WriteFailure("cannot create " + path);
  if (!file) throw Failure("cannot open " + path);
  return file;
}

bool endsWith(const std::string& text, const std::string& ending) {
  return text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

void writePng16(const std::string& path, const Image& image) {
  File file = openFile(path, "wb");
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!info) {
    png_destroy_write_struct(&png, nullptr);
    throw Failure("libpng could not start");
  }
  std::vector<png_byte> row(static_cast<std::size_t>(image.width) * 8);
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    throw WriteFailure("cannot write PNG " + path);
  }
  png_init_io(png, file.get());
  png_set_IHDR(png, info, image.width, image.height, 16, PNG_COLOR_TYPE_RGBA, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  // One filter (Sub) rather than libpng's trial of all five on every row: on video frames
  // about two thirds of the compression time, for files no larger.
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
  png_write_info(png, info);
  for (int y = 0; y < image.height; ++y) {
    const float* source = image.rgba.data() + static_cast<std::size_t>(y) * image.width * 4;
    for (int i = 0; i < image.width * 4; ++i) {
      // Clamped to [0, 1] first (NaN to 0), so adding a half rounds to nearest.
      const float value = source[i] > 0.0f ? std::min(source[i], 1.0f) : 0.0f;
      const auto word = static_cast<unsigned>(value * 65535.0f + 0.5f);
      row[2 * i] = static_cast<png_byte>(word >> 8);  // PNG words are big-endian
      row[2 * i + 1] = static_cast<png_byte>(word & 0xFF);
    }
    png_write_row(png, row.data());
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
}

void writeRawFloats(const std::string& path, const Image& image) {
  File file = openFile(path, "wb");
  if (std::fwrite(image.rgba.data(), sizeof(float), image.rgba.size(), file.get()) != image.rgba.size())
    throw WriteFailure("cannot write " + path);
}

}  // namespace

void checkImageType(const std::string& path) {
  if (!endsWith(path, ".png") && !endsWith(path, ".exr") && !endsWith(path, ".f32"))
    throw UsageError("unknown image type for " + path + " (use .png, .exr or .f32)");
}

void writeImage(const std::string& path, const Image& image) {
  if (endsWith(path, ".png"))
    writePng16(path, image);
  else if (endsWith(path, ".exr"))
    writeExr(path, image);
  else if (endsWith(path, ".f32"))
    writeRawFloats(path, image);
  else
    throw UsageError("unknown image type for " + path + " (use .png, .exr or .f32)");
}

Image readImage(const std::string& path) { return endsWith(path, ".exr") ? readExr(path) : readPng(path); }

Image readPng(const std::string& path) {
  File file = openFile(path, "rb");
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!info) {
    png_destroy_read_struct(&png, nullptr, nullptr);
    throw Failure("libpng could not start");
  }
  Image image;
  std::vector<png_byte> row;
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_read_struct(&png, &info, nullptr);
    throw Failure("cannot read PNG " + path);
  }
  png_init_io(png, file.get());
  png_read_info(png, info);
  // Everything becomes 16-bit RGBA in host order, whatever the file holds.
  png_set_expand(png);
  png_set_gray_to_rgb(png);
  png_set_expand_16(png);
  png_set_add_alpha(png, 0xFFFF, PNG_FILLER_AFTER);
  png_set_swap(png);
  png_read_update_info(png, info);
  image.width = static_cast<int>(png_get_image_width(png, info));
  image.height = static_cast<int>(png_get_image_height(png, info));
  image.rgba.resize(static_cast<std::size_t>(image.width) * image.height * 4);
  row.resize(png_get_rowbytes(png, info));
  for (int y = 0; y < image.height; ++y) {
    png_read_row(png, row.data(), nullptr);
    const auto* words = reinterpret_cast<const unsigned short*>(row.data());
    float* target = image.rgba.data() + static_cast<std::size_t>(y) * image.width * 4;
    for (int i = 0; i < image.width * 4; ++i) target[i] = static_cast<float>(words[i]) / 65535.0f;
  }
  png_destroy_read_struct(&png, &info, nullptr);
  return image;
}

}  // namespace qtmovie
