// Optimised kernels for processors with AVX2; this file alone is compiled with -mavx2.
#include "KernelLevels.h"

#define VQT_KERNEL_LEVEL avx2
#include "VectorKernels.inc"
