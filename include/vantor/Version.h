// The version of the installed shared library, as "MAJOR.MINOR.PATCH".
#pragma once

#include <vantor/Export.h>

extern "C" VANTOR_EXPORT const char* VantorQuickTimeVersion();
