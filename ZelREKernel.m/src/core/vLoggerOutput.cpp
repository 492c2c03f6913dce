#include "ZelREKernel/core/vLoggerOutput.h"

namespace ZKL {

vLoggerOutput::~vLoggerOutput() = default;

void vLoggerOutput::AddRef() noexcept {
    // Relaxed: whoever adds a reference holds one, so the output cannot go meanwhile.
    references_.fetch_add(1, std::memory_order_relaxed);
}

void vLoggerOutput::Release() noexcept {
    // Everything done to the output by other holders is seen by its destructor.
    if (references_.fetch_sub(1, std::memory_order_acq_rel) <= 1) {
        delete this;
    }
}

}  // namespace ZKL
