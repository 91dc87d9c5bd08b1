// Compression session options from an image instance's settings.
#pragma once

#include "ScInstance.h"

namespace vqt::sc {

OSErr copySessionOptions(const VqtImageCompressionSettings& settings, ICMCompressionSessionOptionsRef* options);

}  // namespace vqt::sc
