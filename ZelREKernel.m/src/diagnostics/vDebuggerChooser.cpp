#include <MekHost/process/MekEnvironment.h>

#include "ZelREKernel/diagnostics/vCrashHandling.h"
#include "diagnostics/GraphicsDebugger.h"

namespace ZKL {

void AttachAllDebuggers() {
    enum Choice : unsigned { Visual = 0, Renderdoc = 1, FirstNsight = 2, LastNsight = 5 };
    const unsigned choice =
        DebuggerUI({L"Visual", L"Renderdoc", L"Nsight - Debugger", L"Nsight - Profiler",
                    L"Nsight - CPP", L"Nsight - GPU Trace"});
    if (choice == Visual) {
        AttachDebugger();
    } else if (choice == Renderdoc) {
        InitializeGraphicsDebugger(GraphicsDebugger::RenderDoc, NsightActivity::Debugger);
        MekPutEnv("ZelRenderDoc=1");
    } else if (choice >= FirstNsight && choice <= LastNsight) {
        InitializeGraphicsDebugger(GraphicsDebugger::Nsight,
                                   static_cast<NsightActivity>(choice - FirstNsight));
    }
}

}  // namespace ZKL
