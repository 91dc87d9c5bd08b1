// Optimised kernels for the x86-64 baseline (SSE2), the fallback on every processor.
#include "KernelLevels.h"

#define VQT_KERNEL_LEVEL baseline
#include "VectorKernels.inc"
