#pragma once

// One pointer per thread, with a function that is called when a thread that stored one ends.
//
// Why not a thread_local object with a destructor: that pins this library in the process until the
// thread ends, so that the library could not be unloaded. A slot gives its hook back when it is
// destroyed. After that no exit function runs any more, so the owner of a slot also keeps a list of
// what it stored in it and frees the rest itself.
//
// Get and Set concern the calling thread only. A hot path keeps a copy of the pointer in a
// thread_local of trivial type beside the slot.

#include <cstdint>

namespace ZKL {

class ThreadSlot {
public:
    using ExitFunction = void (*)(void* value);

    // Throws std::system_error when the system has no slot left.
    explicit ThreadSlot(ExitFunction onThreadExit);
    ~ThreadSlot();
    ThreadSlot(const ThreadSlot&) = delete;
    ThreadSlot& operator=(const ThreadSlot&) = delete;

    // The calling thread's value, null if it stored none.
    void* Get() const noexcept;
    // Stores the calling thread's value; null calls the thread's exit off. False when the system
    // has no memory for it.
    bool Set(void* value) noexcept;

private:
    std::uintptr_t key_ = 0;
};

}  // namespace ZKL
