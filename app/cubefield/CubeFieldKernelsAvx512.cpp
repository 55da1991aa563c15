// The kernels for x86-64 processors with AVX-512 (foundation, byte/word, doubleword/quadword and
// vector-length extensions), sixteen pixels per vector. Like the AVX2 file, this one alone is
// compiled with those instructions and only handed out after checking the processor.
#define LUMORA_KERNEL_LANES 16
#include "cubefield/CubeFieldKernelsImpl.h"

namespace lumora::cubefield::kernels {

const KernelSet& avx512Kernels() {
    static const KernelSet set{"avx512", lanes, fillBackdropRow, blendGlowRow, blendPrismRows};
    return set;
}

} // namespace lumora::cubefield::kernels
