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

}  // namespace Vantor::QuickTime
