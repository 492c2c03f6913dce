#include "MekHost/system/MekSignalStack.h"

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>

namespace {

// A handler that walks the stack and formats text, and what the processor saves, fit well.
constexpr std::size_t kStackBytes = 128 * 1024;

std::size_t PageBytes() {
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

MekSignalStack::MekSignalStack() {
    stack_t old = {};
    if (sigaltstack(nullptr, &old) != 0 || !(old.ss_flags & SS_DISABLE)) {
        return;
    }
    // The page below stays out of reach: an overflow here must not write over something else.
    const std::size_t guard = PageBytes();
    void* const memory = mmap(nullptr, guard + kStackBytes, PROT_NONE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) {
        return;
    }
    stack_t stack = {};
    stack.ss_sp = static_cast<char*>(memory) + guard;
    stack.ss_size = kStackBytes;
    if (mprotect(stack.ss_sp, kStackBytes, PROT_READ | PROT_WRITE) != 0 ||
        sigaltstack(&stack, nullptr) != 0) {
        munmap(memory, guard + kStackBytes);
        return;
    }
    memory_ = memory;
}

MekSignalStack::~MekSignalStack() {
    // On another thread than its own the stack has to stay: nobody can take it from there.
    stack_t now = {};
    if (memory_ != nullptr && sigaltstack(nullptr, &now) == 0 &&
        now.ss_sp == static_cast<char*>(memory_) + PageBytes()) {
        stack_t none = {};
        none.ss_flags = SS_DISABLE;
        sigaltstack(&none, nullptr);
        munmap(memory_, PageBytes() + kStackBytes);
    }
}
