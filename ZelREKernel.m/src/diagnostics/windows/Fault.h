#pragma once

#include <windows.h>

namespace ZKL {

// What Windows tells of a fault.
struct Fault {
    EXCEPTION_POINTERS* pointers;
};

}  // namespace ZKL
