// Lays one host frame (B, G, R, A floats, or bytes for 8-bit ARGB) out in the
// pixel format the compressor takes, row by row through the conversion
// kernels, into one block of frame memory.
#pragma once

#include <Carbon/MacTypes.h>

#include <cstddef>
#include <cstdint>

namespace Vantor::QuickTime {

// Bytes per row of frame memory for a pixel format, or 0 when the writer
// cannot fill that format.
std::size_t frameBytesPerRow(OSType pixelFormat, int width);

// Fills `height` rows of `bytesPerRow` bytes from `width` x `height` host
// pixels. `memory` must hold bytesPerRow x height bytes.
void fillFrameMemory(OSType pixelFormat, const void* pixels, bool pixelsAreBytes, int width, int height,
                     std::size_t bytesPerRow, bool swapB64a, std::uint8_t* memory);

// Fills `rowCount` rows from host row `firstRow` on of a frame `height` rows
// high: `rows` is where the first of them goes, `bytesPerRow` apart. Any band
// of rows gets the bytes the whole frame has there.
void fillFrameRows(OSType pixelFormat, const void* pixels, bool pixelsAreBytes, int width, int height, int firstRow,
                   int rowCount, std::size_t bytesPerRow, bool swapB64a, std::uint8_t* rows);

}  // namespace Vantor::QuickTime
