// What the ICM shares between its sessions: engine results as QuickTime
// result codes, and the codec setup an image description carries.
#pragma once

#include <QuickTime/ImageCompression.h>

#include "vqt/codecs/Decoder.h"
#include "vqt/codecs/Status.h"

OSStatus vqtICMResultOf(vqt::codecs::Status status);

// Decoder settings from an image description: codec type, size, depth, the
// codec's configuration extension ('avcC', ...) and the 'nclc' matrix.
vqt::codecs::DecoderConfig vqtDecoderConfigFrom(ImageDescriptionHandle desc);
