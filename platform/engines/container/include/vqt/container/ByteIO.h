// The engine reads and writes through the shared big-endian reader and writer.
#pragma once

#include "vqt/container/FourCC.h"
#include "vqt/formats/ByteIO.h"

namespace vqt::container {

using formats::ByteReader;
using formats::ByteWriter;

}  // namespace vqt::container
