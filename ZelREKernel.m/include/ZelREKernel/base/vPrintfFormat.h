#pragma once

// Lets the compiler check the arguments of a printf-style function against its format text.
//
// `formatIndex` and `argumentsIndex` count from 1, and a member function's object counts; an
// `argumentsIndex` of 0 stands for a va_list, of which only the format itself is checked.
#define ZKL_PRINTF_FORMAT(formatIndex, argumentsIndex) \
    __attribute__((format(printf, formatIndex, argumentsIndex)))
