#pragma once

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace lumora {

// Qt's thread pools, futures and queued calls pass work and results between threads through
// locks inside Qt, which ThreadSanitizer cannot see unless Qt itself is built for it. These two
// calls mark each hand-over for it: handOver() on the side that gives, takeOver() on the side
// that receives. They compile to nothing in other builds.
namespace detail {
inline char handOverToken;
} // namespace detail

inline void handOver() {
#if defined(__SANITIZE_THREAD__)
    __tsan_release(&detail::handOverToken);
#endif
}

inline void takeOver() {
#if defined(__SANITIZE_THREAD__)
    __tsan_acquire(&detail::handOverToken);
#endif
}

} // namespace lumora
