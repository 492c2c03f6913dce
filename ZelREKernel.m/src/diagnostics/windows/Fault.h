#pragma once

#include <windows.h>

namespace ZKL {

// What Windows tells of a fault.
struct Fault {
    EXCEPTION_POINTERS* pointers;
    DWORD threadId;  // that it hit; the report may run on another one
};

}  // namespace ZKL
