// Lets somebody choose a debugger and writes the number of the choice.

#include <cstdio>

#include "ZelREKernel/diagnostics/vCrashHandling.h"

int main() {
    std::printf("%x\n",
                ZKL::DebuggerUI({L"Visual", L"Renderdoc", L"Nsight - Debugger",
                                 L"Nsight - Profiler", L"Nsight - CPP", L"Nsight - GPU Trace"}));
    return 0;
}
