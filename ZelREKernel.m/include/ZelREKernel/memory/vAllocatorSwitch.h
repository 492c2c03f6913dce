#pragma once

// The switch that turns the library's custom allocators off, so that a memory-checking tool sees
// every block by itself. The arenas consult it when they are built, so a host sets it early.
//
// InitAllocator belongs to start-up, on the main thread: it is meant to be the first to ask for
// that thread's identity. IsCustomAllocatorDisabled may be called from any thread.

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

// Reads the environment. "ADL_ODT_EXECTOOL" set to exactly "MemoryCheck" or "RuVerifier" turns
// custom allocators off. "ZelDisableAllocators", when set, then has the last word: a value that
// begins with "0" turns them on, any other, the empty one included, turns them off. Where neither
// says anything the switch stays as it was. Fixes the calling thread as the main one unless another
// asked before.
ZELREKERNEL_EXPORT void InitAllocator();

// False until InitAllocator says otherwise.
ZELREKERNEL_EXPORT bool IsCustomAllocatorDisabled() noexcept;

}  // namespace ZKL
