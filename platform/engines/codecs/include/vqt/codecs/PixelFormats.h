// The pixel formats that codec sessions exchange with their callers, under
// their QuickTime four-character codes, and the row sizes of each.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vqt::codecs {

using FourCC = std::uint32_t;

inline constexpr FourCC kPixelFormatArgb32 = 32;    // bytes A, R, G, B
inline constexpr FourCC kPixelFormatB64a = 'b64a';  // 16-bit big-endian A, R, G, B
inline constexpr FourCC kPixelFormatB48r = 'b48r';  // 16-bit big-endian R, G, B
inline constexpr FourCC kPixelFormat2vuy = '2vuy';  // 4:2:2 bytes Cb, Y0, Cr, Y1
inline constexpr FourCC kPixelFormatYuvs = 'yuvs';  // 4:2:2 bytes Y0, Cb, Y1, Cr
inline constexpr FourCC kPixelFormatR408 = 'r408';  // bytes A, Y'-16, Cb, Cr
inline constexpr FourCC kPixelFormatR4fl = 'r4fl';  // floats A, Y', Cb, Cr (video range / 255)
inline constexpr FourCC kPixelFormatV210 = 'v210';  // 10-bit 4:2:2, 6 pixels in 16 bytes

// True for every format a session can emit or encode from.
bool isExchangeFormat(FourCC format);

// Smallest row size in bytes for `width` pixels of `format` (0 when unknown).
std::size_t minimumBytesPerRow(FourCC format, int width);

}  // namespace vqt::codecs
