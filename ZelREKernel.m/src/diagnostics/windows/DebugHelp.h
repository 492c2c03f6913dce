#pragma once

// The system's library for dumps and symbols, loaded when it is needed.

#include <windows.h>

#include <dbghelp.h>

namespace ZKL {

// Null members where the library or a function is missing. The library stays loaded.
struct DebugHelp {
    static const DebugHelp& Get();

    decltype(&::MiniDumpWriteDump) miniDumpWriteDump;
    decltype(&::SymInitialize) symInitialize;
    decltype(&::SymSetOptions) symSetOptions;
    decltype(&::SymFromAddr) symFromAddr;
    decltype(&::SymGetLineFromAddr64) symGetLineFromAddr64;
};

}  // namespace ZKL
