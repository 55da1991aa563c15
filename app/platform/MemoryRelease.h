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

} // namespace lumora
