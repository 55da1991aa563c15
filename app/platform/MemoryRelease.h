#pragma once

namespace lumora {

// The tray runs for days and now and then needs a lot of memory for a short while: a break screen
// holds full-screen frames of tens of megabytes. The C library's allocator keeps what is freed for
// later unless told otherwise; these two calls make it give memory back to the system.

// Sets the allocator's thresholds for the whole process, once, before threads start: blocks of a
// megabyte or more are mapped on their own (and unmapped when freed), and every heap, those of
// worker threads included, hands back a free megabyte at its top. Left to itself the allocator
// raises both thresholds after the first large block is freed, and then keeps tens of megabytes.
void releaseFreedMemoryPromptly();

// Hands free pages in the middle of the heaps back to the system as well; for after a burst.
void returnFreedMemory();

// Asks the kernel to reclaim at once the pages of the files mapped into this process (the code
// and read-only data of its libraries) that no other process maps. They are clean copies of
// files, so nothing is lost: what is used again is read back in on first touch. For a process
// that goes idle after a burst of work, such as a tray after its windows have closed: the
// libraries of a UI it no longer shows stay resident otherwise until memory runs short.
void pageOutMappedFiles();

} // namespace lumora
