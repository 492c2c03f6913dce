#pragma once

// The one oneTBB arena that the engine's data-parallel work runs in: as many threads at once as the
// process has physical cores, one place of them kept for a thread of the application. Without it
// every library would bring an arena of its own, and all of them together too many threads.
//
// GetTBBThreadPool may be called from any thread. DestroyThreadPool must not run beside work in the
// arena. No thread may still be in the arena when the library is unloaded.

#include <oneapi/tbb/task_arena.h>

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vThreadPoolManager {
public:
    vThreadPoolManager() = delete;

    // The arena, the same one whatever `index` says. It belongs to this library, which starts it on
    // the first call. Ask for it anew rather than keep the reference: after DestroyThreadPool, it
    // is the calls made while the arena works again that see to its threads' stacks for crash
    // reports.
    static tbb::task_arena& GetTBBThreadPool(unsigned int index);

    // Gives the arena's threads back to oneTBB; the next work starts it again. An arena that is not
    // started stays so.
    static void DestroyThreadPool();
};

}  // namespace ZKL
