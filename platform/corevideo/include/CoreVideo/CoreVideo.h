// Core Video umbrella: pixel buffers and pixel format codes.
#pragma once

#include <CoreVideo/CVPixelBuffer.h>
#include <CoreVideo/CVPixelFormatTypes.h>
