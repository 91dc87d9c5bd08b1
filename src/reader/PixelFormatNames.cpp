#include "PixelFormatNames.h"

namespace Vantor::QuickTime {

std::string codeString(OSType code) {
  if ((code >> 24) == 0) return std::to_string(code) + "\n";
  std::string text(4, '\0');
  for (int i = 0; i < 4; ++i) text[i] = static_cast<char>((code >> (24 - 8 * i)) & 0xFF);
  return text;
}

std::string pascalString(const unsigned char* text) {
  if (!text) return {};
  return std::string(reinterpret_cast<const char*>(text + 1), text[0]);
}

const char* pixelFormatDescription(OSType format) {
  switch (format) {
    case 1:
      return "1 bit indexed ";
    case 2:
      return "2 bit indexed ";
    case 4:
      return "4 bit indexed ";
    case 8:
      return "8 bit indexed ";
    case 33:
      return "1 bit indexed gray, white is zero ";
    case 34:
      return "2 bit indexed gray, white is zero ";
    case 36:
      return "4 bit indexed gray, white is zero ";
    case 40:
      return "8 bit indexed gray, white is zero ";
    case 16:
      return "16 bit BE RGB 555 ";
    case 'L555':
      return "16 bit LE RGB 555 ";
    case '5551':
      return "16 bit LE RGB 5551 ";
    case 'B565':
      return "16 bit BE RGB 565 ";
    case 'L565':
      return "16 bit LE RGB 565 ";
    case 24:
      return "24 bit RGB ";
    case '24BG':
      return "24 bit BGR ";
    case 'BGRA':
      return "32 bit BGRA ";
    case 'ABGR':
      return "32 bit ABGR ";
    case 'RGBA':
      return "32 bit RGBA ";
    case 'b32a':
      return "32 bit AlphaGray, 16-bit big-endian samples, black is zero ";
    case 'b16g':
      return "16 bit Grayscale, 16-bit big-endian samples, black is zero ";
    case 'v408':
      return "Component Y'CbCrA 8-bit 4:4:4:4, ordered Cb Y' Cr A ";
    case 'v308':
      return "Component Y'CbCr 8-bit 4:4:4 ";
    case 'v216':
      return "Component Y'CbCr 10,12,14,16-bit 4:2:2 ";
    case 'v210':
      return "Component Y'CbCr 10-bit 4:2:2 ";
    case 'v410':
      return "Component Y'CbCr 10-bit 4:4:4 ";
    case 'y420':
      return "Planar Component Y'CbCr 8-bit 4:2:0.  baseAddr points to a big-endian "
             "CVPlanarPixelBufferInfo_YCbCrPlanar struct ";
    case 'a2vy':
      return "First plane: Video-range Component Y'CbCr 8-bit 4:2:2, ordered Cb Y'0 Cr Y'1; second plane: "
             "alpha 8-bit 0-255 ";
    default:
      return "Unknown format";
  }
}

}  // namespace Vantor::QuickTime
