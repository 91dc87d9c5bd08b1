// The dialog's preview: a picture compressed with an ICM compression session at the chosen
// settings and decompressed again, so the user sees what the codec keeps.
#pragma once

#include "vqt/dialogs/ImageSettingsModel.h"

namespace vqt::binding {

// The decompressed picture (alpha as the codec kept it), or an error text saying why not.
dialogs::PreviewResult compressPreview(const dialogs::RgbaImage& picture, const dialogs::ImageSettings& settings);

}  // namespace vqt::binding
