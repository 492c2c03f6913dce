#include "base/NativeLibrary.h"

#include <windows.h>

namespace ZKL {

const char* const kLibrarySuffix = ".dll";

void* OpenLibrary(const char* fileName, LibraryError& error) {
    // A damaged file is this call's failure, not a question to whoever sits before the screen.
    DWORD mode = 0;
    const BOOL quiet = SetThreadErrorMode(SEM_FAILCRITICALERRORS, &mode);
    const HMODULE library = LoadLibraryA(fileName);
    if (!library) {
        error.number = static_cast<int>(GetLastError());
    }
    if (quiet) {
        SetThreadErrorMode(mode, nullptr);
    }
    return library;
}

void CloseLibrary(void* library) noexcept {
    FreeLibrary(static_cast<HMODULE>(library));
}

void* FindInLibrary(void* library, const char* name) noexcept {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void KeepLibraryLoaded(const void* address) noexcept {
    HMODULE library = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       static_cast<const char*>(address), &library);
}

}  // namespace ZKL
