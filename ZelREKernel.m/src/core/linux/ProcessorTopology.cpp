#include "core/ProcessorTopology.h"

#include <sched.h>
#include <unistd.h>

#include <exception>

#include "core/linux/SysfsTopology.h"

namespace ZKL {
namespace {

// The main thread's mask is the process's as its starter and its container set it: other threads
// are commonly bound to a processor of their own.
bool ReadAffinityMask(ProcessorSet& out) {
    cpu_set_t mask[kMaximumProcessors / CPU_SETSIZE] = {};
    if (sched_getaffinity(getpid(), sizeof mask, mask) != 0) {
        return false;
    }
    for (std::size_t processor = 0; processor < out.size(); ++processor) {
        out[processor] = CPU_ISSET_S(processor, sizeof mask, mask);
    }
    return out.any();
}

}  // namespace

bool QueryProcessorTopology(ProcessorCounts& out) noexcept {
    try {
        ProcessorSet usable;
        if (!ReadAffinityMask(usable)) {
            return false;
        }
        out = ReadSysfsTopology("/sys/devices/system", usable);
        return true;
    } catch (const std::exception&) {  // no memory for a file name
        return false;
    }
}

}  // namespace ZKL
