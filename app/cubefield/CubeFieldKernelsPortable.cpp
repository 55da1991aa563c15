// The kernels for any processor of the target architecture (SSE2 on x86-64).
#define LUMORA_KERNEL_LANES 4
#include "cubefield/CubeFieldKernelsImpl.h"

namespace lumora::cubefield::kernels {

const KernelSet& portableKernels() {
    static const KernelSet set{"portable", lanes, fillBackdropRow, blendGlowRow, blendPrismRows};
    return set;
}

} // namespace lumora::cubefield::kernels
