// The optimised kernel tables, one per instruction-set level, each built in its own file
// with that level's compiler options. The public kernel functions pick one at run time.
#pragma once

#include <vantor/quicktime/PixelKernels.h>

namespace Vantor::QuickTime {
namespace baseline {
const KernelTable& kernelTable();
}
#if VQT_HAVE_AVX2_KERNELS
namespace avx2 {
const KernelTable& kernelTable();
}
namespace avx512 {
const KernelTable& kernelTable();
}
#endif
}  // namespace Vantor::QuickTime
