#pragma once

#include "ZelREKernel/ZelREKernelExport.h"

namespace ZKL {

// Whether the calling thread is the main thread, which is by definition the first thread that ever
// asks. InitAllocator asks at start-up, so a host that calls it early decides. Any thread may call.
ZELREKERNEL_EXPORT bool IsMainThread() noexcept;

}  // namespace ZKL
