#include "platform/MemoryRelease.h"

#include <cstdio>
#include <cstdlib> // defines __GLIBC__ with the GNU C library
#include <cstring>
#include <sys/mman.h>

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

void pageOutMappedFiles() {
#ifdef MADV_PAGEOUT
    // /proc/self/smaps: a header line per mapping ("start-end perms offset device inode path"),
    // then its figures. Only read-only mappings of files that hold no private (anonymous) pages
    // are handed back: the kernel skips pages that other processes map as well.
    std::FILE* smaps = std::fopen("/proc/self/smaps", "re");
    if (smaps == nullptr) {
        return;
    }
    struct Mapping {
        unsigned long start = 0;
        unsigned long end = 0;
        bool candidate = false;
    };
    Mapping current;
    const auto pageOut = [](const Mapping& mapping) {
        if (mapping.candidate) {
            ::madvise(reinterpret_cast<void*>(mapping.start), mapping.end - mapping.start,
                      MADV_PAGEOUT);
        }
    };
    char line[4096];
    while (std::fgets(line, sizeof line, smaps) != nullptr) {
        unsigned long start = 0;
        unsigned long end = 0;
        char permissions[8] = {};
        int pathAt = 0;
        if (std::sscanf(line, "%lx-%lx %7s %*s %*s %*s %n", &start, &end, permissions, &pathAt) ==
            3) {
            pageOut(current);
            current = {start, end, permissions[1] != 'w' && pathAt > 0 && line[pathAt] == '/'};
        } else if (std::strncmp(line, "Anonymous:", 10) == 0 &&
                   std::strtoul(line + 10, nullptr, 10) != 0) {
            current.candidate = false;
        }
    }
    pageOut(current);
    std::fclose(smaps);
#endif
}

} // namespace lumora
