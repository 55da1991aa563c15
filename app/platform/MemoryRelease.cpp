#include "platform/MemoryRelease.h"

#include <cstdlib> // defines __GLIBC__ with the GNU C library

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace lumora {

namespace {
constexpr int megabyte = 1024 * 1024;
} // namespace

void releaseFreedMemoryPromptly() {
#ifdef __GLIBC__
    mallopt(M_MMAP_THRESHOLD, megabyte);
    mallopt(M_TRIM_THRESHOLD, megabyte);
#endif
}

void returnFreedMemory() {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

} // namespace lumora
