// What the shared library exports. It is built with hidden visibility, so only
// the classes and functions marked here are seen by hosts; everything else,
// the platform layer and the engines included, stays inside it.
#pragma once

#if defined(__GNUC__) || defined(__clang__)
#define VANTOR_EXPORT __attribute__((visibility("default")))
#else
#define VANTOR_EXPORT
#endif
