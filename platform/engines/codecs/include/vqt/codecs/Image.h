// A view of one image in caller memory: pixel format, size and row stride.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "vqt/codecs/PixelFormats.h"

namespace vqt::codecs {

struct ImageView {
  FourCC pixelFormat = 0;
  int width = 0;
  int height = 0;
  std::ptrdiff_t bytesPerRow = 0;
  std::uint8_t* data = nullptr;  // first byte of the top row
};

struct ConstImageView {
  FourCC pixelFormat = 0;
  int width = 0;
  int height = 0;
  std::ptrdiff_t bytesPerRow = 0;
  const std::uint8_t* data = nullptr;
};

// An image whose rows are produced on request rather than held in memory:
// `produce(firstRow, rowCount, destination, bytesPerRow)` writes those rows
// (each row's pixel bytes) to `destination`, rows `bytesPerRow` apart. It may
// be asked for any rows in any order, and gives the same bytes every time.
struct RowSourceImage {
  FourCC pixelFormat = 0;
  int width = 0;
  int height = 0;
  std::function<void(int firstRow, int rowCount, std::uint8_t* destination, std::ptrdiff_t bytesPerRow)> produce;
};

// How Y'CbCr relates to R'G'B' for a stream. Unspecified means: BT.709 for
// frames taller than 576 lines, BT.601 otherwise.
enum class ColourMatrix { unspecified, bt601, bt709, bt2020 };

// Whether Y'CbCr uses the video range (Y' 16..235) or every code (full range).
enum class ColourRange { unspecified, video, full };

// 'nclc' matrix index (1 = 709, 6 = 601, 9 = 2020) to a matrix; others are unspecified.
ColourMatrix colourMatrixFromNclc(int matrixIndex);
// The matrix actually used for a frame of this height.
ColourMatrix resolveColourMatrix(ColourMatrix matrix, int height);

}  // namespace vqt::codecs
