// The built-in picture the compression dialog previews: smooth gradients, a shaded ball, colour
// bars, fine rings that show what a codec loses, and a soft alpha ramp.
#pragma once

#include "vqt/dialogs/ImageSettingsModel.h"

namespace vqt::binding {

inline constexpr int kSamplePictureWidth = 320;
inline constexpr int kSamplePictureHeight = 180;

// Always the same picture (computed once).
const dialogs::RgbaImage& samplePicture();

}  // namespace vqt::binding
