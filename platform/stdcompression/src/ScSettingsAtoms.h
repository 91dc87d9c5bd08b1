// The saved form of an instance's settings: a QT atom container whose first atom says which
// layout version and which kind of instance wrote it (the layout is described in
// docs/modules/stdcompression.md).
#pragma once

#include "ScInstance.h"

namespace vqt::sc {

inline constexpr UInt32 kSettingsLayoutVersion = 1;

OSErr saveSettings(const Instance& instance, QTAtomContainer* container);
// Checks everything first and changes the instance only when the whole container is acceptable.
OSErr loadSettings(Instance& instance, QTAtomContainer container);

}  // namespace vqt::sc
