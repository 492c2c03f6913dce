#include "ZelREKernel/diagnostics/vCrashHandling.h"

#include <cstddef>
#include <mutex>

#include "diagnostics/CrashFilter.h"
#include "diagnostics/ExceptionReactions.h"
#include "diagnostics/ReportTurn.h"

namespace ZKL {
namespace {

ExceptionReactions s_reactions;
std::once_flag s_installed;

void PrintCode(std::uint32_t code) {
    char line[] = "************ Exception catched! Code: 12345678\n";
    constexpr std::size_t kFirst = sizeof(line) - 1 - 9;
    std::size_t digits = 1;
    while (digits < 8 && code >> 4 * digits != 0) {
        ++digits;
    }
    for (std::size_t i = 0; i < digits; ++i) {
        line[kFirst + i] = "0123456789abcdef"[code >> 4 * (digits - 1 - i) & 0xf];
    }
    line[kFirst + digits] = '\n';
    WriteToStandardError({line, kFirst + digits + 1});
}

}  // namespace

void SetCustomExceptionFilter(unsigned int code, unsigned int reactions) {
    if (s_reactions.Set(code, reactions)) {
        std::call_once(s_installed, &InstallExceptionFilter);
    }
}

void CreateMiniDump() {
    if (const ReportTurn turn; turn.IsOurs()) {
        WriteCrashDump(nullptr);
    }
}

void AttachDebugger() {
    StartAndAwaitDebugger(false);
}

bool ReactToException(std::uint32_t code, const Fault& fault) {
    const std::uint32_t reactions = s_reactions.Find(code);
    if (reactions & eReactionPrint) {
        PrintCode(code);
    }
    if (reactions & eReactionCallStack) {
        LogCallStack(fault);
    }
    if (reactions & eReactionAttach) {
        StartAndAwaitDebugger(true);
    }
    if (reactions & eReactionDump) {
        WriteCrashDump(&fault);
    }
    return reactions != 0;
}

}  // namespace ZKL
