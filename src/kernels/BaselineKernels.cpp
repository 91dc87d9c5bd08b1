// Optimised kernels for the x86-64 baseline (SSE2), the fallback on every processor:
// the compiler-vectorised loops alone.
#include "KernelLevels.h"

#define VQT_KERNEL_LEVEL baseline
#include "VectorKernels.inc"

namespace Vantor::QuickTime::baseline {

const KernelTable& kernelTable() { return kAutoVectorisedKernels; }

}  // namespace Vantor::QuickTime::baseline
