#include "cubefield/CubeFieldKernels.h"

namespace lumora::cubefield::kernels {

#if defined(__x86_64__) || defined(__i386__)
const KernelSet& avx2Kernels();   // CubeFieldKernelsAvx2.cpp
const KernelSet& avx512Kernels(); // CubeFieldKernelsAvx512.cpp

std::vector<const KernelSet*> supportedKernels() {
    __builtin_cpu_init();
    std::vector<const KernelSet*> sets;
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("fma")) {
        sets.push_back(&avx512Kernels());
    }
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) {
        sets.push_back(&avx2Kernels());
    }
    sets.push_back(&portableKernels());
    return sets;
}
#else
std::vector<const KernelSet*> supportedKernels() {
    return {&portableKernels()};
}
#endif

const KernelSet& bestKernels() {
    static const KernelSet& best = *supportedKernels().front();
    return best;
}

} // namespace lumora::cubefield::kernels
