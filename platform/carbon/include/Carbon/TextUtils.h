// Pascal strings (a length byte followed by up to 255 characters) and their
// conversion to and from C strings.
#pragma once

#include <Carbon/MacTypes.h>

#include <string>
#include <string_view>

void CopyCStringToPascal(const char* src, Str255 dst);
void CopyPascalStringToC(ConstStr255Param src, char* dst);
void c2pstrcpy(Str255 dst, const char* src);
void p2cstrcpy(char* dst, ConstStr255Param src);

// Writes `text` into a Pascal-string field of `fieldSize` bytes (length byte
// included), truncating to fit.
void VqtSetPascalString(unsigned char* field, size_t fieldSize, std::string_view text);
// The characters of a Pascal string, bounded by its field size when the length
// byte claims more than the field holds.
std::string VqtPascalStringToStd(const unsigned char* field, size_t fieldSize = 256);
