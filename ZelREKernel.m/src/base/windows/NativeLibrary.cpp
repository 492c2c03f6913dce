#include "base/NativeLibrary.h"

#include <windows.h>

#include "base/windows/QuietErrors.h"

namespace ZKL {

const char* const kLibrarySuffix = ".dll";

void* OpenLibrary(const char* fileName, LibraryError& error) {
    const QuietErrors quiet;
    const HMODULE library = LoadLibraryA(fileName);
    if (!library) {
        error.number = static_cast<int>(GetLastError());
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
