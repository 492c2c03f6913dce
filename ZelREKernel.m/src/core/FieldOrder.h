#pragma once

// Brackets around static_asserts that pin the order of a class's fields. offsetof of a class with
// virtual operations or private fields is conditionally supported; our compilers support it and
// would only warn.
#define ZKL_FIELD_ORDER_BEGIN \
    _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Winvalid-offsetof\"")
#define ZKL_FIELD_ORDER_END _Pragma("GCC diagnostic pop")
