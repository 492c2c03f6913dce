#include "base/LibraryEnd.h"

#include <windows.h>

#include "base/windows/ThreadExit.h"

namespace ZKL {
namespace {

// Fetched, since the loader's import library would offer its C functions as well, which are lesser
// ones.
using IsShuttingDown = BOOLEAN(NTAPI*)();

IsShuttingDown FindIsShuttingDown() {
    const FARPROC found =
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress");
    return reinterpret_cast<IsShuttingDown>(reinterpret_cast<void*>(found));
}

// Asked instead of remembering a notice to this library: libraries of the host hear of the end
// before it, and their static objects use it then.
const IsShuttingDown s_isShuttingDown = FindIsShuttingDown();

}  // namespace

bool AreThreadsGone() noexcept {
    return s_isShuttingDown();
}

// Static objects are destroyed under the loader's lock, which a thread that ends needs.
bool CanThreadsEndMeanwhile() noexcept {
    return false;
}

}  // namespace ZKL

// The loader's notices to this library.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_THREAD_DETACH) {
        ZKL::CallThreadExitFunctions();
    }
    return TRUE;
}
