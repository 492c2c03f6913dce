#include "diagnostics/windows/CallStack.h"

#include <cstddef>
#include <cstdio>

#include "diagnostics/CrashFilter.h"
#include "diagnostics/windows/DebugHelp.h"

namespace ZKL {
namespace {

constexpr int kMostLines = 256;
// A broken stack may lead in a circle.
constexpr unsigned long kMostTimes = 1 << 20;

// The frame that called the one that `context` stands in; false at the end of the stack.
// Source: "x64 exception handling" of the compiler documentation: a function without an entry in
// the table is a leaf, whose return address is at the top of the stack.
bool StepOut(CONTEXT& context) {
    DWORD64 base = 0;
    RUNTIME_FUNCTION* const entry = RtlLookupFunctionEntry(context.Rip, &base, nullptr);
    if (entry == nullptr) {
        DWORD64 caller = 0;
        SIZE_T read = 0;
        if (!ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(context.Rsp),
                               &caller, sizeof(caller), &read) ||
            read != sizeof(caller)) {
            return false;
        }
        context.Rip = caller;
        context.Rsp += sizeof(caller);
    } else {
        void* handlerData = nullptr;
        DWORD64 frame = 0;
        RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, entry, &context, &handlerData,
                         &frame, nullptr);
    }
    return context.Rip != 0;
}

std::string DescribeModule(DWORD64 address) {
    HMODULE module = nullptr;
    char name[MAX_PATH] = "?";
    // No address is the program's own for the call below.
    if (address == 0 || !GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                            reinterpret_cast<const char*>(address), &module)) {
        return name;
    }
    GetModuleFileNameA(module, name, sizeof(name));
    return name + ("+" + std::to_string(address - reinterpret_cast<DWORD64>(module)));
}

std::string DescribeSymbol(DWORD64 address) {
    const DebugHelp& help = DebugHelp::Get();
    constexpr ULONG kMostName = 1024;
    alignas(SYMBOL_INFO) std::byte memory[sizeof(SYMBOL_INFO) + kMostName] = {};
    auto* const symbol = reinterpret_cast<SYMBOL_INFO*>(memory);
    symbol->SizeOfStruct = sizeof(SYMBOL_INFO);
    symbol->MaxNameLen = kMostName;
    DWORD64 offset = 0;
    if (help.symFromAddr == nullptr ||
        !help.symFromAddr(GetCurrentProcess(), address, &offset, symbol)) {
        return DescribeModule(address);
    }
    std::string text = symbol->Name;
    IMAGEHLP_LINE64 line = {};
    line.SizeOfStruct = sizeof(line);
    DWORD column = 0;
    if (help.symGetLineFromAddr64 != nullptr &&
        help.symGetLineFromAddr64(GetCurrentProcess(), address, &column, &line)) {
        return text + " (" + line.FileName + ":" + std::to_string(line.LineNumber) + ")";
    }
    return text + "+" + std::to_string(offset) + " in " + DescribeModule(address);
}

}  // namespace

std::string DescribeCallStack(const Fault& fault) {
    const DebugHelp& help = DebugHelp::Get();
    if (help.symInitialize != nullptr && help.symSetOptions != nullptr) {
        help.symSetOptions(SYMOPT_LOAD_LINES | SYMOPT_UNDNAME);
        help.symInitialize(GetCurrentProcess(), nullptr, TRUE);
    }
    std::string text;
    CONTEXT context = *fault.pointers->ContextRecord;
    bool more = true;
    for (int number = 0; more && number < kMostLines; ++number) {
        const DWORD64 address = context.Rip;
        // A function that calls itself over and over is one line.
        unsigned long times = 0;
        do {
            ++times;
            more = StepOut(context);
        } while (more && context.Rip == address && times < kMostTimes);
        char head[64];
        std::snprintf(head, sizeof(head), "#%2d  0x%012llx  ", number, address);
        // A caller's address is that of the instruction after the call.
        text += head + DescribeSymbol(address - (number == 0 ? 0 : 1));
        text += times > 1 ? " (" + std::to_string(times) + " times)\n" : "\n";
    }
    return text;
}

void LogCallStack(const Fault& fault) {
    WriteToStandardError(DescribeCallStack(fault));
}

}  // namespace ZKL
