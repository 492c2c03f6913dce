#include "diagnostics/windows/DebugHelp.h"

namespace ZKL {
namespace {

template <typename Function>
void Find(HMODULE library, const char* name, Function& function) {
    const FARPROC found = library != nullptr ? GetProcAddress(library, name) : nullptr;
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(found));
}

DebugHelp Load() {
    const HMODULE library = LoadLibraryW(L"dbghelp.dll");
    DebugHelp help = {};
    Find(library, "MiniDumpWriteDump", help.miniDumpWriteDump);
    Find(library, "SymInitialize", help.symInitialize);
    Find(library, "SymSetOptions", help.symSetOptions);
    Find(library, "SymFromAddr", help.symFromAddr);
    Find(library, "SymGetLineFromAddr64", help.symGetLineFromAddr64);
    return help;
}

}  // namespace

const DebugHelp& DebugHelp::Get() {
    static const DebugHelp s_help = Load();
    return s_help;
}

}  // namespace ZKL
