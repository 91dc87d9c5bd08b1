// Everything of the Carbon base in one include.
#pragma once

#include <Carbon/MacErrors.h>
#include <Carbon/MacMemory.h>
#include <Carbon/MacTypes.h>
#include <Carbon/Processes.h>
#include <Carbon/QuickDraw.h>
#include <Carbon/TextUtils.h>
