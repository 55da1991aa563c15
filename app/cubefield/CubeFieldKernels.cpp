#include "cubefield/CubeFieldKernels.h"

namespace lumora::cubefield::kernels {

#if defined(__x86_64__) || defined(__i386__)
const KernelSet& avx2Kernels(); // CubeFieldKernelsAvx2.cpp

const KernelSet& bestKernels() {
    static const KernelSet& best = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")
                                       ? avx2Kernels()
                                       : portableKernels();
    return best;
}
#else
const KernelSet& bestKernels() {
    return portableKernels();
}
#endif

} // namespace lumora::cubefield::kernels
