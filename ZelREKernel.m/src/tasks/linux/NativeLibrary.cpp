#include "tasks/NativeLibrary.h"

#include <dlfcn.h>

namespace ZKL {

void KeepLibraryLoaded(const void* address) noexcept {
    Dl_info info;
    if (dladdr(address, &info) == 0) {
        return;
    }
    if (void* const library = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE)) {
        dlclose(library);
    }
}

}  // namespace ZKL
