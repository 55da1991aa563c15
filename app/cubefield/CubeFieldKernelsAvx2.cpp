// The kernels for x86-64 processors with AVX2 and FMA, eight pixels per vector. This file alone
// is compiled with those instructions enabled; bestKernels() only hands it out after checking
// that the processor has them.
#define LUMORA_KERNEL_LANES 8
#include "cubefield/CubeFieldKernelsImpl.h"

namespace lumora::cubefield::kernels {

const KernelSet& avx2Kernels() {
    static const KernelSet set{"avx2", lanes, fillBackdropRow, blendGlowRow, blendPrismRows};
    return set;
}

} // namespace lumora::cubefield::kernels
