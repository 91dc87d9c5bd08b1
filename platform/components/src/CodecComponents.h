// The registrations of our codecs: one decompressor per codec libavcodec can
// decode, one compressor per codec it can encode.
#pragma once

#include <Carbon/Components.h>

#include <vector>

std::vector<VqtComponentRegistration> vqtCodecComponentRegistrations();
