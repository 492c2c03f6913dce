#pragma once

// One small value of each thread's own, zero until the thread sets it. `Tag` tells two of the same
// type apart. Of trivial type, so that it pins nothing (see base/ThreadSlot.h), and the fastest
// access there is: one instruction.

#include <type_traits>

namespace ZKL {

template <typename Tag, typename Value>
class PerThread {
    static_assert(std::is_trivial_v<Value> && sizeof(Value) <= sizeof(void*));

public:
    static Value Get() noexcept { return s_value; }
    static void Set(Value value) noexcept { s_value = value; }

private:
    [[gnu::tls_model("initial-exec")]] static inline constinit thread_local Value s_value = {};
};

}  // namespace ZKL
