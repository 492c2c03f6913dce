#include "diagnostics/GraphicsDebugger.h"

#include "ZelREKernel/core/vLog.h"
#include "ZelREKernel/diagnostics/vDynamicLoader.h"

namespace ZKL {

void InitializeGraphicsDebugger(GraphicsDebugger debugger, NsightActivity activity) {
    static constexpr const char* kActivities[] = {"Nsight - Debugger", "Nsight - Profiler",
                                                  "Nsight - CPP", "Nsight - GPU Trace"};
    const char* const library = GraphicsDebuggerLibrary(debugger);
    const char* const name = debugger == GraphicsDebugger::RenderDoc
                                 ? "RenderDoc"
                                 : kActivities[static_cast<std::uint32_t>(activity)];
    if (vDynamicLoader::PreloadLibrary(library)) {
        LogDefault(vLogger::eInfo, "%s: %s is loaded, attach from its own window", name, library);
    } else {
        LogDefault(vLogger::eError, "%s: %s is not installed where the loader looks for it", name,
                   library);
    }
}

}  // namespace ZKL
