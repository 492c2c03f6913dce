#pragma once

// Graphics debuggers watch a process from inside: their library has to be there before the first
// graphics device is made.

#include <cstdint>

namespace ZKL {

enum class GraphicsDebugger : std::uint32_t { Nsight = 0, RenderDoc = 1 };
enum class NsightActivity : std::uint32_t { Debugger = 0, Profiler = 1, Cpp = 2, GpuTrace = 3 };

// Loads the debugger's library for the rest of the process, and says on the default log channel
// whether it is there. `activity` concerns Nsight alone.
void InitializeGraphicsDebugger(GraphicsDebugger debugger, NsightActivity activity);

// The system's. The file name of the library.
const char* GraphicsDebuggerLibrary(GraphicsDebugger debugger);

}  // namespace ZKL
