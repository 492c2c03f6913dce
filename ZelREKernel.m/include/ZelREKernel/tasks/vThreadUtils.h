#pragma once

// What a thread may say about itself: where it runs and what it is called. Both calls concern the
// calling thread and may be made from any thread at any time.

#include "ZelREKernel/ZelREKernelExport.h"

class ZELREKERNEL_EXPORT vThreadUtils {
public:
    vThreadUtils() = delete;

    // Binds the calling thread to one logical processor: number `cpu` of processor group `group`,
    // which is the system's processor 64 * group + cpu. A `cpu` of 64 or more does nothing. A
    // processor that is not there, or that the process may not use, leaves the thread where it was
    // and logs "Fail to set Affinity" on the default channel.
    static void SetThreadAffinity(unsigned int group, unsigned int cpu);

    // Names the calling thread, in UTF-8, for the profiler and for debuggers. The text is copied.
    // The profiler keeps it whole; the system keeps as many whole characters as it has room for
    // (15 bytes on Linux, 127 UTF-16 units on Windows). A null name goes to the assertion sink.
    static void SetThreadName(const char* name);
};
