#pragma once

// Lets the compiler check the arguments of a printf-style function against its format text.

// `formatIndex` and `argumentsIndex` count from 1, and a member function's object counts; an
// `argumentsIndex` of 0 stands for a va_list, of which only the format itself is checked.
#define ZKL_PRINTF_FORMAT(formatIndex, argumentsIndex) \
    __attribute__((format(ZKL_PRINTF_DIALECT, formatIndex, argumentsIndex)))

// Formats mean the same on every system. To GCC for Windows plain "printf" is that system's own old
// dialect; Clang knows no other name.
#ifdef __clang__
#define ZKL_PRINTF_DIALECT printf
#else
#define ZKL_PRINTF_DIALECT gnu_printf
#endif
