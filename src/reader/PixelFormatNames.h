// Texts for four-character codes: the code string of the stream description
// and the description printed for a pixel format the reader cannot convert.
#pragma once

#include <Carbon/MacTypes.h>

#include <string>

namespace Vantor::QuickTime {

// Decimal and a line feed when the most significant byte is 0, else the four
// bytes as characters, most significant first.
std::string codeString(OSType code);

// A Pascal string (length byte, then the characters) as a string.
std::string pascalString(const unsigned char* text);

// The description of a pixel format code, "Unknown format" for codes not listed.
const char* pixelFormatDescription(OSType format);

}  // namespace Vantor::QuickTime
