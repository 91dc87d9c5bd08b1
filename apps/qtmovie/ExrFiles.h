// OpenEXR frames for qtmovie: half-float RGBA out, any RGBA(-like) EXR in.
// Only built when OpenEXR is found (VQT_HAVE_OPENEXR); otherwise both report
// that this build has no EXR support.
#pragma once

#include <string>

#include "ImageFiles.h"

namespace qtmovie {

void writeExr(const std::string& path, const Image& image);
Image readExr(const std::string& path);

}  // namespace qtmovie
