#include "tasks/NativeLibrary.h"

#include <windows.h>

namespace ZKL {

void KeepLibraryLoaded(const void* address) noexcept {
    HMODULE library = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       static_cast<const wchar_t*>(address), &library);
}

}  // namespace ZKL
