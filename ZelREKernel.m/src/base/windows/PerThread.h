#pragma once

// One small value of each thread's own, zero until the thread sets it. `Tag` tells two of the same
// type apart.
//
// Why not thread_local: this compiler emulates it by a call into the thread library that takes a
// lock, and what it allocates for a library stays when the library is unloaded. A slot of the
// system's own costs two instructions and goes with the library.

#include <cstring>
#include <type_traits>

#include "base/windows/ThreadIndex.h"

namespace ZKL {

template <typename Tag, typename Value>
class PerThread {
    static_assert(std::is_trivial_v<Value> && sizeof(Value) <= sizeof(void*));

public:
    static Value Get() noexcept {
        void* const stored = s_index.Get();
        Value value;
        std::memcpy(&value, &stored, sizeof value);
        return value;
    }
    static void Set(Value value) noexcept {
        void* stored = nullptr;
        std::memcpy(&stored, &value, sizeof value);
        s_index.Set(stored);
    }

private:
    static inline constinit ThreadIndex s_index;
};

}  // namespace ZKL
