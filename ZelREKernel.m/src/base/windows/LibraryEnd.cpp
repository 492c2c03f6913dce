#include "base/LibraryEnd.h"

#include <windows.h>

#include "base/windows/ThreadExit.h"

namespace ZKL {
namespace {

constinit bool s_processEnds = false;

}  // namespace

bool AreThreadsGone() noexcept {
    return s_processEnds;
}

// Static objects are destroyed under the loader's lock, which a thread that ends needs.
bool CanThreadsEndMeanwhile() noexcept {
    return false;
}

}  // namespace ZKL

// The loader's notices to this library; static objects are destroyed after the last.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved) {
    if (reason == DLL_THREAD_DETACH) {
        ZKL::CallThreadExitFunctions();
    } else if (reason == DLL_PROCESS_DETACH) {
        ZKL::s_processEnds = reserved != nullptr;
    }
    return TRUE;
}
